// Every score in tests/scores must read without error, and its action tree
// must print as its golden file NAME.show. Run with CAD_UPDATE_GOLDEN=1 to
// rewrite the goldens (then review the diff).
//
// Hidden names carry a process-wide counter; they are renumbered in order
// of appearance so that a golden does not depend on what ran before.
#include "ConsoleCapture.hpp"
#include "TestReading.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <sstream>

namespace fs = std::filesystem;

namespace {

std::vector<std::string> good_scores() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(fs::path(CAD_TESTS_DIR) / "scores"))
        if (entry.path().extension() == ".cad") names.push_back(entry.path().stem().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::string read_file(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// "__anonymous17_x" becomes "__anonymous1_x" for the first counter met.
std::string renumber(const std::string& text, const std::string& prefix) {
    const std::regex pattern(prefix + "([0-9]+)");
    std::map<std::string, int> numbers;
    std::string out;
    auto begin = std::sregex_iterator(text.begin(), text.end(), pattern);
    size_t last = 0;
    for (auto it = begin; it != std::sregex_iterator(); ++it) {
        const std::string n = (*it)[1].str();
        if (!numbers.count(n)) numbers[n] = static_cast<int>(numbers.size()) + 1;
        out += text.substr(last, static_cast<size_t>(it->position()) - last);
        out += prefix + std::to_string(numbers[n]);
        last = static_cast<size_t>(it->position() + it->length());
    }
    return out + text.substr(last);
}

std::string printed_actions(TestReading& reader, const ConsoleCapture& console) {
    std::ostringstream out;
    reader.score().show_actions(out);
    for (const std::string& line : console.posts)
        if (line.rfind("Warning", 0) == 0) out << "// post: " << line << '\n';
    return renumber(renumber(out.str(), "__anonymous"), "_patch_");
}

class ScoreCorpus : public ::testing::TestWithParam<std::string> {};

TEST_P(ScoreCorpus, PrintsItsGoldenTree) {
    const fs::path dir = fs::path(CAD_TESTS_DIR) / "scores";
    ConsoleCapture console;
    TestReading reader;
    const bool read = reader.load_file((dir / (GetParam() + ".cad")).string());
    std::string errors;
    for (const std::string& line : console.errors)
        errors += line + '\n';
    ASSERT_TRUE(read) << errors;
    EXPECT_EQ(errors, "");

    const std::string actual = printed_actions(reader, console);
    const fs::path golden = dir / (GetParam() + ".show");
    const char* update = std::getenv("CAD_UPDATE_GOLDEN");
    if (update && std::string(update) == "1") {
        std::ofstream(golden, std::ios::binary) << actual;
        return;
    }
    ASSERT_TRUE(fs::exists(golden)) << "no golden; run with CAD_UPDATE_GOLDEN=1";
    EXPECT_EQ(actual, read_file(golden));
}

INSTANTIATE_TEST_SUITE_P(GoodScores, ScoreCorpus, ::testing::ValuesIn(good_scores()), [](const auto& info) {
    std::string name = info.param;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

} // namespace
