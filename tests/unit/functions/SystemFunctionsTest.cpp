// The functions that reach outside the engine, from scores: values and
// variables saved by one event and loaded by a later one, the files that
// cannot be read, commands, and plots written as pictures.
#include "Exp/Environment.hpp"
#include "Exp/Library.hpp"
#include "FunctionRig.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

namespace {

namespace fs = std::filesystem;

// A directory of its own for each test, removed after it.
class SystemFunctions : public ::testing::Test {
protected:
    SystemFunctions()
        : dir(fs::temp_directory_path() / ("cadenzium-fun-" + std::to_string(::getpid()) + "-" +
                                           ::testing::UnitTest::GetInstance()->current_test_info()->name())) {
        fs::create_directories(dir);
    }
    ~SystemFunctions() override { fs::remove_all(dir); }

    std::string file(const std::string& name) const { return (dir / name).string(); }
    // Writes happen on helper threads: waits for them.
    void wait_for_files() { rig.env().library().jobs.wait_idle(); }

    fs::path dir;
    FunctionRig rig;
};

TEST_F(SystemFunctions, SavedValuesReadBackEqual) {
    const std::vector<std::string> values = {
        "TAB[1, 2.5, \"x\", TAB[true, false], MAP{(\"k\", TAB[1])}]",
        "MAP{(1, \"one\"), (\"two\", 2.0), (3.5, MAP{})}",
        "\"say \\\"hello\\\"\\n\\tand a \\\\ too\"",
        "0.1 + 0.2",
        "1e30 * 1e30 * 1e30 * 1e30 * 1e30 * 1e30 * 1e30 * 1e30 * 1e30 * 1e30 * 1e30", // infinity
        "imap{(0, 1), (2.5, -3)}",
        "@sin",
        "-65536 * 32768",
        "TAB[]",
    };
    for (const std::string& v : values) {
        SCOPED_TRACE(v);
        const std::string path = file("value.txt");
        ASSERT_TRUE(rig.start("NOTE 60 1\n  $v := " + v + "\n  $ok := @saveval(\"" + path +
                              "\", $v)\nNOTE 62 1\n  $w := @loadval(\"" + path + "\")\n"));
        rig.hear(1);
        wait_for_files();
        rig.hear(2);
        const Value& saved = rig.env().unsafe_get_var("$v");
        const Value& loaded = rig.env().unsafe_get_var("$w");
        // The language's order never finds two imaps equal: their points are compared here.
        if (saved->is_imap())
            EXPECT_TRUE(loaded->is_imap() && imap_of(saved) == imap_of(loaded));
        else
            EXPECT_EQ(vcompare(saved, loaded), 0)
                << show_text(saved) << " read back as " << show_text(loaded);
        EXPECT_EQ(show_text(saved), show_text(loaded));
        EXPECT_TRUE(rig.console.errors.empty()) << rig.console.errors.front();
    }
}

TEST_F(SystemFunctions, DumpedVariablesAreLoadedIntoTheGlobalEnvironment) {
    const std::string path = file("dump.txt");
    ASSERT_TRUE(rig.start("NOTE 60 1\n  $cues := TAB[0.5, 0.75]\n  $gain := -6.0\n  $ok := @dump(\"" + path +
                          "\", $cues, $gain)\n  $ok2 := @dumpvar(\"" + file("dump2.txt") +
                          "\", \"level\", 3)\nNOTE 62 1\n  $cues := 0\n  $gain := 0\n  $n := @loadvar(\"" +
                          path + "\")\n  $m := @loadvar(\"" + file("dump2.txt") +
                          "\")\n  print ($n) ($cues) ($gain) ($m)\n"));
    rig.hear(1);
    wait_for_files();
    rig.hear(2);
    EXPECT_EQ(rig.host.printed, (std::vector<std::string>{"2 TAB[0.5, 0.75] -6.0 1"}));
    EXPECT_TRUE(rig.console.has_post("create global variable $level"));
    EXPECT_EQ(rig.env().unsafe_get_var("$level")->get_int(), 3);
}

// A file that is missing, corrupt or of the wrong form is reported, gives
// undef, and the score goes on.
TEST_F(SystemFunctions, UnreadableFilesAreReportedAndTheScoreGoesOn) {
    std::ofstream(file("corrupt.txt")) << "$___save_then_load_value____system_dummy_variable___ := TAB[1, \n";
    std::ofstream(file("two.txt")) << "$a := 1\n$b := 2\n";
    std::ofstream deep(file("deep.txt"));
    deep << "$a := ";
    for (int i = 0; i < 10000; ++i)
        deep << "TAB[";
    deep.close();
    struct Row {
        std::string expr, shown, error, setup;
    };
    const std::vector<Row> rows = {
        {"@loadval(\"" + file("missing.txt") + "\")", "<<undef>>", "unable to parse file", ""},
        {"@loadval(\"" + file("corrupt.txt") + "\")", "<<undef>>", "[lsv3]", ""},
        {"@loadval(\"" + file("two.txt") + "\")", "<<undef>>",
         "the file does not appear to containe one value [lsv4]", ""},
        {"@loadvar(\"" + file("deep.txt") + "\")", "<<undef>>", "[lsv10]", ""},
        {"@loadval($x)", "<<undef>>", "first argument must be a string, got a int [lsv6]", "$x := 1"},
        {"@loadvar($x)", "<<undef>>", "[lsv9]", "$x := 1"},
        {"@saveval($x, 1)", "<<undef>>", "first argument must be a string, got a int [lsv2]", "$x := 1"},
        {"@saveval($x)", "@saveval(1)", "", "$x := 1"},
        {"@saveval($x, 1, 2)", "<<undef>>", "(2 expected, 3 provided) [lsv1]", "$x := \"f\""},
        {"@dumpvar($x, 1)", "<<undef>>", "(odd number expected, 2 provided) [lsv15]", "$x := \"f\""},
        {"@dumpvar($x, 1, 2)", "<<undef>>",
         "Bad first argument in function call @dumpvar: must be a string, got a int [lsv16]", "$x := 1"},
        {"@dumpvar(\"f\", $x, 2)", "<<undef>>", "bad argument 2: expect a string, got a int [lsv18]",
         "$x := 1"},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.expr);
        ASSERT_TRUE(
            rig.start("NOTE 60 1\n  " + r.setup + "\n  print (" + r.expr + ")\nNOTE 62 1\n  print after\n"));
        rig.hear(1);
        rig.hear(2);
        EXPECT_EQ(rig.host.printed, (std::vector<std::string>{r.shown, "after"}));
        if (!r.error.empty()) {
            EXPECT_TRUE(rig.console.has_error(r.error))
                << (rig.console.errors.empty() ? "" : rig.console.errors[0]);
        }
    }
}

