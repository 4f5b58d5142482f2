// How delays are honoured: a group's own tempo, constant or read from
// variables, nested scopes, and steps anchored to the score's events
// ("@tight") against a musician who rushes, drags or skips. Time is
// virtual; an event is heard when the test says so.
#include "RunTime/CadenziumCore.hpp"
#include "RuntimeRig.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::ElementsAre;

class Strategy : public RuntimeRig {
protected:
    void play(const std::string& score) {
        start(score);
        at(0.0);
        engine.updatePosition(1);
    }
    std::vector<std::string> run_until(double t) {
        at(t);
        return timeline(host.delivered);
    }
    bool said(const std::string& text) const { return console.has_error(text.c_str()); }
};

// ---- a tempo of the scope's own ----

TEST_F(Strategy, ConstantTempoCountsBeatsInItsOwnSecondsWhateverTheFollowedTempo) {
    play("bpm 60\nNOTE 60 8\n  group g @tempo 120 {\n    1 print a\n    1 print b\n    2 print c\n  }\n");
    EXPECT_THAT(run_until(2.5), ElementsAre("a@0.5", "b@1", "c@2"));
    EXPECT_TRUE(console.errors.empty());
}

TEST_F(Strategy, NestedScopesInheritTheirTempoUnlessTheyHaveTheirOwn) {
    play("bpm 60\nNOTE 60 8\n  group outer @tempo 120 {\n"
         "    group inherits { 1 print in }\n"
         "    group faster @tempo 240 { 1 print fast }\n"
         "    group followed @tempo $RT_TEMPO { 1 print followed }\n  }\n");
    EXPECT_THAT(run_until(2.0), ElementsAre("fast@0.25", "in@0.5", "followed@1"));
}

TEST_F(Strategy, LoopsAndCurvesOfAScopeCountInItsBeats) {
    play("bpm 60\nNOTE 60 8\n  group g @tempo 120 {\n    loop 1 { print tick } during [3#]\n"
         "    curve @grain 1 @action := { print x $x } { $x { {0} 2 {2} } }\n  }\n");
    EXPECT_THAT(run_until(2.0),
                ElementsAre("tick@0", "x 0.0@0", "tick@0.5", "x 1.0@0.5", "tick@1", "x 2.0@1"));
}

TEST_F(Strategy, DynamicTempoFollowsItsVariablesAtOnce) {
    play("bpm 60\n$t := 60\nNOTE 60 8\n  group g @tempo $t {\n    1 print a\n    1 print b\n    1 print c\n  "
         "}\n"
         "  1.5 $t := 120\n");
    // a at 1 s; at 1.5 s half a beat of b remains, which takes 0.25 s at 120.
    EXPECT_THAT(run_until(3.0), ElementsAre("a@1", "b@1.75", "c@2.25"));
}

TEST_F(Strategy, ABadTempoWarnsAndKeepsTheTempoItReplaces) {
    play("bpm 60\nNOTE 60 8\n  group g @tempo 7000 { 1 print a }\n");
    EXPECT_TRUE(said("Bad local tempo: (7000.000000). Tempo is instanciated to 60.000000"));
    EXPECT_THAT(run_until(1.5), ElementsAre("a@1"));
}

TEST_F(Strategy, ADynamicTempoOutOfRangeKeepsTheLastOne) {
    play("bpm 60\n$t := 120\nNOTE 60 8\n  group g @tempo $t {\n    1 print a\n    1 print b\n  }\n  0.25 $t "
         ":= 9000\n");
    EXPECT_THAT(run_until(2.0), ElementsAre("a@0.5", "b@1"));
    EXPECT_TRUE(said("Dynamic tempo out of admissible range: computed 9000.000000, keep 120.000000"));
}

TEST_F(Strategy, AZeroTempoStopsTheScope) {
    play("bpm 60\nNOTE 60 8\n  group g @tempo 0 { 1 print never }\n  1 print after\n");
    EXPECT_THAT(run_until(100.0), ElementsAre("after@1"));
}

// ---- steps anchored to the score ----

const char* kTight =
    "bpm 60\nNOTE 60 1\n  group g { 2.5 print tight @tight }\n  group h { 2.5 print loose }\n"
    "NOTE 62 1\nNOTE 64 1\nNOTE 65 1\n";

TEST_F(Strategy, TightStepWaitsForItsEventAndCountsTheRestFromIt) {
    play(kTight);
    at(0.8);
    engine.updatePosition(2);
    at(1.6);
    engine.updatePosition(3); // the note of beat 2, 0.4 s early
    // Half a beat after that note at the tempo heard then; the loose one
    // counts from the first note.
    const double spb = 60.0 / var(env().rt_tempo_index);
    EXPECT_THAT(run_until(3.0),
                ElementsAre("tight@" + str_printf("%g", 1.6 + 0.5 * spb), ::testing::StartsWith("loose@")));
    EXPECT_GT(host.delivered[1].date, 2.0);
}

