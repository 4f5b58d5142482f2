// A pattern recognised in a recorded performance: the number of times a
// pair of successive notes is recognised while following a real pianist
// stays close to the number of times the score writes that pair. Reads the
// data directory ($CAD_DATA_DIR/follow); skipped without it.
#include "Commands.hpp"
#include "ConsoleCapture.hpp"
#include "ScoreFiles.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

namespace fs = std::filesystem;

namespace {

fs::path follow_dir() {
    const char* from_env = std::getenv("CAD_DATA_DIR");
    return fs::path(from_env && *from_env ? from_env : CAD_DEFAULT_DATA_DIR) / "follow";
}

// An event as $PITCH shows it: a chord by its first pitch as written.
struct WrittenNote {
    int pitch;    // -1 for a trill or a multi-event
    double beats; // the duration of a single note, 0 for anything else
};

// "CHORD (57 62) 1": 57.
int first_chord_pitch(const std::string& line) {
    const std::size_t open = line.find('(');
    return open == std::string::npos ? -1 : std::atoi(line.c_str() + open + 1);
}

// The score's events in order.
std::vector<WrittenNote> written_events(const std::string& score) {
    std::vector<WrittenNote> events;
    std::istringstream lines(score);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string keyword;
        fields >> keyword;
        std::transform(keyword.begin(), keyword.end(), keyword.begin(), ::toupper);
        if (keyword == "NOTE") {
            WrittenNote note{-1, 0.0};
            fields >> note.pitch >> note.beats;
            events.push_back(note);
        } else if (keyword == "CHORD") {
            events.push_back({first_chord_pitch(line), 0.0});
        } else if (keyword == "TRILL" || keyword == "MULTI") {
            events.push_back({-1, 0.0});
        }
    }
    return events;
}

using Pair = std::pair<int, int>;

bool countable(const WrittenNote& a, const WrittenNote& b) {
    return a.pitch > 0 && b.pitch > 0 && a.pitch != b.pitch;
}

// The pair of different successive single notes, neither of them
// ornamental (a quarter of a beat at least), that the score writes most
// often; `count` is how often two successive events show that pair, short
// notes and chords included.
Pair most_frequent_pair(const std::vector<WrittenNote>& events, int& count) {
    std::map<Pair, int> counts;
    for (std::size_t i = 0; i + 1 < events.size(); ++i)
        if (countable(events[i], events[i + 1]) && events[i].beats >= 0.25 && events[i + 1].beats >= 0.25)
            ++counts[{events[i].pitch, events[i + 1].pitch}];
    Pair best{0, 0};
    int most = 0;
    for (const auto& [pair, n] : counts)
        if (n > most) best = pair, most = n;
    count = 0;
    for (std::size_t i = 0; i + 1 < events.size(); ++i)
        count += events[i].pitch == best.first && events[i + 1].pitch == best.second;
    return best;
}

// The score with the pattern of `pair` and a reaction that reports it,
// both before the first event.
std::string with_pattern(const std::string& score, Pair pair) {
    const std::string pattern = "@pattern_def pattern::pair {\n NOTE " + std::to_string(pair.first) +
                                "\n NOTE " + std::to_string(pair.second) +
                                "\n}\nwhenever pattern::pair { matched 1 }\n";
    const std::size_t first_line = score.find('\n') + 1; // after the tempo
    return score.substr(0, first_line) + pattern + score.substr(first_line);
}

int count_messages(const std::string& trace_path, const std::string& receiver) {
    int n = 0;
    std::ifstream trace(trace_path);
    for (std::string line; std::getline(trace, line);) {
        const auto j = nlohmann::json::parse(line);
        n += j["type"] == "message" && j["receiver"] == receiver;
    }
    return n;
}

std::string read_file(const fs::path& path) {
    std::ifstream in(path);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

TEST(PatternInPerformance, PairOfNotesIsRecognisedAsOftenAsTheScoreWritesIt) {
    const fs::path dir = follow_dir() / "Brahms_Six_Pieces_op_118_2_Shilyaev03";
    if (!fs::exists(dir / "perf.mid"))
        GTEST_SKIP() << "no recorded performance at " << dir << " (set CAD_DATA_DIR)";
    const std::string score = read_file(dir / "score.txt");
    int written = 0;
    const Pair pair = most_frequent_pair(written_events(score), written);
    ASSERT_GE(written, 5) << "the score needs a pair written several times";

    TempScore score_file(with_pattern(score, pair));
    TempScore trace_file("", ".jsonl");
    ConsoleCapture console;
    FollowOptions options;
    options.score = score_file.path;
    options.midi = (dir / "perf.mid").string();
    options.trace = trace_file.path;
    options.quiet = true;
    std::ostringstream human;
    ASSERT_EQ(run_follow(options, human), 0) << console.all();

    const int recognised = count_messages(trace_file.path, "matched");
    // Notes missed or skipped by the follower lose a few; none is invented.
    EXPECT_LE(recognised, written);
    EXPECT_GE(recognised, written * 9 / 10) << "pair " << pair.first << " " << pair.second;
    RecordProperty("written", written);
    RecordProperty("recognised", recognised);
}

} // namespace
