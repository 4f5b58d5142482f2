// Firing the score's actions through the engine: messages, groups and their
// delays, assignments, conditions, aborts, and the late firing of missed
// events. Time is virtual; an event is heard when the test says so.
#include "PlayRig.hpp"
#include "RunTime/CadenziumCore.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <gtest/gtest.h>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// "arguments@date" for each message, in the order of delivery.
const char* kOneNote = "NOTE 60 1\n";

class Firing : public PlayRig {
protected:
    std::vector<std::string> run_until(double t) {
        at(t);
        return timeline(host.delivered);
    }
};

// ---- messages ----

TEST_F(Firing, MessageGoesOutAtItsEventWithItsArguments) {
    play("bpm 60\nNOTE 60 1\n  print hello 1 2.5 \"text\"\n", 0.5);
    ASSERT_EQ(host.delivered.size(), 1u);
    EXPECT_EQ(host.delivered[0].receiver, "print");
    EXPECT_EQ(host.delivered[0].args, "hello 1 2.5 \"text\"");
    EXPECT_DOUBLE_EQ(host.delivered[0].date, 0.5);
    EXPECT_TRUE(host.delivered[0].lock_free);
}

TEST_F(Firing, TwoArgumentListsGiveTwoMessages) {
    play("NOTE 60 1\n  print a b, c d\n");
    ASSERT_EQ(host.delivered.size(), 2u);
    EXPECT_EQ(host.delivered[0].args, "a b");
    EXPECT_EQ(host.delivered[1].args, "c d");
}

TEST_F(Firing, DelaysCountInBeatsOfTheFollowedTempoOrInSeconds) {
    play("bpm 120\nNOTE 60 4\n  1 print beat\n  1s print second\n  2 print beats\n");
    // Each delay counts from the action before it.
    EXPECT_THAT(run_until(10.0), ElementsAre("beat@0.5", "second@1.5", "beats@2.5"));
}

// ---- groups ----

TEST_F(Firing, GroupWithoutDelaysRunsInOneInstantInOrder) {
    play("NOTE 60 1\n  group g { print a\n print b\n print c }\n", 0.25);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("a@0.25", "b@0.25", "c@0.25"));
    EXPECT_EQ(rt().active_timer_count(), 0u) << "a group that has run ends";
}

TEST_F(Firing, NestedGroupsKeepTheirDelays) {
    play("bpm 60\nNOTE 60 8\n  group outer {\n    1 print a\n    group inner { 1 print b\n 1 print c }\n"
         "    1 print d\n  }\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("a@1", "b@2", "d@2", "c@3"));
    EXPECT_EQ(rt().active_timer_count(), 0u);
}

TEST_F(Firing, DelayBelowTheEpsilonFiresInTheSameInstant) {
    play("bpm 60\nNOTE 60 1\n  0.00009 print now\n  0.001 print later\n", 0.5);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("now@0.5"));
    EXPECT_THAT(run_until(1.0), ElementsAre("now@0.5", "later@0.501"));
}

TEST_F(Firing, TimersDueAtOneDateFireInInsertionOrder) {
    play("NOTE 60 4\n  group x { 1 print first }\n  group y { 1 print second }\n  group z { 1 print third "
         "}\n");
    EXPECT_THAT(run_until(2.0), ElementsAre("first@1", "second@1", "third@1"));
}

TEST_F(Firing, FalseConditionStartsNoGroup) {
    play("NOTE 60 1\n  $go := false\n  group g @guard ($go) { print inside }\n  print after\n");
    EXPECT_THAT(timeline(host.delivered), ElementsAre("after@0"));
}

