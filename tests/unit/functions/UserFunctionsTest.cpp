// Functions written in scores: definitions with parameters, recursion,
// local bindings, wrong argument counts, partial application and tracing.
#include "FunctionRig.hpp"

#include <gtest/gtest.h>

namespace {

const char* kDefinitions = R"(
@fun_def @up($pitch, $interval) { $pitch + $interval }
@fun_def @db($velocity) { 20 * @log10($velocity / 127) }
@fun_def @fact($n) { if ($n <= 1) { 1 } else { $n * @fact($n - 1) } }
@fun_def @f($a, $b, $c) { $a * 100 + $b * 10 + $c }
@fun_def @add($a, $b) { $a + $b }
@fun_def @mean($t) {
  $sum := @reduce(@add, $t)
  return $sum / @size($t)
}
@fun_def plain(x) { $x * 2 }
)";

TEST(UserFunctions, DefinitionsAreCalledWithTheirArguments) {
    FunctionRig rig;
    const std::vector<Case> cases = {
        {"@up(60, 7)", "67"},
        {"@db(127)", "0.0"},
        {"@fact(10)", "3628800"},
        {"@plain(21)", "42"},
        {"@mean(TAB[1, 2, 3.0])", "2.0"},
        {"@map(@up(60), TAB[0, 4, 7])", "TAB[60, 64, 67]"},
        {"@up(1, 2, 3)", "<<undef>>",
         "Bad arguments number in function call @up (2 expected and 3 provided) [baf1]"},
    };
    for (const Case& c : cases)
        rig.check(c, kDefinitions);
}

TEST(UserFunctions, PartialApplicationBuildsClosuresUntilComplete) {
    FunctionRig rig;
    ASSERT_TRUE(
        rig.run(std::string(kDefinitions) +
                "NOTE 60 1\n  $g := @f(1)\n  $h := $g(2)\n  print ($h(3)) ($g(5, 6)) ($h(4)) ($g)\n"));
    ASSERT_EQ(rig.host.printed.size(), 1u);
    // The closure is not changed by applying it.
    EXPECT_EQ(rig.host.printed[0], "123 156 124 @f(1)");
    EXPECT_TRUE(rig.console.errors.empty());

    rig.check({"@f(1)(2, 3, 4)", "<<undef>>", "Too much argument provided to partially applied function @f"},
              kDefinitions);
}

TEST(UserFunctions, AFunctionUsedBeforeItsDefinitionIsFoundAtItsCall) {
    FunctionRig rig;
    rig.check({"@later(2)", "4"}, "@fun_def @sooner($x) { @later($x) }\n@fun_def @later($x) { $x * 2 }\n");
    rig.check({"@nowhere(2)", "<<undef>>", "Unknown function: @nowhere"});
}

// User functions belong to their score: the next score does not see them.
TEST(UserFunctions, ANewScoreForgetsTheFunctionsOfTheLastOne) {
    FunctionRig rig;
    rig.check({"@up(1, 2)", "3"}, kDefinitions);
    rig.check({"@up(1, 2)", "<<undef>>", "Unknown function: @up"});
}

TEST(UserFunctions, TracingPrintsCallsAndResultsIndentedByDepth) {
    FunctionRig rig;
    ASSERT_TRUE(rig.run(std::string(kDefinitions) +
                            "NOTE 60 1\n  $on := @Tracing(@fact)\n  print (@fact(2))\n"
                            "NOTE 62 1\n  $off := @UnTracing(\"fact\", 3)\n  print (@fact(2))\n",
                        2));
    EXPECT_EQ(rig.host.printed, (std::vector<std::string>{"2", "2"}));
    const std::vector<std::string> expected = {"+--> @fact(2)", "|  +--> @fact(1)", "|  +<-- 1", "+<-- 2",
                                               "Warning: ignore argument 3 in @UnTracing"};
    std::vector<std::string> traced;
    for (const std::string& line : rig.console.posts)
        if (line.starts_with("+") || line.starts_with("|") || line.starts_with("Warning"))
            traced.push_back(line);
    EXPECT_EQ(traced, expected);
}

} // namespace
