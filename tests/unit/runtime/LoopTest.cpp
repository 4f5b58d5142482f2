// Loops on the virtual clock: the first iteration at once, periods in beats
// (following the tempo) or seconds, read again at each iteration, the ends
// of a loop's life, the guard against a zero period, and aborts.
#include "PlayRig.hpp"

#include "AllocCounter.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::ElementsAre;

class Loop : public PlayRig {};

TEST_F(Loop, RunsItsBodyAtOnceThenEveryPeriod) {
    play("bpm 60\nNOTE 60 8\n  loop l 1 { print tick } during [3#]\n", 0.5);
    EXPECT_THAT(lines(), ElementsAre("tick@0.5")) << "the first iteration runs when the loop starts";
    EXPECT_THAT(run_until(10.0), ElementsAre("tick@0.5", "tick@1.5", "tick@2.5"));
    EXPECT_EQ(rt().active_timer_count(), 0u) << "a loop whose life is over ends";
}

TEST_F(Loop, BodyKeepsItsDelaysInEachIteration) {
    play("bpm 60\nNOTE 60 8\n  loop 2 { print a\n  0.5 print b } during [2#]\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("a@0", "b@0.5", "a@2", "b@2.5"));
}

TEST_F(Loop, PeriodInSecondsIgnoresTheTempoAndInBeatsFollowsIt) {
    play("bpm 120\nNOTE 60 8\n  loop 1s { print s } during [3#]\n  loop 1 { print b } during [3#]\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("s@0", "b@0", "b@0.5", "s@1", "b@1", "s@2"));
}

TEST_F(Loop, TabOfPeriodsIsReadInTurn) {
    play("bpm 60\nNOTE 60 20\n  loop [1, 2] { print t } during [5#]\n");
    EXPECT_THAT(run_until(20.0), ElementsAre("t@0", "t@1", "t@3", "t@4", "t@6"));
}

TEST_F(Loop, PeriodIsReadAgainAtEachIteration) {
    play("bpm 60\nNOTE 60 20\n  $p := 2\n  loop ($p) { print t $p\n $p := $p / 2 } during [4#]\n");
    EXPECT_THAT(run_until(20.0), ElementsAre("t 2@0", "t 1.0@1", "t 0.5@1.5", "t 0.25@1.75"));
}

TEST_F(Loop, EndsAfterItsDurationOrWhenItsConditionHolds) {
    play("bpm 60\nNOTE 60 20\n  $n := 0\n  loop 1 { print d } during [2.5]\n"
         "  loop 1 { $n := $n + 1\n print u $n } until ($n >= 3)\n"
         "  loop 1 { print w } while ($n < 2)\n");
    EXPECT_THAT(run_until(20.0), ElementsAre("d@0", "u 1@0", "w@0", "d@1", "u 2@1", "d@2", "u 3@2"))
        << "the second loop counts to 2 before the third tests it at 1";
    EXPECT_EQ(rt().active_timer_count(), 0u);
}

TEST_F(Loop, DurationInSecondsIgnoresTheTempo) {
    play("bpm 120\nNOTE 60 20\n  loop 1 { print t } during [2.5s]\n");
    EXPECT_THAT(run_until(20.0), ElementsAre("t@0", "t@0.5", "t@1", "t@1.5", "t@2"));
}

TEST_F(Loop, ZeroPeriodStopsAfterTenThousandIterationsOfOneInstant) {
    play("NOTE 60 4\n  $n := 0\n  loop 0 { $n := $n + 1 }\n  print n $n\n");
    EXPECT_THAT(lines(), ElementsAre("n 10000@0"));
    EXPECT_EQ(errors_with("More than 10000 iteration in a loop with a 0. period. Terminate loop!"), 1);
    EXPECT_EQ(rt().active_timer_count(), 0u);
}

TEST_F(Loop, BadPeriodStopsTheLoopAfterItsIteration) {
    play("bpm 60\nNOTE 60 4\n  $p := \"x\"\n  loop ($p) { print once }\n  loop ([1, \"y\"]) { print twice "
         "}\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("once@0", "twice@0", "twice@1"));
    EXPECT_EQ(errors_with("Bad period in loop (expect a numeric or a tab of numeric, got a '\"x\"'"), 1);
    EXPECT_EQ(errors_with("Bad period in loop (expect a tab of numeric, got a 'TAB[1, \"y\"]'"), 1);
    EXPECT_TRUE(console.has_post("bad period") || console.has_error("bad period"));
    EXPECT_EQ(rt().active_timer_count(), 0u);
}

TEST_F(Loop, AbortStopsTheLoopAndItsRunningIteration) {
    play("bpm 60\nNOTE 60 8\n  loop l 1 { print a\n  0.75 print b }\n  2.5 abort l\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("a@0", "b@0.75", "a@1", "b@1.75", "a@2"));
    EXPECT_EQ(rt().active_timer_count(), 0u);
}

TEST_F(Loop, AbortOfAChildCancelsItNowAndInLaterIterations) {
    play("bpm 60\nNOTE 60 8\n  loop l 1 { print a\n  0.5 print b @label := bb } during [3#]\n"
         "  1.25 abort bb of l\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("a@0", "b@0.5", "a@1", "a@2"));
}

TEST_F(Loop, LoopOfAMissedEventCatchesUpLate) {
    play("bpm 60\nNOTE 60 1\nNOTE 62 1\n  loop 1 { print t } during [3#]\nNOTE 64 4\n");
    at(2.5);
    engine.updatePosition(3); // event 2, at beat 1, was missed: its loop is 1.5 beats late
    EXPECT_THAT(lines(), ElementsAre("t@2.5", "t@2.5"));
    EXPECT_THAT(run_until(10.0), ElementsAre("t@2.5", "t@2.5", "t@3.5"));
}

TEST_F(Loop, IterationOfABodyWithoutDelaysAllocatesNothing) {
    play("bpm 60\nNOTE 60 1000\n  $n := 0\n  loop 1/16 { $n := $n + 1 }\n");
    at(1.0);
    alloc_counter::start();
    at(2.0);
    const std::size_t allocations = alloc_counter::stop();
    EXPECT_EQ(allocations, 0u) << "in 16 iterations";
    EXPECT_EQ(var(env().get_vm("$n")->index), 33.0);
}

} // namespace
