// `cadenzium play` against a perfect performance: the bundled etude played
// by itself gives the positions and the messages that following a MIDI
// performance of it at the score's tempo gives, a second later (the
// performance starts after a second of silence). And `follow --practice`
// on a performance with known faults.
#include "Commands.hpp"
#include "ConsoleCapture.hpp"
#include "MidiFile.hpp"
#include "ScoreFiles.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <fstream>
#include <sstream>

namespace {

const std::string kEtude = std::string(CAD_SOURCE_DIR) + "/examples/etude.cad";

struct Line {
    double t;
    std::string what; // "position N" or the message "receiver args"
};

std::vector<Line> read_trace(const std::string& path) {
    std::vector<Line> lines;
    std::ifstream in(path);
    for (std::string text; std::getline(in, text);) {
        const auto j = nlohmann::json::parse(text);
        const double t = j["t"].get<double>();
        if (j["type"] == "position")
            lines.push_back({t, "position " + std::to_string(j["index"].get<int>())});
        else if (j["type"] == "message")
            lines.push_back({t, j["receiver"].get<std::string>() + " " + j["args"].dump()});
    }
    return lines;
}

std::vector<Line> play_trace(const std::string& score) {
    TempScore trace("", ".jsonl");
    PlayOptions o;
    o.score = score;
    o.trace = trace.path;
    o.quiet = true;
    std::ostringstream human;
    EXPECT_EQ(run_play(o, human), 0);
    return read_trace(trace.path);
}

std::vector<Line> follow_trace(const std::string& score, const std::vector<MidiNoteSpan>& spans,
                               bool practice = false) {
    TempScore midi("", ".mid"), trace("", ".jsonl");
    std::string error;
    EXPECT_TRUE(write_midi_file(midi.path, midi_events_from_spans(spans), 480, 120, &error)) << error;
    FollowOptions o;
    o.score = score;
    o.midi = midi.path;
    o.trace = trace.path;
    o.quiet = !practice;
    o.practice = practice;
    std::ostringstream human;
    EXPECT_EQ(run_follow(o, human), 0);
    return read_trace(trace.path);
}

// The etude played in time, its first note a second in: what a pianist
// would play of each event, at 96 BPM, then 120 from the ninth event.
std::vector<MidiNoteSpan> etude_in_time() {
    std::vector<MidiNoteSpan> spans;
    const auto note = [&](double at, int pitch, double length) {
        spans.push_back({1.0 + at, static_cast<uint8_t>(pitch), length * 0.9, 80, 0});
    };
    const double q = 0.625; // a beat at 96 BPM
    note(0, 60, q);
    note(q, 64, q);
    note(2 * q, 67, q / 2);
    for (int p : {60, 64, 67})
        note(3 * q, p, 2 * q);
    note(5 * q - 0.07, 67, 0.05); // the grace note, just before its main note
    note(5 * q, 69, q);
    for (double t = 6 * q; t < 8 * q - 0.2; t += 0.09)
        note(t, std::lround((t - 6 * q) / 0.09) % 2 ? 74 : 72, 0.08);
    note(5.0, 74, 0.25);
    note(5.25, 72, 0.25);
    for (int k = 0; k <= 12; ++k) { // the glide, in semitones of the dyad
        note(5.5 + k / 13.0, 60 + k, 1 / 13.0);
        note(5.5 + k / 13.0, 64 + k, 1 / 13.0);
    }
    note(6.5, 60, 2.0);
    return spans;
}

// The first line of `want` in `lines` not yet taken, within `slack` seconds
// of `t`.
bool take(std::vector<Line>& lines, const std::string& want, double t, double slack) {
    for (Line& l : lines) {
        if (l.what != want || std::fabs(l.t - t) > slack) continue;
        l.what.clear();
        return true;
    }
    return false;
}

// The positions of the play are the score's own dates; those of the
// follow come a second later, at the notes' onsets. A MIDI follower hears
// a rest only once the silence is sure, a few frames after it begins, so
// the rest (event 4) and the ramp it starts come up to 0.1 s late; the
// grace note (6), a position of its own at its main note's date in the
// play, is played 70 ms before its main note; the two notes after the
// trill, on the trill's own pitches, the follower takes as more of the
// trill. Everything else of the play is in the follow.
TEST(PlayCommand, TheEtudePlayedByItselfIsAPerfectPerformanceOfIt) {
    const std::vector<Line> played = play_trace(kEtude);
    std::vector<Line> followed = follow_trace(kEtude, etude_in_time());
    std::vector<std::string> positions;
    for (const Line& l : played)
        if (l.what.rfind("position", 0) == 0) positions.push_back(std::to_string(l.t) + " " + l.what);
    EXPECT_EQ(positions,
              (std::vector<std::string>{"0.000000 position 0", "0.000000 position 1", "0.625000 position 2",
                                        "1.250000 position 3", "1.562500 position 4", "1.875000 position 5",
                                        "3.125000 position 6", "3.125000 position 7", "3.750000 position 8",
                                        "5.000000 position 9", "5.250000 position 10", "5.500000 position 11",
                                        "6.500000 position 12"}));

    const auto unheard = [](const Line& l) { return l.what == "position 9" || l.what == "position 10"; };
    const auto after_rest = [](const Line& l) {
        return l.what == "position 4" || (l.t >= 1.5625 && l.t < 2.07 && l.what.rfind("level", 0) == 0);
    };
    for (const Line& l : played) {
        if (l.what == "position 0" || unheard(l)) continue;
        const double late = after_rest(l) ? 0.05 : l.what == "position 6" ? -0.07 : 0.0;
        EXPECT_TRUE(take(followed, l.what, l.t + 1.0 + late, 0.05)) << l.what << " at " << l.t;
    }
}

TEST(PlayCommand, PositionsComeAtTheScoresTempoAndStopBeforeThePlaceAsked) {
    TempScore score("bpm 60\nNOTE 60 1 A\n  print a\nNOTE 62 2 B\n  print b\nbpm 120\nNOTE 64 1 C\n"
                    "  0.5 print c\nNOTE 65 1 D\n  print d\n");
    TempScore trace("", ".jsonl");
    PlayOptions o;
    o.score = score.path;
    o.from = "B";
    o.to = "3.5";
    o.trace = trace.path;
    o.quiet = true;
    std::ostringstream human;
    ASSERT_EQ(run_play(o, human), 0);
    std::vector<std::string> got;
    for (const Line& l : read_trace(trace.path)) {
        std::ostringstream line;
        line << l.t << " " << l.what;
        got.push_back(line.str());
    }
    EXPECT_EQ(got, (std::vector<std::string>{"0 position 0", "0 position 1", "1 position 2",
                                             "1 print [\"b\"]", "3 position 3", "3.25 print [\"c\"]"}))
        << "A is passed on the way, silent; D, beyond beat 3.5, is not played";
}

TEST(PlayCommand, APlaceTheScoreDoesNotHaveFails) {
    ConsoleCapture console;
    TempScore score("bpm 60\nNOTE 60 1 A\n");
    PlayOptions o;
    o.score = score.path;
    o.from = "Z";
    std::ostringstream human;
    EXPECT_EQ(run_play(o, human), 1);
    EXPECT_TRUE(console.has_error("Given cue Z does not exist in the score!"));
}

// Ten notes of a beat at 60 BPM, played in time but for the fourth note,
// 300 ms late, and the seventh and eighth, skipped. Each note is timed from
// the one before it at the period the tracker follows:
//   event 4: 1.3 s for 1 s, 300 ms late; the period grows to 1.0409 s;
//   event 5: 0.7 s for 1.0409 s, 341 ms early; the period falls to 1.0330;
//   event 6: 1 s for 1.0330 s, 33 ms early (no miss); the period 1.0089;
//   event 9: 3 s from event 6 for 1.0089 s, 1991 ms late (the skip);
//   event 10: 1 s for 1.0089 s, 9 ms early.
// The follower is sure of where the skip lands only some frames after the
// note, so event 9 is heard that much later still (the landing's delay d)
// and event 10 that much earlier: d + 9 ms early, a miss as well when that
// passes 100 ms. Missed: 4, 5 and 9 as timing misses (and 10 if it is one),
// 7 and 8 as jumps. The sum of the errors is -300 + 341 - (1991 + d), plus
// d + 9 when event 10 is a miss, over ten events (the follower's hops of
// 11.6 ms move it a little).
TEST(FollowPractice, TheReportCountsTheTimingMissesAndTheSkippedBar) {
    std::string text = "bpm 60\n";
    for (int i = 0; i < 10; ++i)
        text += "NOTE " + std::to_string(60 + 2 * i) + " 1\n  print n" + std::to_string(i + 1) + "\n";
    TempScore score(text);
    std::vector<MidiNoteSpan> spans;
    for (int i = 0; i < 10; ++i) {
        if (i == 6 || i == 7) continue;
        const double at = 1.0 + i + (i == 3 ? 0.3 : 0.0);
        spans.push_back({at, static_cast<uint8_t>(60 + 2 * i), 0.8, 80, 0});
    }
    ConsoleCapture console;
    const std::vector<Line> followed = follow_trace(score.path, spans, true);
    for (const Line& l : followed)
        EXPECT_EQ(l.what.find("print"), std::string::npos) << "practice is silent: " << l.what;
    const auto figure = [&](const char* format) {
        double v = -1e9;
        for (const std::string& line : console.posts)
            std::sscanf(line.c_str(), format, &v);
        return v;
    };
    EXPECT_NEAR(figure("Cadenzium -     LATE  event 4, NOTE 6600 1 by %lf"), 300.0, 12.0) << console.all();
    EXPECT_NEAR(figure("Cadenzium -     EARLY event 5, NOTE 6800 1 by %lf"), 341.0, 12.0);
    const double landing_delay = figure("Cadenzium -     LATE  event 9, NOTE 7600 1 by %lf") - 1991.0;
    EXPECT_GT(landing_delay, 0.0) << "the landing is heard after the note";
    EXPECT_LT(landing_delay, 200.0) << "the landing is found within a few frames";
    const bool tenth_missed = landing_delay + 9.0 > 100.0;
    const int missed = tenth_missed ? 6 : 5;
    if (tenth_missed) {
        EXPECT_NEAR(figure("Cadenzium -     EARLY event 10, NOTE 7800 1 by %lf"), landing_delay + 9.0, 12.0);
    }
    const std::string total = "     Total Missed=" + std::to_string(missed) +
                              " (over 10 events), Total duration missed=" + std::to_string(missed) + ".00";
    EXPECT_TRUE(console.has_post(total)) << console.all();
    EXPECT_TRUE(console.has_post("           Including " + std::to_string(missed - 2) +
                                 " Timing misses and 2 jumps."));
    const std::string percent = tenth_missed ? "40.0" : "50.0";
    EXPECT_TRUE(console.has_post("Event precision: " + percent + " percent - Weighted precision: " + percent +
                                 " percent"));
    const double sum = -300.0 + 341.0 - (1991.0 + landing_delay) + (tenth_missed ? landing_delay + 9.0 : 0.0);
    EXPECT_NEAR(figure("Timing precision: %lf"), sum / 10.0, 3.0);
}

} // namespace
