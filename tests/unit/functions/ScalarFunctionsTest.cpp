// The scalar functions, called from scores: each kind of argument they
// take, the wrong kinds with their coded messages, and the edge cases that
// catch faults (tabs listed over, NaN, the limits of 32-bit ints).
#include "FunctionRig.hpp"

#include <gtest/gtest.h>

namespace {

void check_all(FunctionRig& rig, const std::vector<Case>& cases, const std::string& prelude = "") {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.expr);
        rig.check(c, prelude);
    }
}

TEST(ScalarFunctions, MathematicalLibraryOnNumbersAndTabs) {
    FunctionRig rig;
    check_all(
        rig,
        {
            {"@sin(0)", "0.0"},
            {"@cos(0)", "1.0"},
            {"@sqrt(16)", "4.0"},
            {"@exp(0)", "1.0"},
            {"@log(1)", "0.0"},
            {"@log10(1000)", "3.0"},
            {"@log2(8.0)", "3.0"},
            {"@atan(0)", "0.0"},
            {"@tan(0)", "0.0"},
            {"@asin(0)", "0.0"},
            {"@acos(1)", "0.0"},
            {"@sinh(0)", "0.0"},
            {"@cosh(0)", "1.0"},
            {"@sin(TAB[0, 0])", "TAB[0.0, 0.0]"},
            {"@sqrt(TAB[4, 9.0])", "TAB[2.0, 3.0]"},
            {"@sin($x)", "TAB[<<undef>>, 0.0]", "Bad argument 1 type in function @sin (got string)",
             "$x := TAB[\"a\", 0]"},
            {"@sin($x)", "<<undef>>", "Bad argument 1 type in function @sin (got string)", "$x := \"a\""},
            {"@sin($x, 2)", "<<undef>>", "(1 expected, 2 provided) [baf14]", "$x := 1"},
            {"@pow(2, 10)", "1024.0"},
            {"@pow(2, $x)", "<<undef>>", "Bad argument 2 type in function @pow (got string)", "$x := \"x\""},
            {"@pow(2, 1, $x)", "<<undef>>", "(2 expected, 3 provided) [baf13]", "$x := 3"},
        });
}

TEST(ScalarFunctions, RoundingGivesIntsThatSaturate) {
    FunctionRig rig;
    check_all(rig, {
                       {"@round(2.5)", "3"},
                       {"@round(-2.5)", "-3"},
                       {"@floor(-0.5)", "-1"},
                       {"@ceil(0.2)", "1"},
                       {"@round(7)", "7"},
                       {"@floor(TAB[1.5, 2.5])", "TAB[1, 2]"},
                       // Beyond 32 bits an int saturates rather than wrapping to the other sign.
                       {"@round(1e20)", "2147483647"},
                       {"@floor(-1e20)", "-2147483648"},
                       {"@round(@sqrt(-1))", "0"},
                       {"@round($x)", "<<undef>>", "Bad argument 1 type in function @round (got bool)",
                        "$x := true"},
                   });
}

TEST(ScalarFunctions, SizeEmptyAbsMinMaxCopy) {
    FunctionRig rig;
    check_all(rig, {
                       {"@size(TAB[1, 2, 3])", "3"},
                       {"@size(\"hello\")", "5"},
                       {"@size(MAP{(1, 2)})", "1"},
                       {"@size(TAB[])", "0"},
                       {"@size($x)", "<<undef>>", "Argument type not handled in @size int", "$x := 3"},
                       {"@size($x, 2)", "<<undef>>",
                        "Bad arguments number in @size function call (2 provided)", "$x := 1"},
                       {"@empty(TAB[])", "true"},
                       {"@empty(\"x\")", "false"},
                       {"@abs(-3)", "3"},
                       {"@abs(-2.5)", "2.5"},
                       {"@abs(TAB[-1, 2, -3.5])", "TAB[1, 2, 3.5]"},
                       {"@abs(MAP{(\"a\", -1)})", "MAP{ (\"a\", 1) }"},
                       // The least int has no opposite in 32 bits.
                       {"@abs($x)", "2147483648.0", "", "$x := -65536 * 32768"},
                       {"@abs($x)", "<<undef>>", "Bad argument type in @abs string", "$x := \"x\""},
                       {"@abs($x, 1)", "<<undef>>",
                        "Bad arguments number in size function call (2 provided, 1 expected)", "$x := 1"},
                       {"@max(1, 2.5)", "2.5"},
                       {"@min(1, 2.5)", "1"},
                       {"@max(\"a\", \"b\")", "\"b\""},
                       {"@min(TAB[1], TAB[0])", "TAB[0]"},
                       {"@max($x, 1, 2)", "<<undef>>",
                        "Bad arguments number in @max function call (3 provided)", "$x := 1"},
                       {"@copy(TAB[1, TAB[2]])", "TAB[1, TAB[2]]"},
                       {"@copy($x, 2)", "<<undef>>",
                        "Bad arguments number in copy function call (2 provided)", "$x := 1"},
                   });
}