TEST_F(Strategy, TightStepOfASkippedEventRunsLateAtTheNextOne) {
    play(kTight);
    at(1.0);
    engine.updatePosition(2);
    at(2.2);
    engine.updatePosition(4); // the note of beat 2 never came
    EXPECT_THAT(run_until(3.0), ElementsAre("tight@2.2", "loose@2.5"));
}

TEST_F(Strategy, TightStepAlreadyAnchoredRunsAfterTheRestOnly) {
    play("bpm 60\nNOTE 60 1\nNOTE 62 4\n  group g {\n    0.5 print a @tight\n    0.5 print b @tight\n  }\n");
    at(0.5);
    engine.updatePosition(2);
    EXPECT_THAT(run_until(2.0), ElementsAre("a@1", "b@1.5"));
}

// ---- anchors chosen by lists, and what a late anchor does ----

const char* kAnchors = "bpm 60\nNOTE 60 1 A\n"
                       "  group all { 1.5 print all @tight }\n"
                       "  group listed @tight := { $A } { 1.5 print listed }\n"
                       "NOTE 62 1 B\nNOTE 64 1 C\nNOTE 65 1 D\n";

TEST_F(Strategy, ListedAnchorsAreTheOnlyOnesAStepWaitsFor) {
    play(kAnchors);
    at(0.4);
    engine.updatePosition(2); // B, 0.6 s early
    const double spb = 60.0 / var(env().rt_tempo_index);
    const auto got = run_until(3.0);
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0], "all@" + str_printf("%g", 0.4 + 0.5 * spb)) << "anchored on B, half a beat after it";
    EXPECT_NE(got[1].find("listed@"), std::string::npos);
    EXPECT_GT(host.delivered[1].date, 1.0) << "anchored on A only: B's earliness does not pull it";
}

TEST_F(Strategy, AnteFallsDueAtItsDateWhilePostWaitsForItsAnchor) {
    play("bpm 60\nNOTE 60 1 A\n  group a { 1.5 print ante @ante }\n  group p { 1.5 print post @post }\n"
         "NOTE 62 1 B\nNOTE 64 1 C\n");
    EXPECT_THAT(run_until(2.0), ElementsAre("ante@1.5")) << "B has not come";
    engine.updatePosition(2); // B, a second late
    const double spb = 60.0 / var(env().rt_tempo_index);
    EXPECT_THAT(run_until(4.0), ElementsAre("ante@1.5", "post@" + str_printf("%g", 2.0 + 0.5 * spb)));
}

TEST_F(Strategy, TightStepsInAScopeCountTheirRestAtTheScopesTempo) {
    play("bpm 60\nNOTE 60 1 A\n  group g @tempo 120 { 1.5 print tight @tight }\n"
         "  group h @tempo 120 { 1.5 print post @post }\nNOTE 62 1 B\nNOTE 64 1 C\n");
    at(0.3);
    engine.updatePosition(2); // B early: half a beat at 120 remains after it
    EXPECT_THAT(run_until(1.0), ElementsAre("tight@0.55", "post@0.55"));
    EXPECT_TRUE(console.errors.empty());
}

// ---- a tempo variable ----

TEST_F(Strategy, SyncCountsAtTheTempoOfItsVariable) {
    play("bpm 60\n@tempovar $v(60, 1)\nlet $v.tempo := 120\nNOTE 60 8\n"
         "  group g @sync $v {\n    1 print a\n    1 print b\n  }\n");
    EXPECT_THAT(run_until(2.0), ElementsAre("a@0.5", "b@1"));
    EXPECT_TRUE(console.errors.empty());
}

TEST_F(Strategy, SyncFollowsTheUpdatesOfItsVariable) {
    play("bpm 60\n@tempovar $v(60, 1)\nNOTE 60 16\n"
         "  loop 0.8 { $v := 1 } during [12#]\n"
         "  group g @sync $v {\n    1 print a\n    1 print b\n    1 print c\n  }\n");
    run_until(6.0);
    ASSERT_EQ(host.delivered.size(), 3u);
    EXPECT_LT(host.delivered[0].date, 1.0) << "updates every 0.8 beat pull the tempo up";
    EXPECT_LT(host.delivered[2].date - host.delivered[1].date, 1.0);
}

