// Following synthetic performances end to end, through the program's own
// driver: a score is written, a performance of it is generated (in time, in
// an accelerando, with wrong, extra and skipped notes), and the positions
// the follower reports are checked against the true onsets.
#include "Commands.hpp"
#include "ConsoleCapture.hpp"
#include "MidiFile.hpp"
#include "ScoreFiles.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <fstream>
#include <map>
#include <sstream>

namespace {

struct ScoreNote {
    int pitch;
    double beats;
};

// A melody that never repeats a pitch twice in a row.
std::vector<ScoreNote> melody(int count) {
    static const int steps[] = {0, 2, 4, 5, 7, 9, 11, 12, 11, 9, 7, 5, 4, 2};
    static const double lengths[] = {1, 0.5, 0.5, 1, 1, 0.5, 0.5, 2};
    std::vector<ScoreNote> notes;
    for (int i = 0; i < count; ++i)
        notes.push_back({60 + steps[i % 14] + (i / 14 % 2) * 3, lengths[i % 8]});
    return notes;
}

std::string score_text(const std::vector<ScoreNote>& notes, double bpm) {
    std::ostringstream out;
    out << "bpm " << bpm << '\n';
    for (const ScoreNote& n : notes)
        out << "NOTE " << n.pitch << ' ' << n.beats << '\n';
    return out.str();
}

// Onset times of the notes when the tempo goes linearly from `bpm_from` to
// `bpm_to` over the piece (beats integrated at the tempo of their start).
std::vector<double> onsets(const std::vector<ScoreNote>& notes, double start, double bpm_from,
                           double bpm_to) {
    double total = 0;
    for (const ScoreNote& n : notes)
        total += n.beats;
    std::vector<double> times;
    double t = start, beat = 0;
    for (const ScoreNote& n : notes) {
        times.push_back(t);
        const double bpm = bpm_from + (bpm_to - bpm_from) * beat / total;
        t += n.beats * 60.0 / bpm;
        beat += n.beats;
    }
    return times;
}

struct Performance {
    std::vector<MidiNoteSpan> spans;
    void play(double onset, int pitch, double duration) {
        spans.push_back({onset, static_cast<uint8_t>(pitch), duration * 0.9, 80, 0});
    }
};

// Runs `cadenzium follow` and gives, for each event, the first time it was
// reported.
// The options of a quiet follow of `midi` against `score`.
FollowOptions quiet_follow(const std::string& score, const std::string& midi) {
    FollowOptions options;
    options.score = score;
    options.midi = midi;
    options.quiet = true;
    return options;
}

std::map<int, double> follow(const std::string& score, const Performance& performance) {
    TempScore score_file(score);
    TempScore midi_file("", ".mid");
    TempScore trace_file("", ".jsonl");
    std::string error;
    EXPECT_TRUE(write_midi_file(midi_file.path, midi_events_from_spans(performance.spans), 480, 120, &error))
        << error;
    ConsoleCapture console;
    FollowOptions options = quiet_follow(score_file.path, midi_file.path);
    options.trace = trace_file.path;
    std::ostringstream human;
    EXPECT_EQ(run_follow(options, human), 0);

    std::map<int, double> first;
    std::ifstream trace(trace_file.path);
    for (std::string line; std::getline(trace, line);) {
        const auto j = nlohmann::json::parse(line);
        if (j["type"] == "position") first.emplace(j["index"].get<int>(), j["t"].get<double>());
    }
    return first;
}

// Events whose first report lies within `tolerance` of their onset.
int on_time(const std::map<int, double>& reports, const std::vector<double>& times, double tolerance) {
    int count = 0;
    for (size_t i = 0; i < times.size(); ++i) {
        auto it = reports.find(static_cast<int>(i + 1));
        if (it != reports.end() && std::fabs(it->second - times[i]) <= tolerance) ++count;
    }
    return count;
}

constexpr double kTolerance = 0.1;

TEST(Follow, PerformanceInTime) {
    const auto notes = melody(40);
    const auto times = onsets(notes, 0.5, 100, 100);
    Performance p;
    for (size_t i = 0; i < notes.size(); ++i)
        p.play(times[i], notes[i].pitch, notes[i].beats * 0.6);
    const auto reports = follow(score_text(notes, 100), p);
    EXPECT_EQ(on_time(reports, times, kTolerance), 40);
    EXPECT_EQ(reports.rbegin()->first, 40) << "the follower reaches the end";
}

TEST(Follow, SteadyAccelerando) {
    const auto notes = melody(48);
    const auto times = onsets(notes, 0.5, 80, 130);
    Performance p;
    for (size_t i = 0; i < notes.size(); ++i)
        p.play(times[i], notes[i].pitch, 0.25);
    const auto reports = follow(score_text(notes, 80), p);
    EXPECT_GE(on_time(reports, times, kTolerance), 46);
    EXPECT_EQ(reports.rbegin()->first, 48);
}

TEST(Follow, WrongAndExtraNotes) {
    const auto notes = melody(40);
    const auto times = onsets(notes, 0.5, 100, 100);
    Performance p;
    for (size_t i = 0; i < notes.size(); ++i) {
        const bool wrong = i % 9 == 4;
        p.play(times[i], notes[i].pitch + (wrong ? 1 : 0), 0.25);
        if (i % 11 == 6) p.play(times[i] + 0.12, 90, 0.05); // a stray note
    }
    const auto reports = follow(score_text(notes, 100), p);
    EXPECT_GE(on_time(reports, times, 0.3), 36);
    EXPECT_EQ(reports.rbegin()->first, 40);
}

TEST(Follow, SkippedNote) {
    const auto notes = melody(30);
    const auto times = onsets(notes, 0.5, 100, 100);
    Performance p;
    for (size_t i = 0; i < notes.size(); ++i)
        if (i != 14) p.play(times[i], notes[i].pitch, 0.25);
    const auto reports = follow(score_text(notes, 100), p);
    for (int i : {16, 17, 18}) {
        ASSERT_TRUE(reports.count(i)) << "event " << i << " after the skipped one";
        EXPECT_NEAR(reports.at(i), times[static_cast<size_t>(i - 1)], kTolerance) << "event " << i;
    }
    EXPECT_EQ(reports.rbegin()->first, 30);
}

TEST(Follow, TraceAndHumanOutput) {
    const auto notes = melody(4);
    const auto times = onsets(notes, 0.5, 120, 120);
    Performance p;
    for (size_t i = 0; i < notes.size(); ++i)
        p.play(times[i], notes[i].pitch, 0.2);
    TempScore score_file("bpm 120\nNOTE 60 1 intro\nNOTE 62 0.5\nNOTE 64 0.5\nNOTE 65 1 last\n");
    TempScore midi_file("", ".mid");
    ASSERT_TRUE(write_midi_file(midi_file.path, midi_events_from_spans(p.spans)));
    ConsoleCapture console;
    FollowOptions options = quiet_follow(score_file.path, midi_file.path);
    std::ostringstream human;
    ASSERT_EQ(run_follow(options, human), 0);
    EXPECT_NE(human.str().find("event 1"), std::string::npos) << human.str();
    EXPECT_NE(human.str().find("\"intro\""), std::string::npos) << human.str();
    EXPECT_NE(human.str().find("\"last\""), std::string::npos) << human.str();

    options.midi = "/nonexistent.mid";
    EXPECT_EQ(run_follow(options, human), 1);
    EXPECT_TRUE(console.has_error("cannot read '/nonexistent.mid'"));
}

// A start from a place the score does not have, or with a performance
// paced by the clock, fails before following.
TEST(Follow, StartFromNowhereOrInRealTimeIsRefused) {
    Performance p;
    p.play(0.5, 64, 0.2);
    TempScore score_file("bpm 60\nNOTE 60 1 A\nNOTE 64 1 C\n");
    TempScore midi_file("", ".mid");
    ASSERT_TRUE(write_midi_file(midi_file.path, midi_events_from_spans(p.spans)));
    ConsoleCapture console;
    FollowOptions options = quiet_follow(score_file.path, midi_file.path);
    std::ostringstream human;
    options.start = "Z";
    EXPECT_EQ(run_follow(options, human), 1);
    EXPECT_TRUE(console.has_error("Given cue Z does not exist in the score!"));
    options.start = "9";
    EXPECT_EQ(run_follow(options, human), 1);
    EXPECT_TRUE(console.has_error("The inquired beat position 9.000000 does not exist in the score!"));
    options.start = "1";
    options.realtime = true;
    EXPECT_EQ(run_follow(options, human), 1);
    EXPECT_TRUE(console.has_error("cadenzium: --start follows a MIDI file offline only"));
    options.realtime = false;
    EXPECT_EQ(run_follow(options, human), 0) << "beat 1 is event C";
}

} // namespace
