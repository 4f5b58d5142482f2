// NIM values read from a score: built from their breakpoints, applied to a
// number or a tab, vector valued, printed, and the reports of bad ones.
#include "PlayRig.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::ElementsAre;

class Nim : public PlayRig {
protected:
    // The messages of one event whose actions are `actions`.
    std::vector<std::string> run(const std::string& actions) {
        play("NOTE 60 1\n" + actions);
        return lines();
    }
};

TEST_F(Nim, AppliedBeforeOnAndAfterItsBreakpoints) {
    EXPECT_THAT(run("  $n := NIM { 0 0, 2 10 \"linear\", 2 0 \"quad\" }\n"
                    "  print ($n(-1)) ($n(1)) ($n(2)) ($n(3)) ($n(9))\n"),
                ElementsAre("0.0 5.0 10.0 7.5 0.0@0"))
        << "the first value before the first point, the last one after the last";
}

TEST_F(Nim, PointWithAStartValueJumps) {
    EXPECT_THAT(run("  $n := NIM { 0, 1 0 10, 1 20 30 }\n  print ($n(0.5)) ($n(1)) ($n(1.5))\n"),
                ElementsAre("5.0 20.0 25.0@0"));
}

TEST_F(Nim, TabsMakeItAVectorAndNumbersAreRepeated) {
    EXPECT_THAT(run("  $n := NIM { 0 ([0, 100]), 1 ([1, 0]) }\n  print ($n(0.5)) ($n([0.5, 1]))\n"),
                ElementsAre("TAB[0.5, 50.0] TAB[0.5, 0.0]@0"));
    host.delivered.clear();
    at(1.0);
    engine.playstring("$m := NIM { 0 0, 1 ([2, 4, 6]) }\nprint ($m(0.5))");
    EXPECT_THAT(lines(), ElementsAre("TAB[1.0, 2.0, 3.0]@1"));
}

TEST_F(Nim, PrintsItsBreakpointsWithTheirTypes) {
    EXPECT_THAT(run("  print (NIM { 0 1, 2 3 \"cubic_out\", 1 0 })\n"),
                ElementsAre("NIM{ 0 1, 2 3 \"cubic_out\", 1 0 \"linear\" }@0"));
}

TEST_F(Nim, BadDefinitionsAreReportedAndGiveTheEmptyNim) {
    run("  $a := NIM { 0 0, 0 1 }\n  $b := NIM { 0 0, 1 \"x\" }\n  $c := NIM { 0 0, 1 ([1, 2]), 1 ([1, 2, "
        "3]) }\n"
        "  $t := \"wobble\"\n  $d := NIM { 0 0, 1 1 ($t) }\n  print ($a(1))\n");
    EXPECT_TRUE(console.has_error("Nim definition: bad zero duration [nim6b]"));
    EXPECT_TRUE(console.has_error("Nim definition: argument must be numeric or vector (got \"x\") [nim9]"));
    EXPECT_TRUE(
        console.has_error("Nim definition: heterogeneous size in vectorized definition (3 and 2) [nim1]") ||
        console.has_error("Nim definition: heterogeneous size in vectorized definition (2 and 3) [nim1]"));
    EXPECT_TRUE(console.has_error("Bad interpolation type 'wobble' [it2]"));
    EXPECT_TRUE(console.has_error("Bad NIM scalar application"));
    EXPECT_THAT(lines(), ElementsAre("0.0@0")) << "an empty NIM gives 0";
}

} // namespace
