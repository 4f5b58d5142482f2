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

} // namespace
