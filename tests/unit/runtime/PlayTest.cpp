// The score played by itself at its own tempo on the virtual clock, and
// practice: onsets measured against the score and the report of a
// rehearsal.
#include "PlayRig.hpp"
#include "RunTime/CadenziumCore.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// Four events, the tempo doubling at C: A and B last a second each, C and
// D half a second.
const char* kFour = "bpm 60\nNOTE 60 1 A\n  print a\n  0.5 print a2\nNOTE 62 1 B\n  print b\n"
                    "bpm 120\nNOTE 64 1 C\n  print c\nNOTE 65 1 D\n  print d\n";

class Play : public PlayRig {
protected:
    void load(const std::string& score) { ASSERT_TRUE(host.load(score)); }
    long posts_with(const std::string& text) const {
        long n = 0;
        for (const std::string& line : console.posts)
            n += line.find(text) != std::string::npos;
        return n;
    }
};

TEST_F(Play, WithoutAScoreThereIsNothingToPlay) {
    engine.cadenzium_play();
    EXPECT_TRUE(console.has_error("No score to play! Load a score first... ."));
    EXPECT_FALSE(engine.is_playing());
}

TEST_F(Play, EventsComeAtTheScoresTempoWithTheirActions) {
    load(kFour);
    engine.cadenzium_play();
    EXPECT_TRUE(engine.is_playing());
    at(10.0);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("a@0", "a2@0.5", "b@1", "c@2", "d@2.5"));
    EXPECT_THAT(host.positions, ElementsAre(0, 1, 2, 3, 4));
    EXPECT_FALSE(engine.is_playing()) << "the player ends with the score";
}

// A grace note lasts no time: the player passes it at the date of the note
// it leads to, yet each is a position of its own, reported before its own
// messages.
TEST_F(Play, AGraceNoteIsAPositionOfItsOwn) {
    load("bpm 60\nNOTE 60 1\n  print a\nNOTE 62 0\n  print grace\nNOTE 64 1\n  print b\n");
    std::vector<std::string> order;
    host.on_each_position = [&](int index) { order.push_back("position " + std::to_string(index)); };
    host.on_each_message = [&](const std::string& args) { order.push_back(args); };
    engine.cadenzium_play();
    at(5.0);
    EXPECT_THAT(host.positions, ElementsAre(0, 1, 2, 3));
    EXPECT_THAT(timeline(host.delivered), ElementsAre("a@0", "grace@1", "b@1"));
    EXPECT_THAT(order,
                ElementsAre("position 0", "position 1", "a", "position 2", "grace", "position 3", "b"));
}

TEST_F(Play, PlayToABeatStopsBeforeTheFirstEventBeyondIt) {
    load(kFour);
    engine.cadenzium_start("");
    engine.cadenzium_playtobeat(1.5);
    at(10.0);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("a@0", "a2@0.5", "b@1"));
    EXPECT_EQ(engine.Position(), 2);
    engine.cadenzium_playtolabel("Z");
    EXPECT_TRUE(console.has_error("Given cue Z does not exist in the score!"));
}

// From a label, the score runs up to it in virtual time, silent, then
// plays on from there at its tempo.
TEST_F(Play, PlayFromALabelPlaysOnFromThere) {
    load(kFour);
    engine.cadenzium_playfromlabel("C");
    EXPECT_DOUBLE_EQ(engine.GetTime(), 2.0);
    at(10.0);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("c@2", "d@2.5"));
}

TEST_F(Play, StopEndsThePlaying) {
    load(kFour);
    engine.cadenzium_play();
    at(1.2);
    engine.cadenzium_stop();
    EXPECT_FALSE(engine.is_playing());
    at(10.0);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("a@0", "a2@0.5", "b@1"));
}

// A command of the played score that restarts or stops the playing runs
// once the player's step is over.
TEST_F(Play, TheScoreMayStopOrRestartItsOwnPlaying) {
    load("bpm 60\nNOTE 60 1\n  print one\nNOTE 62 1\n  cadenzium::stop\nNOTE 64 1\n  print never\n");
    engine.cadenzium_play();
    at(10.0);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("one@0"));
    EXPECT_FALSE(engine.is_playing());
}

// ---- practice ----

// Five notes of a beat at 60 BPM: each onset is due a second after the one
// before it while the tempo followed stays at 60. An onset's error is the
// written time from the onset before it, at the followed period, less the
// time that really passed: positive early, negative late. The first onset
// has none before it and is not timed.
class Practice : public Play {
protected:
    void rehearse(const std::vector<std::pair<int, double>>& onsets) {
        start("bpm 60\nNOTE 60 1\n  print a\nNOTE 62 1\nNOTE 64 1\nNOTE 65 1\nNOTE 67 1\n");
        for (const auto& [index, t] : onsets) {
            at(t);
            engine.updatePosition(index);
        }
    }
    void SetUp() override { engine.mode_set(1); }
};

TEST_F(Practice, ThePerfectRehearsalIsAHundredPercentAndSilent) {
    rehearse({{1, 1.0}, {2, 2.0}, {3, 3.0}, {4, 4.0}, {5, 5.0}});
    engine.PracticeReport();
    EXPECT_TRUE(host.delivered.empty()) << "practice keeps the score's actions silent";
    EXPECT_TRUE(console.has_post("CADENZIUM PRACTICE REPORT:"));
    EXPECT_TRUE(console.has_post("     Total Missed=0 (over 5 events), Total duration missed=0.00"));
    EXPECT_TRUE(console.has_post("           Including 0 Timing misses and 0 jumps."));
    EXPECT_TRUE(console.has_post("Event precision: 100.0 percent - Weighted precision: 100.0 percent"));
    EXPECT_TRUE(console.has_post("Timing precision: 0 milli-seconds (average over score)"));
}