TEST_F(Firing, IterationStartsOneBodyPerElement) {
    play("bpm 60\nNOTE 60 4\n  forall $x in [1, 2, 3] {\n    $x print item $x\n  }\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("item 1@1", "item 2@2", "item 3@3"));
}

TEST_F(Firing, ActionsReadFromAStringRunAtOnce) {
    start(kOneNote);
    engine.playstring("print from_string 7");
    EXPECT_THAT(timeline(host.delivered), ElementsAre("from_string 7@0"));
}

// ---- variables ----

TEST_F(Firing, AssignmentIsReadByLaterActions) {
    play("bpm 60\nNOTE 60 1\n  $x := 3\n  1 print x $x\nNOTE 62 1\n  print y ($x + 1)\n");
    at(1.0);
    engine.updatePosition(2);
    ASSERT_EQ(host.delivered.size(), 2u);
    EXPECT_EQ(host.delivered[0].args, "x 3");
    EXPECT_EQ(host.delivered[1].args, "y 4");
}

TEST_F(Firing, SwitchFiresOnlyTheFirstMatchingCase) {
    play("NOTE 60 1\n  $v := 2\n  switch ($v) {\n    case 1: print one\n    case 2: print two\n"
         "    case 2: print two_again\n  }\n");
    EXPECT_THAT(timeline(host.delivered), ElementsAre("two@0"));
}

TEST_F(Firing, AssignmentBeyondTheEndOfATabResizesItAndWarns) {
    play("NOTE 60 1\n  $t := [1, 2, 3]\n  $t[5] := 6\n  print ($t[5]) ($t[4])\n");
    EXPECT_TRUE(console.has_error("Implicit array resizing in final array assignment (index = 5, size = 3)"));
    ASSERT_EQ(host.delivered.size(), 1u);
    EXPECT_EQ(host.delivered[0].args, "6 <<undef>>") << "the elements between are undefined";
}

// ---- abort ----

TEST_F(Firing, AbortStopsARunningGroupAfterItsHandler) {
    play("bpm 60\nNOTE 60 8\n  group g @abort := { print aborted } {\n    1 print one\n    1 print two\n"
         "    1 print three\n  }\n  2.5 abort g\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("one@1", "two@2", "aborted@2.5"));
    EXPECT_EQ(rt().active_timer_count(), 0u);
}

TEST_F(Firing, AbortKillsTheGroupsItStarted) {
    play("bpm 60\nNOTE 60 8\n  group g {\n    group inner { 1 print inner_one\n 2 print inner_two }\n"
         "    4 print outer\n  }\n  2 abort g\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("inner_one@1"));
    EXPECT_EQ(rt().active_timer_count(), 0u);
}

TEST_F(Firing, AbortOfDropsOneFutureChild) {
    play("bpm 60\nNOTE 60 8\n  group g {\n    1 print one\n    1 print two @label := skipped\n    1 print "
         "three\n"
         "  }\n  1.5 abort skipped of g\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("one@1", "three@3"));
}

TEST_F(Firing, AbortFromItsOwnHandlerIsRefused) {
    play("NOTE 60 8\n  group g @abort := { abort g } { 2 print never }\n  1 abort g\n");
    run_until(10.0);
    EXPECT_TRUE(console.has_post("Warning: cannot kill an at-kill handler"));
    EXPECT_THAT(host.delivered, IsEmpty());
}

TEST_F(Firing, AbortOfAnUnknownGroupIsReported) {
    play("NOTE 60 1\n  abort nowhere\n");
    EXPECT_TRUE(console.has_post("abort: unknown group 'nowhere'"));
}

// ---- missed events ----

TEST_F(Firing, MissedEventFiresLateExceptItsLocalActions) {
    play("bpm 60\nNOTE 60 1\nNOTE 62 1\n  print global\n  print local @local\nNOTE 64 1\n  print heard\n");
    at(2.0);
    engine.updatePosition(3);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("global@2", "heard@2"));
}

TEST_F(Firing, UnknownInternalCommandIsReported) {
    play("NOTE 60 1\n  cadenzium::nosuchcommand 1\n");
    EXPECT_TRUE(console.has_error("Unknown internal command"));
}

// ---- limits ----

TEST_F(Firing, PassingTheLimitOfRunningGroupsStopsTheEngine) {
    // Each group waits less than the one before: it goes to the head of the
    // scheduler's list, and the test stays fast.
    std::string score = "bpm 60\nNOTE 60 1\n";
    for (int i = 0; i < 20001; ++i)
        score += "  group g" + std::to_string(i) + " { " + std::to_string(30000 - i) + " print late }\n";
    score += "NOTE 62 1\n  print after\n";
    play(score);
    EXPECT_TRUE(console.has_error("Fatal Error: too much (20000) active groups: give up"));
    EXPECT_TRUE(console.has_error("Fatal Error: too much (20000) active groups: stoping current program"));
    EXPECT_TRUE(engine.stopped_by_fault());
    EXPECT_FALSE(engine.is_running());
    EXPECT_EQ(rt().active_timer_count(), 0u);

    const float note[2] = {62, 100};
    engine.cadenzium_doit(2, note);
    EXPECT_THAT(run_until(40000.0), IsEmpty()) << "nothing is followed or fired any more";
}

TEST_F(Firing, StopKillsWhatRuns) {
    play("NOTE 60 8\n  group g { 1 print one\n 1 print two }\n");
    EXPECT_EQ(rt().active_timer_count(), 1u);
    engine.cadenzium_stop();
    EXPECT_EQ(rt().active_timer_count(), 0u);
    EXPECT_THAT(run_until(10.0), IsEmpty());
}

} // namespace
