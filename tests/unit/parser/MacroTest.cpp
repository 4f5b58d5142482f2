// The textual layer of the reader: macros and the files a score inserts,
// checked on what the reader builds from them and on the errors it gives.
#include "ConsoleCapture.hpp"
#include "TestReading.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace {

// A folder of score files for one test.
class ScoreFolder {
public:
    ScoreFolder()
        : dir(fs::temp_directory_path() / ("cad-macro-" + std::to_string(::getpid()) + "-" +
                                          std::to_string(counter++))) {
        fs::create_directories(dir / "parts");
    }
    ~ScoreFolder() { fs::remove_all(dir); }
    std::string write(const std::string& name, const std::string& text) const {
        std::ofstream(dir / name) << text;
        return (dir / name).string();
    }
    fs::path dir;

private:
    static inline int counter = 0;
};

class Macros : public ::testing::Test {
protected:
    // Reads the score `main.cad` of the folder; its printed tree.
    std::string read(const std::string& text, bool must_read = true) {
        const std::string path = folder.write("main.cad", text);
        const bool ok = reader.load_file(path);
        EXPECT_EQ(ok, must_read) << text << '\n' << console.all();
        if (!ok) return "";
        std::ostringstream shown;
        reader.score().show(shown);
        return shown.str();
    }
    bool said(const std::string& fragment) const { return console.all().find(fragment) != std::string::npos; }

    ConsoleCapture console;
    TestReading reader;
    ScoreFolder folder;
};

TEST_F(Macros, ExpandWhereTheyAreCalled) {
    const std::string tree = read("@macro_def @hit { print hit }\n"
                                  "@macro_def pair($a, $ab) { print $a $ab }\n"
                                  "NOTE C4 1\n"
                                  "  @hit\n"
                                  "  @pair(one, (1 + 2))\n"
                                  "  @pair( spaced ,  x )\n");
    EXPECT_NE(tree.find("print hit"), std::string::npos) << tree;
    // `$ab` is one parameter, not `$a` followed by "b".
    EXPECT_NE(tree.find("print one 3"), std::string::npos) << tree;
    EXPECT_NE(tree.find("print spaced x"), std::string::npos) << tree;
}

TEST_F(Macros, FreshNamesAtEachUse) {
    const std::string tree = read("@macro_def fresh { $@UID(v) := 1\n print @LID(v) }\n"
                                  "NOTE C4 1\n  @fresh\n  @fresh\n");
    EXPECT_NE(tree.find("$v_2 := 1"), std::string::npos) << tree;
    EXPECT_NE(tree.find("print v_2"), std::string::npos) << tree;
    EXPECT_NE(tree.find("$v_3 := 1"), std::string::npos) << tree;
    EXPECT_NE(tree.find("print v_3"), std::string::npos) << tree;
}

TEST_F(Macros, WrongCallsAreReportedAtTheirPlace) {
    read("@macro_def pair($a, $b) { print $a $b }\nNOTE C4 1\n  @pair(one)\n", false);
    EXPECT_TRUE(said("Error: incorrect macro call '@pair' line 3: bad argument number (1 arguments,2 expected)"))
        << console.all();

    console.clear();
    read("@macro_def pair($a, $b) { print $a $b }\nNOTE C4 1\n  @pair\n", false);
    EXPECT_TRUE(said("Error: macro call '@pair' expects arguments")) << console.all();

    console.clear();
    read("@macro_def loop_forever { @loop_forever }\nNOTE C4 1\n  @loop_forever\n", false);
    EXPECT_TRUE(said("Too much inclusion or too much nested macro calls: abort")) << console.all();

    console.clear();
    read("@macro_def open { print 1\nNOTE C4 1\n", false);
    EXPECT_TRUE(said("Unterminated macro definition (body definition) ")) << console.all();
}

// An error inside an expansion shows the macro's text and the line of the
// call.
TEST_F(Macros, AnErrorInAnExpansionShowsTheCall) {
    read("@macro_def bad { print := }\nNOTE C4 1\n  print ok\n  @bad\n", false);
    EXPECT_TRUE(said("in macro '@bad' line 1")) << console.all();
    EXPECT_TRUE(said("expanded as\n' print :='")) << console.all();
    EXPECT_TRUE(said("in file '" + (folder.dir / "main.cad").string() + "' line 4")) << console.all();
}

TEST_F(Macros, InsertedFilesReadInPlace) {
    folder.write("parts/strings.cad", "@macro_def pulse($r) { print $r }\nNOTE E4 1 strings\n  @pulse(violin)\n");
    const std::string tree = read("NOTE C4 1\n"
                                  "@insert \"parts/strings.cad\"\n"
                                  "@insert_once parts/strings.cad\n"
                                  "NOTE D4 1\n"
                                  "  @pulse(cello)\n");
    ASSERT_EQ(reader.score().CountEvents(), 3) << "the second insertion is skipped";
    EXPECT_EQ(reader.event(2).cuename(), "strings");
    EXPECT_NE(tree.find("print violin"), std::string::npos) << tree;
    EXPECT_NE(tree.find("print cello"), std::string::npos) << "a macro outlives the file that defines it\n" << tree;
}

TEST_F(Macros, InsertionErrorsNameTheFile) {
    read("NOTE C4 1\n@insert parts/absent.cad\n", false);
    EXPECT_TRUE(said("unable to include file `" + (folder.dir / "parts/absent.cad").string() +
                     "': No such file or directory"))
        << console.all();

    console.clear();
    const std::string inner = folder.write("parts/bad.cad", "NOTE C4 1\nNOTE D4\n");
    read("NOTE E4 1\n@insert parts/bad.cad\n", false);
    EXPECT_TRUE(said("line 2, characters")) << console.all();
    EXPECT_TRUE(said("in file '" + inner + "'")) << console.all();

    console.clear();
    folder.write("parts/self.cad", "NOTE C4 1\n@insert parts/self.cad\n");
    read("@insert parts/self.cad\n", false);
    EXPECT_TRUE(said("Too much inclusion or too much nested macro calls: abort")) << console.all();
}

} // namespace
