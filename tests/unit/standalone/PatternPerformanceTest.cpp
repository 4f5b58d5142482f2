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

// The score's events in order: a single note's pitch, -1 for any other event.
std::vector<int> event_pitches(const std::string& score) {
    std::vector<int> pitches;
    std::istringstream lines(score);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream fields(line);
        std::string keyword;
        fields >> keyword;
        std::transform(keyword.begin(), keyword.end(), keyword.begin(), ::toupper);
        if (keyword == "NOTE") {
            int pitch = -1;
            fields >> pitch;
            pitches.push_back(pitch);
        } else if (keyword == "CHORD" || keyword == "TRILL" || keyword == "MULTI") {
            pitches.push_back(-1);
        }
    }
    return pitches;
}

using Pair = std::pair<int, int>;

// The pair of different successive notes that the score writes most often.
Pair most_frequent_pair(const std::vector<int>& pitches, int& count) {
    std::map<Pair, int> counts;
    for (std::size_t i = 0; i + 1 < pitches.size(); ++i)
        if (pitches[i] > 0 && pitches[i + 1] > 0 && pitches[i] != pitches[i + 1])
            ++counts[{pitches[i], pitches[i + 1]}];
    Pair best{0, 0};
    count = 0;
    for (const auto& [pair, n] : counts)
        if (n > count) best = pair, count = n;
    return best;
}

// The score with the pattern of `pair` and a reaction that reports it,
// both before the first event.
std::string with_pattern(const std::string& score, Pair pair) {
    const std::string pattern = "@pattern_def pattern::pair {\n NOTE " + std::to_string(pair.first) + "\n NOTE " +
                                std::to_string(pair.second) + "\n}\nwhenever pattern::pair { matched 1 }\n";
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
    const fs::path dir = follow_dir() / "Bach_Fugue_bwv_858_VuV01M";
    if (!fs::exists(dir / "perf.mid")) GTEST_SKIP() << "no recorded performance at " << dir << " (set CAD_DATA_DIR)";
    const std::string score = read_file(dir / "score.txt");
    int written = 0;
    const Pair pair = most_frequent_pair(event_pitches(score), written);
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
}

} // namespace
