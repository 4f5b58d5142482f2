// Patterns recognised in the updates of variables: sequences of notes and
// events within their scopes, guards over bound locals, a refractory
// period, a state held for a duration, and an update that does not come.
#include "PlayRig.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Pattern : public PlayRig {
protected:
    // Hears event `index` at time `t`.
    void hear(int index, double t) {
        at(t);
        engine.updatePosition(index);
    }
};

TEST_F(Pattern, TwoNotesAreRecognisedOnlyInTheirOrder) {
    play("bpm 60\n@pattern_def pattern::up { NOTE C4\n NOTE D4 }\n"
         "whenever pattern::up { print up }\nNOTE C4 1\n"
         "NOTE D4 1\nNOTE D4 1\nNOTE C4 1\nNOTE E4 1\nNOTE C4 1\nNOTE D4 1\n");
    for (int i = 2; i <= 7; ++i)
        hear(i, i - 1.0);
    EXPECT_THAT(lines(), ElementsAre("up@1", "up@6"));
}

TEST_F(Pattern, SingleElementBehavesAsAGuardedWhenever) {
    play("@pattern_def pattern::big { EVENT $x where ($x > 2) }\nNOTE 60 9\n"
         "  whenever pattern::big { print big $x }\n  $x := 1\n  1 $x := 3\n  1 $x := 2\n  1 $x := 5\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("big 3@1", "big 5@3"));
}

TEST_F(Pattern, BeforeLimitsTheWaitForTheNextElement) {
    play("bpm 60\n@pattern_def pattern::quick { EVENT $x Value 1\n Before [1.5] EVENT $x Value 2 }\nNOTE 60 "
         "20\n"
         "  whenever pattern::quick { print quick }\n"
         "  $x := 1\n  1 $x := 2\n  1 $x := 1\n  2 $x := 2\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("quick@1")) << "the second 2 comes two beats after its 1";
}

TEST_F(Pattern, WithoutScopeTheNextElementIsTheNextUpdate) {
    play("@pattern_def pattern::pair { EVENT $x Value 1\n EVENT $x Value 2 }\nNOTE 60 20\n"
         "  whenever pattern::pair { print pair }\n"
         "  $x := 1\n  1 $x := 3\n  1 $x := 2\n  1 $x := 1\n  1 $x := 2\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("pair@4"));
}

TEST_F(Pattern, LocalsBindAndGuardsCompare) {
    play("bpm 60\n@pattern_def pattern::longer { @local $d\n NOTE C4 $d\n NOTE D4 where ($DURATION > $d) }\n"
         "whenever pattern::longer { print longer }\nNOTE C4 1\nNOTE D4 2\nNOTE C4 2\nNOTE D4 1\n");
    for (int i = 2; i <= 4; ++i)
        hear(i, i - 1.0);
    EXPECT_THAT(lines(), ElementsAre("longer@1"));
}

TEST_F(Pattern, RepeatedVariableMustTakeTheSameValue) {
    play("@pattern_def pattern::same { @local $p\n NOTE $p\n NOTE $p }\n"
         "whenever pattern::same { print same $p }\nNOTE 60 1\nNOTE 62 1\nNOTE 62 1\nNOTE 64 1\n");
    for (int i = 2; i <= 4; ++i)
        hear(i, i - 1.0);
    EXPECT_THAT(lines(), ElementsAre("same 6200.0@2"));
}

TEST_F(Pattern, RefractoryPeriodSkipsCloseRecognitions) {
    play("bpm 60\n@pattern_def pattern::c { @refractory 2\n NOTE 60 }\n"
         "whenever pattern::c { print c }\nNOTE 60 1\nNOTE 60 1\nNOTE 60 1\nNOTE 60 1\nNOTE 60 1\n");
    for (int i = 2; i <= 5; ++i)
        hear(i, i - 1.0);
    EXPECT_THAT(lines(), ElementsAre("c@0", "c@2", "c@4"))
        << "the first passes: nothing was recognised before";
}

TEST_F(Pattern, StateIsRecognisedWhenItHoldsForItsDuration) {
    play("bpm 60\n@pattern_def pattern::hot { @local $s\n STATE $x where ($x > 5) during 2 Start $s }\n"
         "NOTE 60 20\n  whenever pattern::hot { print hot $s }\n"
         "  $x := 6\n  1 $x := 1\n  1 $x := 7\n  1 $x := 8\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("hot 2.0@4")) << "the first state ends after a beat";
}

TEST_F(Pattern, StateWithoutDurationIsRecognisedOnEachEntry) {
    play("bpm 60\n@pattern_def pattern::on { @local $a, $b\n STATE $x where ($x > 5) Start $a Stop $b }\n"
         "NOTE 60 20\n  whenever pattern::on { print on $a }\n"
         "  $x := 6\n  1 $x := 7\n  1 $x := 1\n  2 $x := 9\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("on 0.0@0", "on 4.0@4"))
        << "staying in the state is no new entry";
}

TEST_F(Pattern, NoEventIsRecognisedWhenNothingComesInItsScope) {
    play("bpm 60\n@pattern_def pattern::alone { EVENT $x\n Before [1.5] NoEvent $y }\n"
         "NOTE 60 20\n  whenever pattern::alone { print alone }\n"
         "  $x := 1\n  1 $y := 1\n  1 $x := 2\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("alone@3.5"));
}

TEST_F(Pattern, AbortingTheWheneverStopsTheRecognition) {
    play("@pattern_def pattern::any { EVENT $x }\nNOTE 60 20\n"
         "  whenever pattern::any @name w { print seen }\n  $x := 1\n  1 abort w\n  1 $x := 2\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("seen@0"));
}

} // namespace