// B is early and the followed tempo rises; a tempo read at the listed
// events only keeps the one A was heard at.
TEST_F(Strategy, TempoOfListedEventsChangesOnlyAtThoseEvents) {
    play("bpm 60\nNOTE 60 1 A\n  group g @tempo := { {$A} } {\n    1 print a\n    1 print b\n    1 print c\n "
         " }\n"
         "NOTE 62 1 B\nNOTE 64 1 C\nNOTE 65 1 D\nNOTE 67 1 E\n");
    at(0.6);
    engine.updatePosition(2);
    at(1.2);
    engine.updatePosition(3);
    ASSERT_NE(var(env().rt_tempo_index), 60.0) << "the followed tempo changed";
    EXPECT_THAT(run_until(3.5), ElementsAre("a@1", "b@2", "c@3"));
}

TEST_F(Strategy, SyncOnAVariableWithoutTempoKeepsTheFollowedTempo) {
    play("bpm 60\n$v := 0\nNOTE 60 8\n  group g @sync $v {\n    1 print a\n    1 print b\n  }\n"
         "  0.5 $v := 1\n");
    EXPECT_THAT(run_until(2.5), ElementsAre("a@1", "b@2"));
}

// ---- targets ----

// The musician rushes to B; the group, behind, speeds up so as to meet the
// score at C, and from there goes on at the followed tempo.
TEST_F(Strategy, StaticTargetMeetsTheScoreAtTheTarget) {
    play("bpm 60\nNOTE 60 1 A\n  group g @target {$C} {\n    1 print one\n    1 print two\n"
         "    1 print three\n  }\n"
         "  group f {\n    1 print f_one\n    1 print f_two\n  }\nNOTE 62 1 B\nNOTE 64 1 C\nNOTE 65 1 D\n");
    at(0.5);
    engine.updatePosition(2);
    const double spb = 60.0 / var(env().rt_tempo_index);
    const double c_due = 0.5 + spb; // when the score's position reaches C
    run_until(c_due + 0.01);
    std::vector<std::string> got = timeline(host.delivered);
    ASSERT_GE(got.size(), 3u);
    EXPECT_EQ(got[0].substr(0, 4), "one@");
    EXPECT_LT(host.delivered[0].date, 0.5 + (0.5 * spb)) << "faster than the followed tempo";
    EXPECT_EQ(got.back(), "two@" + str_printf("%g", c_due));
}

TEST_F(Strategy, PeriodicTargetIsReachedAtEachPeriod) {
    play("bpm 60\nNOTE 60 1 A\n  group g @target (2 %% 0) {\n    1 print one\n    1 print two\n  }\n"
         "NOTE 62 1 B\nNOTE 64 1 C\nNOTE 65 1 D\n");
    at(0.5);
    engine.updatePosition(2);
    const double spb = 60.0 / var(env().rt_tempo_index);
    run_until(3.0);
    ASSERT_EQ(host.delivered.size(), 2u);
    EXPECT_NEAR(host.delivered[1].date, 0.5 + spb, 1e-6) << "beat 2 is the first period's end";
}

// A duration target closes the gap to the score: behind it, faster than
// the followed tempo.
TEST_F(Strategy, DurationTargetSpeedsUpABehindScope) {
    play("bpm 60\nNOTE 60 1 A\n  group g @target [2] {\n    1 print aimed\n  }\n  group f { 1 print free }\n"
         "NOTE 62 1 B\nNOTE 64 1 C\n");
    at(0.5);
    engine.updatePosition(2);
    const auto got = run_until(2.0);
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].substr(0, 6), "aimed@");
    EXPECT_LT(host.delivered[0].date, host.delivered[1].date);
}

// B is late: a conservative scope holds its position at B and slows down
// toward C; a progressive one counts on and keeps the tempo.
TEST_F(Strategy, ConservativeScopeWaitsForALateMusicianProgressiveDoesNot) {
    play("bpm 60\nNOTE 60 1 A\n"
         "  group cons @target {$C} @conservative {\n    1.25 print cons_a\n    0.25 print cons_b\n  }\n"
         "  group prog @target {$C} @progressive {\n    1.25 print prog_a\n    0.25 print prog_b\n  }\n"
         "NOTE 62 1 B\nNOTE 64 1 C\n");
    // At 1.25 the conservative position is held at 1: (2 - 1.25) / (2 - 1)
    // of the tempo, 45 BPM, and slower still at each instant that finds B
    // not heard yet.
    const auto got = run_until(2.0);
    EXPECT_THAT(got,
                ElementsAre("cons_a@1.25", "prog_a@1.25", "prog_b@1.5", ::testing::StartsWith("cons_b@")));
    EXPECT_GT(host.delivered[3].date, 1.25 + 0.25 * 60.0 / 45.0 - 1e-9);
}

} // namespace
