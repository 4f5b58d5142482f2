// The follow command paced by the wall clock, on the scheduler thread's
// clocks: the same positions as offline, in order (no timing is checked
// here; the lateness is measured by the runtime benchmark).
#include "Commands.hpp"
#include "ConsoleCapture.hpp"
#include "MidiFile.hpp"
#include "ScoreFiles.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <sstream>

namespace {

std::vector<int> positions_of(const std::string& trace_path) {
    std::vector<int> indexes;
    std::ifstream trace(trace_path);
    for (std::string line; std::getline(trace, line);) {
        const auto j = nlohmann::json::parse(line);
        if (j["type"] == "position") indexes.push_back(j["index"].get<int>());
    }
    return indexes;
}

std::vector<int> follow(bool realtime) {
    TempScore score("bpm 120\nNOTE 60 1\nNOTE 64 1\nNOTE 67 1\n");
    TempScore midi("", ".mid");
    TempScore trace("", ".jsonl");
    const std::vector<MidiNoteSpan> spans = {
        {0.1, 60, 0.4, 80, 0}, {0.6, 64, 0.4, 80, 0}, {1.1, 67, 0.4, 80, 0}};
    std::string error;
    EXPECT_TRUE(write_midi_file(midi.path, midi_events_from_spans(spans), 480, 120, &error)) << error;
    ConsoleCapture console;
    FollowOptions options;
    options.score = score.path;
    options.midi = midi.path;
    options.trace = trace.path;
    options.quiet = true;
    options.realtime = realtime;
    options.tail = 0.2;
    std::ostringstream human;
    EXPECT_EQ(run_follow(options, human), 0);
    return positions_of(trace.path);
}

TEST(RealtimeFollow, ReportsThePositionsOfTheOfflineRun) {
    const auto offline = follow(false);
    ASSERT_EQ(offline, (std::vector<int>{0, 1, 2, 3}));
    EXPECT_EQ(follow(true), offline);
}

} // namespace
