// Every bad score in tests/errors must fail to read with exactly the
// messages of its .expected file (the score's path written FILE; internal
// error lines, which name source paths, are left out), and leave the engine
// usable.
#include "TestEngine.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace {

std::vector<std::string> bad_scores() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(fs::path(CAD_TESTS_DIR) / "errors"))
        if (entry.path().extension() == ".cad") names.push_back(entry.path().stem().string());
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> read_lines(const fs::path& path) {
    std::ifstream in(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

std::string replace_all(std::string text, const std::string& from, const std::string& to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

class ErrorCorpus : public ::testing::TestWithParam<std::string> {};

TEST_P(ErrorCorpus, FailsWithItsMessages) {
    const fs::path dir = fs::path(CAD_TESTS_DIR) / "errors";
    const std::string score = (dir / (GetParam() + ".cad")).string();
    ConsoleCapture console;
    TestHost host;
    cadenzium_core& engine = host.engine;
    EXPECT_FALSE(engine.ScoreParsing(score));

    std::vector<std::string> actual;
    for (const std::string& line : console.errors) {
        // A message may hold several lines.
        std::istringstream parts(replace_all(line, score, "FILE"));
        for (std::string part; std::getline(parts, part);)
            actual.push_back(part);
    }
    EXPECT_EQ(actual, read_lines(dir / (GetParam() + ".expected")));

    EXPECT_TRUE(host.load("NOTE 60 1\n")) << "the engine reads again after a bad score";
}

INSTANTIATE_TEST_SUITE_P(BadScores, ErrorCorpus, ::testing::ValuesIn(bad_scores()), [](const auto& info) {
    std::string name = info.param;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

} // namespace
