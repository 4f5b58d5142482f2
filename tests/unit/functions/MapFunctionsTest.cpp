// The map functions, called from scores: tests of keys, keys and values
// transformed, merges, keys and values as tabs, integrals of imaps, maps
// read from the score, and the histories of variables as tabs and maps.
#include "FunctionRig.hpp"

#include <gtest/gtest.h>

namespace {

void check_all(FunctionRig& rig, const std::vector<Case>& cases, const std::string& prelude = "") {
    for (const Case& c : cases) {
        SCOPED_TRACE(c.expr);
        rig.check(c, prelude);
    }
}

const char* kHelpers = R"(
@fun_def @twice($x) { $x * 2 }
@fun_def @loud($k, $v) { $v > 0.5 }
)";

TEST(MapFunctions, KeysValuesAndTheirTests) {
    FunctionRig rig;
    check_all(rig, {
                       {"@is_list(MAP{(0, \"a\"), (1, \"b\")})", "true"},
                       {"@is_list(MAP{(1, \"a\")})", "false"},
                       {"@is_list(MAP{})", "true"},
                       {"@is_vector(MAP{(0, 1), (1, 2.5)})", "true"},
                       {"@is_vector(MAP{(0, \"a\")})", "false"},
                       {"@is_integer_indexed(MAP{(3, 1), (7, 2)})", "true"},
                       {"@is_integer_indexed(MAP{(3.5, 1)})", "false"},
                       {"@is_list($x)", "<<undef>>", "Bad argument 1 type in function @is_list (got tab)",
                        "$x := TAB[]"},
                       {"@domain(MAP{(\"b\", 2), (\"a\", 1)})", "TAB[\"a\", \"b\"]"},
                       {"@range(MAP{(\"b\", 2), (\"a\", 1)})", "TAB[1, 2]"},
                       {"@domain(TAB[7, 8])", "TAB[0, 1]"},
                       {"@listify(MAP{(10, \"a\"), (20, \"b\")})", "MAP{ (0, \"a\"), (1, \"b\") }"},
                       {"@map_reverse(MAP{(1, \"a\"), (2, \"b\")})", "MAP{ (\"a\", 1), (\"b\", 2) }"},
                       {"@odei_map_function(TAB[\"x\", \"y\", \"x\"])", "MAP{ (\"x\", 0), (\"y\", 1) }"},
                       {"@domain($x)", "<<undef>>", "a map or a tab is expected [m6]", "$x := 1"},
                   });
}

TEST(MapFunctions, BuildingAndTransformingMaps) {
    FunctionRig rig;
    check_all(rig,
              {
                  {"@add_pair($m, 2, \"b\")", "MAP{ (1, \"a\"), (2, \"b\") }", "", "$m := MAP{(1, \"a\")}"},
                  {"@add_pair($m, 2, 3)", "<<undef>>",
                   "Bad argument 1 in function @add_pair (got tab): a map is expected [m1]", "$m := TAB[]"},
                  {"@shift_map(MAP{(0, \"a\"), (1, \"b\")}, 10)", "MAP{ (10, \"a\"), (11, \"b\") }"},
                  // Strings come before numbers in the order of keys.
                  {"@shift_map(MAP{(0, \"a\"), (\"k\", \"b\")}, 0.5)", "MAP{ (\"k\", \"b\"), (0.5, \"a\") }"},
                  {"@gshift_map(MAP{(1, \"a\"), (2, \"b\")}, @twice)", "MAP{ (2, \"a\"), (4, \"b\") }"},
                  {"@mapval(MAP{(1, 1), (2, 2)}, @twice)", "MAP{ (1, 2), (2, 4) }"},
                  {"@select_map(MAP{(1, 0.2), (2, 0.9)}, @loud)", "MAP{ (2, 0.9) }"},
                  {"@mapval(MAP{}, $f)", "<<undef>>", "a function is expected [m2]", "$f := 3"},
                  {"@merge(MAP{(1, \"a\"), (2, \"b\")}, MAP{(2, \"B\"), (3, \"C\")})",
                   "MAP{ (1, \"a\"), (2, \"B\"), (3, \"C\") }"},
                  {"@map_concat(MAP{(0, \"a\"), (1, \"b\")}, MAP{(0, \"c\")})",
                   "MAP{ (0, \"a\"), (1, \"b\"), (2, \"c\") }"},
                  {"@map_concat(MAP{}, MAP{(5, \"c\")})", "MAP{ (0, \"c\") }"},
                  {"@map_concat(MAP{(\"k\", 1)}, $m)", "<<undef>>",
                   "maps with numeric keys are expected [m3]", "$m := MAP{}"},
                  {"@map_compose(MAP{(1, \"x\"), (2, \"y\"), (3, \"z\")}, MAP{(\"x\", 10), (\"z\", 30)})",
                   "MAP{ (1, 10), (3, 30) }"},
              },
              kHelpers);
}