TEST(ScalarFunctions, KindTestsDoNotListOverTabs) {
    FunctionRig rig;
    check_all(rig, {
                       {"@is_int(1)", "true"},
                       {"@is_int(TAB[1])", "false"},
                       {"@is_float(1.5)", "true"},
                       {"@is_numeric(1)", "true"},
                       {"@is_numeric(\"1\")", "false"},
                       {"@is_string(\"s\")", "true"},
                       {"@is_bool(false)", "true"},
                       {"@is_tab(TAB[])", "true"},
                       {"@is_map(MAP{})", "true"},
                       {"@is_interpolatedmap(imap{(0, 1), (1, 2)})", "true"},
                       {"@is_fct(@sin)", "true"},
                       {"@is_function(MAP{})", "true"},
                       {"@is_fct(MAP{})", "false"},
                       {"@is_exec(1)", "false"},
                       {"@is_nim(1)", "false"},
                       {"@is_symbol(\"s\")", "false"},
                       {"@is_undef(1)", "false"},
                       {"@is_undef($never)", "true"},
                       {"@is_proc(::p)", "true"},
                       {"@is_tab($x, 2)", "<<undef>>",
                        "Bad arguments number in predicate call @is_tab (1 expected, 2 provided) [baf5]",
                        "$x := 1"},
                       {"@is_defined(MAP{(1, 2)}, 1.0)", "true"},
                       {"@is_defined(MAP{(1, 2)}, 2)", "false"},
                       {"@is_defined($x, 0)", "<<undef>>",
                        "Bad argument 1 type in function @is_defined (got tab)", "$x := TAB[1]"},
                   });
}

TEST(ScalarFunctions, LeastAndGreatestOfTabsMapsAndNims) {
    FunctionRig rig;
    check_all(rig, {
                       {"@min_val(TAB[3, 1, 2])", "1"},
                       {"@max_val(TAB[3, 1.5, 2])", "3"},
                       {"@max_val(MAP{(1, 10), (2, 30), (3, 20)})", "30"},
                       {"@min_val(TAB[])", "<<undef>>"},
                       {"@min_key(MAP{(5, 1), (2, 3)})", "2"},
                       {"@max_key(MAP{(5, 1), (2, 3)})", "5"},
                      {"@min_key(NIM{0 0, 2 10})", "0.0"},
                      {"@max_key(NIM{0 0, 2 10, 3 5})", "5.0"},
                      {"@size(NIM{0 0, 2 10})", "1"},
                       {"@min_val($x)", "<<undef>>", "a map or a tab is expected [baf15]", "$x := 3"},
                       {"@max_key($x)", "<<undef>>", "a map or a nim is expected [baf15]", "$x := TAB[1]"},
                   });
}

// A pure function of constant arguments is applied while the score is read:
// its error is reported there and the score is refused.
TEST(ScalarFunctions, AnErrorOnConstantArgumentsRefusesTheScore) {
    FunctionRig rig;
    rig.check({"@sin(\"a\")", "<score does not read>", "Bad argument 1 type in function @sin (got string)"});
}

TEST(ScalarFunctions, ClearEmptiesInPlaceForEverySharer) {
    FunctionRig rig;
    ASSERT_TRUE(rig.run("NOTE 60 1\n  $t := TAB[1, 2]\n  $u := $t\n  $r := @clear($t)\n  print ($u) ($r)\n"));
    ASSERT_EQ(rig.host.printed.size(), 1u);
    EXPECT_EQ(rig.host.printed[0], "TAB[] TAB[]");
}

TEST(ScalarFunctions, BetweenAndApproxOnNumbersAndTabs) {
    FunctionRig rig;
    check_all(rig,
              {
                  {"@between(1, 1, 2)", "false"},
                  {"@between(0, 1, 2)", "true"},
                  {"@between(0, TAB[1, 1.5], 2)", "true"},
                  {"@between(TAB[0, 0], TAB[1, 3], 2)", "false"},
                  {"@between(0, TAB[], 2)", "true"},
                  {"@between($x, TAB[1, 2], 3)", "<<undef>>", "@between: vector argument of unequal size",
                   "$x := TAB[0]"},
                  {"@between($x, 1, 2, 3)", "<<undef>>",
                   "Bad arguments number in @between function call (4 provided)", "$x := 0"},
                  {"@approx(0, 0)", "true"},
                  {"@approx(100, 105)", "true"},
                  {"@approx(100, 120)", "false"},
                  {"@approx(-1, -100)", "true"},
                  {"@approx($x, 1)", "<<undef>>",
                   "@approx: bad argument type: numeric and/or tab (of numeric) is recquired", "$x := \"a\""},
              });
}

// Draws come from the engine's own source with a fixed seed: two engines
// draw the same numbers.
TEST(ScalarFunctions, SimpleRandomDrawsAreInRangeAndRepeatable) {
    const std::string score = "NOTE 60 1\n  print (@random()) (@rand(10)) (@rand_int(6)) (@rand_int(0))\n";
    FunctionRig a, b;
    ASSERT_TRUE(a.run(score));
    ASSERT_TRUE(b.run(score));
    EXPECT_EQ(a.host.printed, b.host.printed);
    double r = 0, x = 0;
    int n = 0, zero = -1;
    ASSERT_EQ(std::sscanf(a.host.printed.at(0).c_str(), "%lf %lf %d %d", &r, &x, &n, &zero), 4);
    EXPECT_GE(r, 0.0);
    EXPECT_LE(r, 1.0);
    EXPECT_GE(x, 0.0);
    EXPECT_LE(x, 10.0);
    EXPECT_GE(n, 0);
    EXPECT_LT(n, 6);
    EXPECT_EQ(zero, 0) << "no draw below 0";
    b.check({"@random($x)", "<<undef>>", "(0 expected, 1 provided) [baf10]",
             "$x := 1"}); // b's console is the newest
}

} // namespace