TEST_F(SystemFunctions, WritingWhereNoFileCanBeIsReportedFromTheHelper) {
    ASSERT_TRUE(rig.run("NOTE 60 1\n  $ok := @saveval(\"" + file("no/such/dir/v.txt") + "\", 1)\n"));
    wait_for_files();
    EXPECT_TRUE(rig.console.has_error("unable to open file"));
    EXPECT_TRUE(rig.console.has_error("[lsv7]"));
}

TEST_F(SystemFunctions, SystemTestsAndCommands) {
    rig.check({"@arch_linux()", "true"});
    rig.check({"@arch_darwin()", "false"});
    rig.check({"@arch_windows()", "false"});
    ASSERT_TRUE(rig.run("NOTE 60 1\n  $ok := @sys(\"touch " + file("touched") + "\")\n"));
    wait_for_files();
    EXPECT_TRUE(fs::exists(file("touched")));
    rig.check({"@sys($x)", "<<undef>>", "the command must be a string, got a int [sys2]", "$x := 1"});
}

// Without a display the plot is a picture beside the score.
TEST_F(SystemFunctions, PlotWithoutDisplayIsAPictureBesideTheScore) {
    const std::string score = file("piece.cad");
    std::ofstream(score)
        << "NOTE 60 1\n  $x := [@sin($i / 10.0) | $i in 0 .. 63]\n  $ok := @gnuplot(\"a sine\", $x)\n";
    ::unsetenv("DISPLAY");
    ASSERT_TRUE(rig.host.engine.ScoreParsing(score));
    rig.host.engine.cadenzium_start("");
    rig.hear(1);
    wait_for_files();
    const fs::path png = dir / "piece_plot1.png";
    ASSERT_TRUE(fs::exists(png)) << (rig.console.errors.empty() ? "no error" : rig.console.errors[0]);
    std::ifstream in(png, std::ios::binary);
    char magic[4] = {};
    in.read(magic, 4);
    EXPECT_EQ(std::string(magic + 1, 3), "PNG");
    if (const char* keep = std::getenv("CAD_KEEP_PLOT"))
        fs::copy_file(png, keep, fs::copy_options::overwrite_existing);
}

TEST_F(SystemFunctions, PlotArgumentsAreChecked) {
    const std::vector<Case> cases = {
        {"@gnuplot($x)", "<<undef>>", "@gnuplot with one argument: must be a tab, got a int [gn3]",
         "$x := 1"},
        {"@gnuplot($x, 1)", "<<undef>>", "must be (string, tab) or (tab, tab) [gn4]", "$x := 1"},
        {"@gnuplot($x, 1, 2)", "<<undef>>", "must be (string, tab, tab) [gn4a]", "$x := 1"},
        {"@gnuplot($x)", "<<undef>>", "@gnuplot: empty data [gn8]", "$x := TAB[]"},
        {"@gnuplot($x)", "<<undef>>", "@gnuplot: non numeric data [gn10]", "$x := TAB[\"a\"]"},
        {"@gnuplot($x, TAB[1], TAB[1, 2], TAB[1])", "<<undef>>",
         "length of arg 1 and 3 differs (1 and 2) [gn20]", "$x := TAB[1]"},
        {"@gnuplot($x, TAB[1], 3, TAB[1])", "<<undef>>", "bad argument 3: not a tab (got int) [gn17]",
         "$x := TAB[1]"},
        {"@gnuplot($x, TAB[1], TAB[], TAB[1])", "<<undef>>", "arg 3 is an empty tab [gn19]", "$x := TAB[1]"},
        {"@gnuplot($x, TAB[\"a\"], TAB[1], TAB[1])", "<<undef>>",
         "non numeric element (arg 1 and 2, element 0: 1 and \"a\") [gn21]", "$x := TAB[1]"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.expr);
        rig.check(c);
    }
}

} // namespace
