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

class Practice : public Play {
protected:
    // Four notes of a second each, the onsets heard at `times`.
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
    EXPECT_TRUE(console.has_post("Total Missed=0 (over 5 events), Total duration missed=0.00"));
    EXPECT_TRUE(console.has_post("Event precision: 100.0 percent - Weighted precision: 100.0 percent"));
    EXPECT_TRUE(console.has_post("Timing precision: 0 milli-seconds (average over score)"));
}

TEST_F(Practice, OnsetsBeyondAHundredMillisecondsAreTimingMisses) {
    rehearse({{1, 1.0}, {2, 2.0}, {3, 2.901}, {4, 3.899}});
    EXPECT_EQ(posts_with("EARLY event"), 0) << "99 ms early passes";
    EXPECT_EQ(posts_with("LATE"), 0);
    at(5.0);
    engine.updatePosition(5);
    EXPECT_TRUE(console.has_post("LATE  event 5, NOTE 6700 by 101 milli-seconds"));
    EXPECT_EQ(host.counters().timing_misses, 1.0f);
}

TEST_F(Practice, ASkippedEventIsAJumpAndItsDurationIsMissed) {
    rehearse({{1, 1.0}, {2, 2.0}, {4, 4.0}, {5, 5.0}});
    engine.PracticeReport();
    EXPECT_TRUE(console.has_post("Total Missed=1 (over 5 events), Total duration missed=1.00"));
    EXPECT_TRUE(console.has_post("Including 0 Timing misses and 1 jumps."));
    EXPECT_TRUE(console.has_post("Missed events: 3"));
    EXPECT_TRUE(console.has_post("Event precision: 80.0 percent - Weighted precision: 80.0 percent"));
}

TEST_F(Practice, PlayingFromPracticeComesBackToPracticeAtTheEnd) {
    ASSERT_TRUE(host.load("bpm 60\nNOTE 60 1\n  print a\nNOTE 62 1\n  print b\n"));
    engine.cadenzium_play();
    at(5.0);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("a@0", "b@1")) << "the player fires the actions";
    EXPECT_EQ(rt().switches.play_state, 1);
}

} // namespace
