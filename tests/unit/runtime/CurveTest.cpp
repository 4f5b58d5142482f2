// Curves on the virtual clock: variables moved along their breakpoints at a
// grain in beats or seconds, the step action, the simplified form, the
// floors of the grain, a late start, curves on NIMs, and a step that
// allocates nothing.
#include "PlayRig.hpp"

#include "AllocCounter.hpp"

#include <cmath>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::ElementsAre;

class CurveRun : public PlayRig {};

TEST_F(CurveRun, SamplesItsVariableAtEachGrainInBeats) {
    play("bpm 60\nNOTE 60 8\n  curve c @grain 0.25 { $x { {0} 1 {1} } }\n"
         "  whenever ($x >= 0) { print x $x }\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("x 0.25@0.25", "x 0.5@0.5", "x 0.75@0.75", "x 1.0@1"))
        << "the first value is set before the reaction is attached";
}

TEST_F(CurveRun, StepActionFiresAfterTheVariablesMove) {
    play("bpm 120\nNOTE 60 8\n  curve @grain 0.5 @action := { print v $x $y } {\n"
         "    $x, $y { {0, 10} 1 {2, 0} }\n  }\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("v 0.0 10.0@0", "v 1.0 5.0@0.25", "v 2.0 0.0@0.5"));
}

TEST_F(CurveRun, CurveInSecondsKeepsItsPaceWhateverTheTempo) {
    play("bpm 240\nNOTE 60 8\n  curve @grain 0.5s @action := { print v $x } { $x { {0} 1s {1} } }\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("v 0.0@0", "v 0.5@0.5", "v 1.0@1"));
}

TEST_F(CurveRun, LastStepLandsExactlyOnTheEnd) {
    play("bpm 60\nNOTE 60 8\n  curve @grain 0.4 @action := { print v $x } { $x { {0} 1 {10} } }\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("v 0.0@0", "v 4.0@0.4", "v 8.0@0.8", "v 10.0@1"));
}

TEST_F(CurveRun, SeveralBreakpointsEachWithItsEasing) {
    play("bpm 60\nNOTE 60 8\n  curve @grain 0.5 @action := { print v $x } {\n"
         "    $x { {0} \"quad\" 1 {4} 1 {0} }\n  }\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("v 0.0@0", "v 1.0@0.5", "v 4.0@1", "v 2.0@1.5", "v 0.0@2"))
        << "the easing written after a point shapes the segment that leaves it";
}

TEST_F(CurveRun, TabBreakpointsMoveEachElement) {
    play("bpm 60\nNOTE 60 8\n  curve @grain 0.5 @action := { print v $p } { $p { {([0, 10])} 1 {([2, 0])} } "
         "}\n");
    EXPECT_THAT(run_until(10.0),
                ElementsAre("v TAB[0.0, 10.0]@0", "v TAB[1.0, 5.0]@0.5", "v TAB[2.0, 0.0]@1"));
}

TEST_F(CurveRun, BadBreakpointsAreReportedAndNothingRuns) {
    play("NOTE 60 8\n  curve @grain 0.5 { $x { {\"a\"} 1 {1} } }\n"
         "  curve @grain 0.5 { $y { {([0, 1])} 1 {([1, 2, 3])} } }\n");
    EXPECT_TRUE(
        console.has_error("Curve: bad breakpoint specification (breakpoint specification is a string)"));
    EXPECT_TRUE(console.has_error("Vectorized curve: dimension mismatch"));
    EXPECT_EQ(rt().active_timer_count(), 0u);
}

TEST_F(CurveRun, SimplifiedCurveSendsItsMessageAndAReplacementStartsWhereItStood) {
    play("bpm 60\nNOTE 60 8\n  curve level 0, 1 1.0 @grain 0.5\n  0.5 curve level 0 1.0 @grain 0.5\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("0.0@0", "0.5@0.5", "0.5@0.5", "0.25@1", "0.0@1.5"));
    EXPECT_EQ(rt().active_timer_count(), 0u);
}

TEST_F(CurveRun, GrainsBelowAMillisecondAreRaisedWithAWarning) {
    play("bpm 60\nNOTE 60 8\n  $n := 0\n  $m := 0\n  curve @grain 0.0002s @action := { $n := $n + 1 } { $x { "
         "{0} 0.01s {1} } }\n"
         "  curve @grain 0.0005 @action := { $m := $m + 1 } { $y { {0} 0.01 {1} } }\n");
    at(1.0);
    EXPECT_TRUE(console.has_error("Warning: Curve: grain too small: 0.000200 s increased to 0.001000 s"));
    EXPECT_TRUE(
        console.has_error("Warning: Curve: relative grain too small: 0.000500 corresponding to 0.000500 s "
                          ": grain increased to 0.001000 s"));
    EXPECT_EQ(var(env().get_vm("$n")->index), 11.0) << "a step each millisecond, ends included";
    EXPECT_EQ(var(env().get_vm("$m")->index), 11.0);
    EXPECT_EQ(errors_with("grain too small"), 2) << "the warnings are not repeated at each step";
}

TEST_F(CurveRun, AbortStopsIt) {
    play("bpm 60\nNOTE 60 8\n  curve c @grain 0.5 @action := { print v $x } { $x { {0} 2 {1} } }\n"
         "  0.75 abort c\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("v 0.0@0", "v 0.25@0.5"));
    EXPECT_EQ(rt().active_timer_count(), 0u);
}

TEST_F(CurveRun, CurveOfAMissedEventStartsWhereItMustBe) {
    play("bpm 60\nNOTE 60 1\nNOTE 62 1\n  curve @grain 1 @action := { print v $x } { $x { {0} 4 {4} } }\n"
         "  print never_late @local\nNOTE 64 4\n");
    at(2.0);
    engine.updatePosition(3);
    EXPECT_THAT(lines(), ElementsAre()) << "the step action does not fire for the past";
    EXPECT_EQ(var(env().get_vm("$x")->index), 1.0) << "one beat into the curve";
    EXPECT_THAT(run_until(10.0), ElementsAre("v 2.0@3", "v 3.0@4", "v 4.0@5"));
}

TEST_F(CurveRun, CurveOnANimFollowsItsSegments) {
    play("bpm 60\nNOTE 60 8\n  $n := NIM { 0 0, 1 2 \"linear\", 1 0 \"linear\" }\n"
         "  curve @grain 0.5 @action := { print v $x } { $x : $n }\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("v 0.0@0", "v 1.0@0.5", "v 2.0@1", "v 1.0@1.5", "v 0.0@2"));
}

TEST_F(CurveRun, CurveOnAVectorNimMovesATab) {
    play("bpm 60\nNOTE 60 8\n  $n := NIM { 0 ([0, 10]), 1 ([1, 0]) }\n"
         "  curve @grain 0.5 @action := { print v $p } { $p : $n }\n"
         "  curve @grain 0.5 { $a, $b : $n }\n");
    EXPECT_THAT(run_until(10.0),
                ElementsAre("v TAB[0.0, 10.0]@0", "v TAB[0.5, 5.0]@0.5", "v TAB[1.0, 0.0]@1"));
    EXPECT_TRUE(
        console.has_error("NIM in DataCurve: several iteration variables: Not Yet Implemented  [nim13a]"));
}

TEST_F(CurveRun, StepOfACurveOnVariablesAllocatesNothing) {
    play("bpm 60\nNOTE 60 1000\n  curve @grain 0.01 { $x, $y { {0, 1} \"sine_in_out\" 100 {1, 0} } }\n"
         "  whenever ($x > 2) { print never }\n");
    at(1.0);
    alloc_counter::start();
    at(2.0);
    const std::size_t allocations = alloc_counter::stop();
    EXPECT_EQ(allocations, 0u) << "in 100 steps";
    EXPECT_NEAR(var(env().get_vm("$x")->index), 0.5 - 0.5 * std::cos(3.14159265 * 2.0 / 100.0), 2e-5)
        << "single precision, near the start of a sine";
}

TEST_F(CurveRun, StepThatSendsAMessageAllocatesNothingOnceMessagesAreReused) {
    host.record = false; // the recording host itself allocates
    play("bpm 60\nNOTE 60 1000\n  curve @grain 0.01 @action := { level $x } { $x { {0} 100 {1} } }\n");
    at(1.0);
    alloc_counter::start();
    at(2.0);
    EXPECT_EQ(alloc_counter::stop(), 0u) << "in 100 steps, each sending its message";
}

} // namespace
