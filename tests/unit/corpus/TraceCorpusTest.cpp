// The golden traces: each case of tests/scores/traces is a score, a
// performance (a note list) and the exact trace that `cadenzium follow`
// writes for it offline: positions and messages, dated in logical time.
// A case whose score must say something on the console lists the errors in
// errors.txt; one that starts from a label or a beat names it in start.txt.
// CAD_UPDATE_GOLDEN=1 rewrites the expected traces instead of
// comparing.
#include "Commands.hpp"
#include "ConsoleCapture.hpp"
#include "MidiFile.hpp"
#include "ScoreFiles.hpp"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

const fs::path kCorpus = fs::path(CAD_TESTS_DIR) / "scores" / "traces";

std::vector<std::string> case_names() {
    std::vector<std::string> names;
    if (!fs::is_directory(kCorpus)) return names;
    for (const auto& entry : fs::directory_iterator(kCorpus))
        if (fs::exists(entry.path() / "score.cad")) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

// "onset pitch duration velocity" per line; '#' starts a comment.
std::vector<MidiNoteSpan> read_performance(const fs::path& path) {
    std::vector<MidiNoteSpan> spans;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) {
        line = line.substr(0, line.find('#'));
        std::istringstream fields(line);
        double onset = 0, duration = 0;
        int pitch = 0, velocity = 0;
        if (!(fields >> onset >> pitch >> duration >> velocity)) continue;
        spans.push_back({onset, static_cast<uint8_t>(pitch), duration, static_cast<uint8_t>(velocity), 0});
    }
    return spans;
}

std::string read_file(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

// The console errors a case expects, one per line of its errors.txt: none
// when it has no such file.
std::vector<std::string> expected_errors(const fs::path& dir) {
    const fs::path path = dir / "errors.txt";
    return fs::exists(path) ? lines_of(read_file(path)) : std::vector<std::string>{};
}

// Where the follow starts (`--start`): the first line of the case's
// start.txt, empty (the top of the score) when it has none.
std::string start_of(const fs::path& dir) {
    const fs::path path = dir / "start.txt";
    if (!fs::exists(path)) return {};
    const auto lines = lines_of(read_file(path));
    return lines.empty() ? std::string() : lines.front();
}

// Runs the program's follow command offline and gives the trace it wrote.
std::string follow_trace(const fs::path& dir) {
    TempScore midi("", ".mid");
    TempScore trace("", ".jsonl");
    std::string error;
    const auto spans = read_performance(dir / "performance.txt");
    EXPECT_FALSE(spans.empty()) << "no notes in " << dir / "performance.txt";
    EXPECT_TRUE(write_midi_file(midi.path, midi_events_from_spans(spans), 480, 120, &error)) << error;
    ConsoleCapture console;
    FollowOptions options;
    options.score = (dir / "score.cad").string();
    options.midi = midi.path;
    options.trace = trace.path;
    options.quiet = true;
    options.start = start_of(dir);
    std::ostringstream human;
    EXPECT_EQ(run_follow(options, human), 0);
    EXPECT_EQ(console.errors, expected_errors(dir));
    return read_file(trace.path);
}

class TraceCorpus : public ::testing::TestWithParam<std::string> {};

TEST_P(TraceCorpus, FollowWritesTheExpectedTrace) {
    const fs::path dir = kCorpus / GetParam();
    const std::string actual = follow_trace(dir);
    const fs::path golden = dir / "expected.jsonl";
    const char* update = std::getenv("CAD_UPDATE_GOLDEN");
    if (update && std::string(update) == "1" && !HasFailure()) {
        std::ofstream(golden, std::ios::binary) << actual;
        GTEST_SKIP() << "rewrote " << golden;
    }
    ASSERT_TRUE(fs::exists(golden)) << "no " << golden << " (CAD_UPDATE_GOLDEN=1 writes it)";
    const auto expected = lines_of(read_file(golden));
    const auto got = lines_of(actual);
    for (std::size_t i = 0; i < std::min(expected.size(), got.size()); ++i)
        ASSERT_EQ(got[i], expected[i]) << "line " << i + 1 << " of " << golden;
    EXPECT_EQ(got.size(), expected.size()) << "lines in the trace of " << GetParam();
}

INSTANTIATE_TEST_SUITE_P(Cases, TraceCorpus, ::testing::ValuesIn(case_names()), [](const auto& info) {
    std::string name = info.param;
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
});
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(TraceCorpus);

} // namespace
