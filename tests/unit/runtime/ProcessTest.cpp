// Processes: each call starts an instance of the definition with its own
// parameters and locals; the call's value is the instance's execution,
// which can be read, written and aborted from outside.
#include "PlayRig.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

class Process : public PlayRig {};

// A process that counts from its start by its step, once a beat, three times.
const char* kCounter = "bpm 60\n"
                       "@proc_def ::count($name, $step) {\n"
                       "    @local $n\n"
                       "    $n := 0\n"
                       "    loop 1 {\n"
                       "        $n := $n + $step\n"
                       "        print $name $n\n"
                       "    } during [3#]\n"
                       "}\n";

TEST_F(Process, InstancesRunTogetherWithTheirOwnParametersAndLocals) {
    play(std::string(kCounter) + "NOTE 60 8\n  ::count(\"a\", 1)\n  0.5 ::count(\"b\", 10)\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("\"a\" 1@0", "\"b\" 10@0.5", "\"a\" 2@1", "\"b\" 20@1.5",
                                             "\"a\" 3@2", "\"b\" 30@2.5"));
    EXPECT_EQ(rt().active_timer_count(), 0u) << "every instance ends with its loop";
}

TEST_F(Process, BareNamesStandForProcessAndParameters) {
    play("@proc_def twice(x) { print twice ($x * 2) }\nNOTE 60 1\n  ::twice(4)\n");
    EXPECT_THAT(lines(), ElementsAre("twice 8@0"));
}

TEST_F(Process, CallValueIsTheInstanceWhileItRunsAndFalseAfter) {
    play("bpm 60\n@proc_def ::wait() { 1 print done }\nNOTE 60 8\n"
         "  $e := ::wait()\n"
         "  if ($e) { print running }\n"
         "  2 if ($e) { print still } else { print over }\n");
    EXPECT_THAT(run_until(5.0), ElementsAre("running@0", "done@1", "over@2"));
}

TEST_F(Process, MyselfIsEachInstancesOwnExecution) {
    play("@proc_def ::me() {\n  $last := $MYSELF\n  1 print end\n}\nNOTE 60 1\n"
         "  $a := ::me()\n  $x := $last\n  $b := ::me()\n  $y := $last\n"
         "  print ($x == $a) ($y == $b) ($x != $y)\n");
    EXPECT_THAT(lines(), ElementsAre("true true true@0"));
}

TEST_F(Process, InstanceVariablesAreReadAndWrittenFromOutside) {
    play("bpm 60\n@proc_def ::keep($v) {\n  @local $level\n  $level := $v\n  1 print inside $level\n}\n"
         "NOTE 60 8\n  $a := ::keep(1)\n  $b := ::keep(2)\n  0.5 print read ($a.$level) ($b.$level)\n"
         "  $b.$level := 20\n");
    EXPECT_THAT(run_until(5.0), ElementsAre("read 1 2@0.5", "inside 1@1", "inside 20@1"));
}

TEST_F(Process, AbortOfAnExecutionStopsThatInstanceOnly) {
    play(std::string(kCounter) + "NOTE 60 8\n  $a := ::count(\"a\", 1)\n  ::count(\"b\", 1)\n"
                                 "  1.5 abort $a\n");
    EXPECT_THAT(run_until(10.0),
                ElementsAre("\"a\" 1@0", "\"b\" 1@0", "\"a\" 2@1", "\"b\" 2@1", "\"b\" 3@2"));
}

TEST_F(Process, AbortOfTheProcessStopsEveryInstance) {
    play(std::string(kCounter) + "NOTE 60 8\n  ::count(\"a\", 1)\n  ::count(\"b\", 1)\n  1.5 abort ::count\n"
                                 "  0.1 ::count(\"c\", 5)\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("\"a\" 1@0", "\"b\" 1@0", "\"a\" 2@1", "\"b\" 2@1",
                                             "\"c\" 5@1.6", "\"c\" 10@2.6", "\"c\" 15@3.6"))
        << "an instance started after the abort runs";
}

TEST_F(Process, BareNameAbortsTheProcessUnlessAGroupBearsIt) {
    play(std::string(kCounter) + "NOTE 60 8\n  ::count(\"a\", 1)\n  group count { 2 print group_ran }\n"
                                 "  1.5 abort count\n");
    EXPECT_THAT(run_until(10.0), ElementsAre("\"a\" 1@0", "\"a\" 2@1", "\"a\" 3@2"));
}

TEST_F(Process, WrongArgumentCountIsRefusedWithExeZero) {
    play("@proc_def ::none() { print ran }\nNOTE 60 1\n  $e := ::none(1)\n"
         "  if ($e) { print started } else { print refused }\n");
    EXPECT_THAT(lines(), ElementsAre("refused@0"));
    EXPECT_EQ(errors_with("Bad arguments number in process call ::none (0 expected and 1 provided) [p1]"), 1);
}

TEST_F(Process, RecursionWithADelayRunsAndWithoutOneStopsAtItsLimit) {
    play("bpm 60\n@proc_def ::down($n) {\n  print down $n\n  if ($n > 0) { 0.5 ::down($n - 1) }\n}\n"
         "@proc_def ::forever($n) {\n  $deepest := $n\n  ::forever($n + 1)\n}\n"
         "NOTE 60 8\n  ::down(2)\n  ::forever(1)\n  print deepest $deepest\n");
    EXPECT_THAT(run_until(5.0), ElementsAre("down 2@0", "deepest 200@0", "down 1@0.5", "down 0@1"));
    EXPECT_EQ(errors_with("more than 200 calls nested at one date"), 1);
    EXPECT_EQ(rt().active_timer_count(), 0u);
}

TEST_F(Process, ProcessesAreValuesThatFunctionsCall) {
    play("@proc_def ::shout($w) { print shout $w }\n@fun_def @run($p, $x) { $p($x) }\n"
         "NOTE 60 1\n  $which := ::shout\n  _ := @run($which, 7)\n");
    EXPECT_THAT(lines(), ElementsAre("shout 7@0"));
}

TEST_F(Process, AThousandConcurrentInstancesStayIndependent) {
    // Each worker sums its id three times, a beat apart: all of them are
    // alive together from the last start on.
    play("bpm 60\n"
         "@proc_def ::worker($id) {\n"
         "  @local $sum\n"
         "  $sum := 0\n"
         "  loop 1 { $sum := $sum + $id } during [3#]\n"
         "  3 print done $id $sum\n"
         "}\n"
         "NOTE 60 100\n"
         "  $k := 0\n"
         "  loop 0.001 { ::worker($k)\n $k := $k + 1 } during [1000#]\n");
    at(2.0);
    EXPECT_GE(rt().active_timer_count(), 1000u) << "the workers run concurrently";
    at(10.0);
    std::map<long, long> sums;
    for (const Delivered& d : host.delivered) {
        long id = -1, sum = -1;
        ASSERT_EQ(std::sscanf(d.args.c_str(), "done %ld %ld", &id, &sum), 2) << d.args;
        sums[id] = sum;
    }
    ASSERT_EQ(sums.size(), 1000u);
    for (const auto& [id, sum] : sums)
        EXPECT_EQ(sum, 3 * id) << "worker " << id;
    EXPECT_EQ(rt().active_timer_count(), 0u) << "every instance has ended and freed itself";
}

} // namespace
