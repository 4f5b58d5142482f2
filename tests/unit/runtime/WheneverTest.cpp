// Reactions: a whenever fires within the instant that assigns a variable of
// its condition, once per instant and position, in the order the reactions
// were attached, until its life ends.
#include "PlayRig.hpp"

#include "Exp/Reference.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Whenever : public PlayRig {};

TEST_F(Whenever, FiresWhenAnAssignmentMakesItsConditionTrue) {
    play("bpm 60\nNOTE 60 8\n  whenever ($x > 1) { print x $x }\n  $x := 1\n  1 $x := 2\n  1 $x := 3\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("x 2@1", "x 3@2"));
    EXPECT_EQ(rt().active_timer_count(), 2u) << "a reaction lives on, and its group waits for it";
}

TEST_F(Whenever, FiresOnceForTwoAssignmentsOfOneInstantAndAgainAtTheNext) {
    play("bpm 60\nNOTE 60 8\n  whenever ($x > 0) { print x $x }\n  1 $x := 1\n  $x := 2\n  1 $x := 3\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("x 1@1", "x 3@2"));
}

TEST_F(Whenever, TwoVariablesSetTogetherFireItOnce) {
    play("NOTE 60 8\n  $a := 0\n  $b := 0\n  whenever ($a + $b > 0) { print sum ($a + $b) }\n");
    std::vector<var_management*> changed;
    rt().start_multiple_ExternalUpdateVar();
    rt().set_multiple_var(changed, Reference::unique_id("$a"), *int_value(1));
    rt().set_multiple_var(changed, Reference::unique_id("$b"), *int_value(2));
    rt().end_multiple_ExternalUpdateVar(changed);
    EXPECT_THAT(lines(), ElementsAre("sum 3@0"));
}

TEST_F(Whenever, ReactionsOnOneVariableFireInTheOrderWritten) {
    play("bpm 60\nNOTE 60 8\n  whenever ($x) { print third_written_first }\n"
         "  whenever ($x) { print second }\n  whenever ($x) { print third }\n  1 $x := true\n");
    EXPECT_THAT(run_until(2.0), ElementsAre("third_written_first@1", "second@1", "third@1"));
}

TEST_F(Whenever, EndsAfterItsCountItsDurationOrItsCondition) {
    play("bpm 60\nNOTE 60 20\n  whenever ($x > 0) { print c } during [2#]\n"
         "  whenever ($x > 0) { print d } during [2.5]\n  whenever ($x > 0) { print u } until ($x > 2)\n"
         "  1 $x := 1\n  1 $x := 2\n  1 $x := 3\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("c@1", "d@1", "u@1", "c@2", "d@2", "u@2"));
    EXPECT_EQ(rt().active_timer_count(), 0u);
}

TEST_F(Whenever, AbortDetachesIt) {
    play("bpm 60\nNOTE 60 8\n  whenever w ($x > 0) { print x $x }\n  1 $x := 1\n  1 abort w\n  1 $x := 2\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("x 1@1"));
    EXPECT_EQ(rt().active_timer_count(), 0u);
}

TEST_F(Whenever, ImmediateTestsTheConditionWhenItStarts) {
    play("NOTE 60 8\n  $x := 5\n  whenever ($x > 1) @immediate { print now }\n  whenever ($x > 1) { print "
         "later }\n");
    EXPECT_THAT(lines(), ElementsAre("now@0"));
}

TEST_F(Whenever, OnEventFiresAtEachNewPosition) {
    play("bpm 60\nNOTE 60 1\n  whenever (event) { print at $BEAT_POS }\nNOTE 62 1\nNOTE 64 1\n");
    at(1.0);
    engine.updatePosition(2);
    at(2.0);
    engine.updatePosition(3);
    EXPECT_THAT(lines(), ElementsAre("at 1.0@1", "at 2.0@2"));
}

TEST_F(Whenever, LocalVariableOfItsGroupIsTheInstancesOwn) {
    play("bpm 60\nNOTE 60 8\n  group g {\n    @local $v\n    whenever ($v > 0) { print v $v }\n"
         "    1 $v := 4\n  }\n  2 $v := 9\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("v 4@1"));
}

TEST_F(Whenever, StopEndsEveryReaction) {
    play("NOTE 60 8\n  whenever ($x) { print never }\n");
    engine.cadenzium_stop();
    EXPECT_EQ(rt().active_timer_count(), 0u);
    EXPECT_THAT(lines(), IsEmpty());
}

} // namespace