TEST(MapFunctions, IntegralsOfInterpolatedMaps) {
    FunctionRig rig;
    const char* ramp = "$m := imap{(0, 0), (2, 2), (4, 2)}";
    check_all(
        rig,
        {
            {"@bounded_integrate($m, 0, 4)", "6.0", "", ramp},
            {"@bounded_integrate($m, 1, 3)", "3.5", "", ramp},
            {"@bounded_integrate($m, 4, 0)", "-6.0", "", ramp},
            {"@integrate($m)", "InterpolatedMAP {(0, 0), (2, 2), (4, 6)}", "", ramp},
            {"@map_normalize($m)", "InterpolatedMAP {(0, 0), (2, 0.333333), (4, 0.333333)}", "", ramp},
            {"@bounded_integrate_inv($m, 0, 2)", "2.0", "", ramp},
            {"@bounded_integrate_inv($m, 0, 0.5)", "1.0", "", ramp},
            {"@bounded_integrate_inv($m, 1, 4.5)", "3.5", "", ramp},
            {"@bounded_integrate_inv($m, 0, 100)", "<<undef>>", "", ramp},
            {"@integrate($x)", "<<undef>>",
             "Bad argument in @integrate call: expect an InterpolatedMap, got a map", "$x := MAP{}"},
            {"@bounded_integrate($m, 0)", "@bounded_integrate(InterpolatedMAP {(0, 0), (2, 2), (4, 2)}, 0)",
             "", ramp},
            {"@bounded_integrate($m, 0, 1, 2)", "<<undef>>",
             "Bad arguments number in @bounded_inegrate function call @bounded_integrate (4 provided) [m4]",
             ramp},
            {"@bounded_integrate_inv($m, 0, 1, 2)", "<<undef>>", "(4 provided)  [m5]", ramp},
            {"@bounded_integrate($x, 0, 1)", "<<undef>>",
             "Bad argument @bounded_integrate expect an interpolated map, not a 'tab'", "$x := TAB[]"},
        });
}

TEST(MapFunctions, MapsReadFromTheScore) {
    FunctionRig rig;
    ASSERT_TRUE(rig.run("bpm 60\nNOTE 60 1\n  print (@score_tempi())\n  print (@make_score_map(0, 1.5))\n"
                        "  print (@make_duration_map(1, 3))\nbpm 90\nCHORD (60 64) 2\nNOTE 0 1\n"));
    EXPECT_EQ(rig.host.printed,
              (std::vector<std::string>{"TAB[60.0, 90.0]", "MAP{ (0.0, 60.0), (1.0, TAB[60.0, 64.0]) }",
                                        "MAP{ (1.0, 2.0), (3.0, 1.0) }"}));
}

// The history builders read a variable's assignments, oldest first.
TEST(MapFunctions, HistoriesOfAVariable) {
    FunctionRig rig;
    ASSERT_TRUE(rig.run(
        "NOTE 60 1\n  $v := 1\n  $v := 2\n  $v := 3\n  print (@tab_history($v)) (@map_history($v))\n"));
    ASSERT_EQ(rig.host.printed.size(), 1u);
    EXPECT_EQ(rig.host.printed[0], "TAB[1, 2, 3] MAP{ (0, 3), (1, 2), (2, 1) }");
}

} // namespace
