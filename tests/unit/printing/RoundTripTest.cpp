// A printed score reads back to the same score: the same events (pitches,
// durations, beats, tempo, flags, labels) and the same action tree, for
// every score of the corpora and of the follow data set; and, for the
// trace cases, the printed score follows to the same trace.
#include "Commands.hpp"
#include "ConsoleCapture.hpp"
#include "MidiFile.hpp"
#include "ScoreFiles.hpp"
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

const fs::path kScores = fs::path(CAD_TESTS_DIR) / "scores";

std::string read_file(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

// Hidden names carry a counter of the reading: "__anonymous17_loop" is
// renumbered by order of appearance, and places in the text are dropped.
std::string comparable(const std::string& text) {
    const std::string no_lines = std::regex_replace(text, std::regex("\t; line [0-9]+"), "");
    const std::regex hidden("(__anonymous|_patch_)([0-9]+)([A-Za-z0-9_]*)");
    std::map<std::string, int> numbers;
    std::string out;
    size_t last = 0;
    for (auto it = std::sregex_iterator(no_lines.begin(), no_lines.end(), hidden);
         it != std::sregex_iterator(); ++it) {
        const std::string name = (*it)[0].str();
        if (!numbers.count(name)) numbers[name] = static_cast<int>(numbers.size()) + 1;
        out += no_lines.substr(last, static_cast<size_t>(it->position()) - last);
        out += (*it)[1].str() + std::to_string(numbers[name]) + (*it)[3].str();
        last = static_cast<size_t>(it->position() + it->length());
    }
    return out + no_lines.substr(last);
}

// What the listening machine and the runtime take from each event, and the
// action trees in their reading form.
std::string tree_of(Score& score) {
    std::ostringstream out;
    for (const auto& e : score.events) {
        out << e->toString() << " | dur " << e->beat_duration() << " period " << e->ScoreTempo() << " change "
            << e->scoretempochange() << " var " << e->variance() << " inlet " << e->obs_inlet() << " dir "
            << e->direction() << " dummy " << e->withdummy() << " hook " << e->isHook() << " fermata "
            << e->fermata() << " type " << e->type() << " num " << e->notenum() << " ioi "
            << e->IOI_beat_duration() << " jumps";
        for (int target : score.find_jump(e->index()))
            out << ' ' << target;
        out << '\n';
    }
    out << "no rubato " << score.no_rubato << '\n';
    score.show_actions(out);
    return comparable(out.str());
}

std::string printed(const Score& score) {
    std::ostringstream out;
    score.show(out);
    return out.str();
}

// Reads `path`, prints it, reads the print: both trees must be one, and
// printing the second gives the same text (but for the file's name).
void expect_round_trip(const fs::path& path) {
    ConsoleCapture console;
    TestReading original;
    ASSERT_TRUE(original.load_file(path.string())) << "cannot read " << path;
    const std::string text = printed(original.score());
    const std::string tree = tree_of(original.score());

    TestReading again;
    const bool read = again.load(text);
    std::string errors;
    for (const std::string& line : again.diagnostics.errors)
        errors += line + '\n';
    ASSERT_TRUE(read) << "the print of " << path << " does not read:\n" << text << errors;
    EXPECT_EQ(tree_of(again.score()), tree) << "printed as:\n" << text;
    const std::string reprinted = printed(again.score());
    EXPECT_EQ(comparable(reprinted.substr(reprinted.find('\n'))), comparable(text.substr(text.find('\n'))));
}

std::vector<std::string> corpus_scores() {
    std::vector<std::string> paths;
    for (const auto& entry : fs::directory_iterator(kScores))
        if (entry.path().extension() == ".cad") paths.push_back(entry.path().string());
    for (const auto& entry : fs::directory_iterator(kScores / "traces"))
        if (fs::exists(entry.path() / "score.cad")) paths.push_back((entry.path() / "score.cad").string());
    paths.push_back((fs::path(CAD_SOURCE_DIR) / "examples" / "etude.cad").string());
    std::sort(paths.begin(), paths.end());
    return paths;
}

std::string test_name(const std::string& path) {
    const fs::path p(path);
    std::string name = p.stem() == "score" ? p.parent_path().filename().string() : p.stem().string();
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
}

class CorpusRoundTrip : public ::testing::TestWithParam<std::string> {};

TEST_P(CorpusRoundTrip, PrintReadsBackToTheSameTree) {
    expect_round_trip(GetParam());
}

INSTANTIATE_TEST_SUITE_P(Scores, CorpusRoundTrip, ::testing::ValuesIn(corpus_scores()),
                         [](const auto& info) { return test_name(info.param); });

fs::path data_dir() {
    const char* dir = std::getenv("CAD_DATA_DIR");
    return dir ? fs::path(dir) : fs::path(CAD_DEFAULT_DATA_DIR);
}

TEST(DataRoundTrip, EveryFollowScorePrintsBackToItself) {
    const fs::path follow = data_dir() / "follow";
    if (!fs::is_directory(follow))
        GTEST_SKIP() << "no follow data set in " << follow << " (set CAD_DATA_DIR)";
    int count = 0;
    for (const auto& entry : fs::directory_iterator(follow)) {
        const fs::path score = entry.path() / "score.txt";
        if (!fs::exists(score)) continue;
        SCOPED_TRACE(score.string());
        expect_round_trip(score);
        ++count;
    }
    EXPECT_GT(count, 0);
}

} // namespace

namespace {

// "onset pitch duration velocity" per line; '#' starts a comment.
std::vector<MidiNoteSpan> read_performance(const fs::path& path) {
    std::vector<MidiNoteSpan> spans;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) {
        std::istringstream fields(line.substr(0, line.find('#')));
        double onset = 0, duration = 0;
        int pitch = 0, velocity = 0;
        if (fields >> onset >> pitch >> duration >> velocity)
            spans.push_back(
                {onset, static_cast<uint8_t>(pitch), duration, static_cast<uint8_t>(velocity), 0});
    }
    return spans;
}

std::string first_line(const fs::path& path) {
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    return line;
}

// The trace of `cadenzium follow` offline, for a case's performance.
std::string follow_trace(const fs::path& dir, const std::string& score) {
    TempScore midi("", ".mid");
    TempScore trace("", ".jsonl");
    std::string error;
    EXPECT_TRUE(write_midi_file(midi.path, midi_events_from_spans(read_performance(dir / "performance.txt")),
                                480, 120, &error))
        << error;
    ConsoleCapture console;
    FollowOptions options;
    options.score = score;
    options.midi = midi.path;
    options.trace = trace.path;
    options.quiet = true;
    if (fs::exists(dir / "start.txt")) options.start = first_line(dir / "start.txt");
    std::ostringstream human;
    run_follow(options, human);
    return read_file(trace.path);
}

std::vector<std::string> trace_cases() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(kScores / "traces"))
        if (fs::exists(entry.path() / "score.cad")) names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

class TraceRoundTrip : public ::testing::TestWithParam<std::string> {};

TEST_P(TraceRoundTrip, PrintedScoreFollowsToTheSameTrace) {
    const fs::path dir = kScores / "traces" / GetParam();
    ConsoleCapture console;
    TestReading original;
    ASSERT_TRUE(original.load_file((dir / "score.cad").string()));
    TempScore printed_score(printed(original.score()));
    EXPECT_EQ(follow_trace(dir, printed_score.path), read_file(dir / "expected.jsonl"));
}

INSTANTIATE_TEST_SUITE_P(Cases, TraceRoundTrip, ::testing::ValuesIn(trace_cases()), [](const auto& info) {
    std::string name = info.param;
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
});

} // namespace