// 2.901 - 2.0 = 0.901 s for a second: 99 ms early, within the limit.
// 13.101 - 12.0 = 1.101 s: 101 ms late, beyond it.
TEST_F(Practice, AnOnsetIsAMissOnlyBeyondAHundredMilliseconds) {
    rehearse({{1, 1.0}, {2, 2.0}, {3, 2.901}});
    EXPECT_EQ(posts_with("EARLY"), 0) << "99 ms early passes";
    EXPECT_EQ(host.counters().timing_misses, 0.0f);

    rehearse({{1, 11.0}, {2, 12.0}, {3, 13.101}});
    EXPECT_TRUE(console.has_post("Cadenzium -     LATE  event 3, NOTE 6400 1 by 101 milli-seconds"));
    EXPECT_EQ(host.counters().timing_misses, 1.0f);
    EXPECT_EQ(host.counters().missed_count, 1.0f);
    EXPECT_THAT(host.counters().missed_events, ElementsAre(3));
}

// Event 3 comes 1.3 s after event 2: 300 ms late at the period of 1 s.
// The tracker hears the late onset (phase error 0.3 of a period, its
// errors incoherent so far: kappa 1) and lengthens the period by
//   sin(0.6 pi) exp(cos(0.6 pi)) / (2 pi e) = 0.0409,
// to 1.0409 s. Event 4 comes 0.7 s after event 3, against 1.0409 s at the
// followed period: 341 ms early (300 against the score's own tempo).
// Both are timing misses; their signed errors sum to -300 + 340.9 = 40.9
// ms, over the score's five events 8 ms.
TEST_F(Practice, OnsetsAreTimedAtTheFollowedTempoAndTheirSignedErrorsAveraged) {
    rehearse({{1, 1.0}, {2, 2.0}, {3, 3.3}, {4, 4.0}});
    EXPECT_TRUE(console.has_post("Cadenzium -     LATE  event 3, NOTE 6400 1 by 300 milli-seconds"));
    EXPECT_TRUE(console.has_post("Cadenzium -     EARLY event 4, NOTE 6500 1 by 341 milli-seconds"));
    engine.PracticeReport();
    EXPECT_TRUE(console.has_post("     Total Missed=2 (over 5 events), Total duration missed=2.00"));
    EXPECT_TRUE(console.has_post("           Including 2 Timing misses and 0 jumps."));
    EXPECT_TRUE(console.has_post("Event precision: 60.0 percent - Weighted precision: 60.0 percent"));
    EXPECT_TRUE(console.has_post("Timing precision: 8 milli-seconds (average over score)"));
}

// Event 3 skipped: it is a jump. Event 4 lands 2 s after event 2, whose
// written time is a second: 1000 ms late, so it is counted once more, as a
// timing miss. Event 5 comes in time after event 4. The timing error, -1000
// ms over five events, is -200 on average.
TEST_F(Practice, ASkippedEventIsAJumpAndTheEventReachedATimingMiss) {
    rehearse({{1, 1.0}, {2, 2.0}, {4, 4.0}, {5, 5.0}});
    EXPECT_TRUE(console.has_post("Cadenzium -     LATE  event 4, NOTE 6500 1 by 1000 milli-seconds"));
    EXPECT_THAT(host.counters().missed_events, ElementsAre(3, 4));
    engine.PracticeReport();
    EXPECT_TRUE(console.has_post("     Total Missed=2 (over 5 events), Total duration missed=2.00"));
    EXPECT_TRUE(console.has_post("           Including 1 Timing misses and 1 jumps."));
    EXPECT_TRUE(console.has_post("Event precision: 60.0 percent - Weighted precision: 60.0 percent"));
    EXPECT_TRUE(console.has_post("Timing precision: -200 milli-seconds (average over score)"));
}

// A host with an end-of-score outlet gets the report when the last event is
// reached; one without gets it only when it asks.
TEST_F(Practice, TheLastEventBringsTheReportToAHostThatBangsAtTheEnd) {
    rehearse({{1, 1.0}, {2, 2.0}, {3, 3.0}, {4, 4.0}, {5, 5.0}});
    EXPECT_EQ(posts_with("CADENZIUM PRACTICE REPORT:"), 0);
    host.outlets.insert("ENDBANG");
    rehearse({{1, 11.0}, {2, 12.0}, {3, 13.0}, {4, 14.0}});
    EXPECT_EQ(posts_with("CADENZIUM PRACTICE REPORT:"), 0);
    at(15.0);
    engine.updatePosition(5);
    EXPECT_EQ(posts_with("CADENZIUM PRACTICE REPORT:"), 1);
}

TEST_F(Practice, PlayingFromPracticeComesBackToPracticeAtTheEnd) {
    ASSERT_TRUE(host.load("bpm 60\nNOTE 60 1\n  print a\nNOTE 62 1\n  print b\n"));
    engine.cadenzium_play();
    at(5.0);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("a@0", "b@1")) << "the player fires the actions";
    EXPECT_EQ(rt().switches.play_state, 1);
}

} // namespace
