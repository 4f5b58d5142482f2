// The tab functions, called from scores: construction, access, search,
// reordering, shapes, and the functions that take other functions, with the
// wrong kinds reported by code and the edge cases (empty tabs, negative and
// huge counts, comparisons that are no order).
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
@fun_def @add($a, $b) { $a + $b }
@fun_def @twice($x) { $x * 2 }
@fun_def @even($x) { $x % 2 = 0 }
@fun_def @greater($a, $b) { $a > $b }
@fun_def @always($a, $b) { true }
@fun_def @near($a, $b) { @abs($a - $b) < 2 }
)";

TEST(TabFunctions, ConstructionAndAccess) {
    FunctionRig rig;
    check_all(
        rig, {
                 {"@iota(4)", "TAB[0, 1, 2, 3]"},
                 {"@iota(0)", "TAB[]"},
                 {"@iota($n)", "<<undef>>", "a positive int is expected [t4]", "$n := -1"},
                 {"@iota($n)", "<<undef>>", "a tab may hold [t57]", "$n := 65536 * 32767"},
                 {"@iota($n, 2)", "<<undef>>",
                  "Bad arguments number in @iota call (1 expected, 2 provided) [t1]", "$n := 1"},
                 {"@car(TAB[1, 2, 3])", "1"},
                 {"@car(TAB[])", "<<undef>>"},
                 {"@car($x)", "<<undef>>", "Bad argument in function @car (got int): a tab is expected [t29]",
                  "$x := 1"},
                 {"@cdr(TAB[1, 2, 3])", "TAB[2, 3]"},
                 {"@cdr(TAB[])", "TAB[]"},
                 {"@last(TAB[1, 2, 3])", "3"},
                 {"@cons(0, TAB[1])", "TAB[0, 1]"},
                 {"@cons(0, $x)", "<<undef>>",
                  "Bad argument 2 in function @cons (got int): a tab is expected [t30]", "$x := 1"},
                 {"@concat(TAB[1], TAB[2, 3])", "TAB[1, 2, 3]"},
                 {"@concat(TAB[1], $x)", "<<undef>>", "Bad argument concat: vectors are expected", "$x := 2"},
                 {"@reverse(TAB[1, 2, 3])", "TAB[3, 2, 1]"},
                 {"@reverse(\"abc\")", "\"cba\""},
                 {"@explode(\"ab\")", "TAB[\"a\", \"b\"]"},
                 {"@explode($x)", "<<undef>>", "a string is expected [t28]", "$x := 1"},
                 {"@remove_duplicate(TAB[1, 2, 1, 1.0, 3])", "TAB[1, 2, 3]"},
             });
}

TEST(TabFunctions, ChangesInPlaceAreSeenByEverySharer) {
    FunctionRig rig;
    ASSERT_TRUE(rig.run("NOTE 60 1\n  $t := TAB[1, 2]\n  $u := $t\n  $a := @push_back($t, 3)\n"
                        "  $b := @push_front($t, 0)\n  $c := @insert($t, 2, 9)\n  $d := @remove($t, 0)\n"
                        "  print (@copy($u))\n  $e := @resize($t, 2)\n  print ($u)\n"));
    EXPECT_EQ(rig.host.printed, (std::vector<std::string>{"TAB[1, 9, 2, 3]", "TAB[1, 9]"}));
    check_all(
        rig, {
                 {"@insert($t, 5, 0)", "<<undef>>", "an index from 0 to 1 is expected [t10]", "$t := TAB[1]"},
                 {"@remove($t, -1)", "<<undef>>", "an index from 0 to 0 is expected [t10]", "$t := TAB[1]"},
                 {"@remove($t, 0)", "TAB[]", "", "$t := TAB[]"},
                 {"@resize($t, 3)", "TAB[1, <<undef>>, <<undef>>]", "", "$t := TAB[1]"},
                 {"@insert($m, 2, \"b\")", "MAP{ (1, \"a\"), (2, \"b\") }", "", "$m := MAP{(1, \"a\")}"},
                 {"@remove($m, 1)", "MAP{  }", "", "$m := MAP{(1, \"a\")}"},
                 {"@insert($m, 1, 3)", "InterpolatedMAP {(0, 0), (1, 3), (2, 4)}", "",
                  "$m := imap{(0, 0), (2, 4)}"},
                 {"@insert($m, \"x\", 3)", "<<undef>>",
                  "@insert(imap, x y) expects x to be numeric, not a 'string'", "$m := imap{(0, 0), (2, 4)}"},
                 {"@insert($x, 1, 2)", "<<undef>>",
                  "@insert(x, ...) expects x to be map or imap, not a 'int'", "$x := 1"},
                 {"@remove($x, 1)", "<<undef>>",
                  "@remove(x, ...) expects x to be map or imap, not a 'string'", "$x := \"s\""},
             });
}

TEST(TabFunctions, SearchByValueOrByPredicate) {
    FunctionRig rig;
    check_all(rig,
              {
                  {"@member(TAB[1, 2, 3], 2)", "true"},
                  {"@member(TAB[1, 2, 3], 2.0)", "true"},
                  {"@member(TAB[], 2)", "false"},
                  {"@member(TAB[1, 3], @even)", "false"},
                  {"@count(TAB[1, 2, 1], 1)", "2"},
                  {"@count(TAB[1, 2, 4], @even)", "2"},
                  {"@find(TAB[5, 6, 7], 7)", "2"},
                  {"@find(TAB[5, 6, 7], 8)", "-1"},
                  {"@find(TAB[5, 6, 7], @even)", "1"},
                  {"@find(MAP{(\"a\", 1), (\"b\", 2)}, 2)", "\"b\""},
                  {"@occurs(TAB[1, 2, 1], 1)", "TAB[0, 2]"},
                  {"@member($x, 1)", "<<undef>>", "a tab or a map is expected [t29]", "$x := 1"},
                  {"@is_prefix(TAB[1, 2], TAB[1, 2, 3])", "true"},
                  {"@is_prefix(TAB[2], TAB[1, 2, 3])", "false"},
                  {"@is_prefix(\"ab\", \"abc\")", "true"},
                  {"@is_suffix(TAB[2, 3], TAB[1, 2, 3])", "true"},
                  {"@is_suffix(TAB[1, 2, 3, 4], TAB[1, 2, 3])", "false"},
                  {"@is_subsequence(TAB[2, 3], TAB[1, 2, 3, 4])", "true"},
                  {"@is_subsequence(TAB[1, 3], TAB[1, 2, 3])", "false"},
                  {"@is_subsequence(TAB[], TAB[])", "true"},
                  {"@is_prefix(TAB[60, 62], TAB[61, 63, 65], @near)", "true"},
                  {"@is_prefix(TAB[1], TAB[1], $x)", "<<undef>>",
                   "optional third arg must be a binary function", "$x := 1"},
                  {"@is_prefix($x, TAB[1])", "<<undef>>",
                   "two tabs or two strings are expected (got string and tab) [t9]", "$x := \"a\""},
              },
              kHelpers);
}

TEST(TabFunctions, ReorderingAndRepeating) {
    FunctionRig rig;
    check_all(
        rig,
        {
            {"@sort(TAB[3, 1, 2.5])", "TAB[1, 2.5, 3]"},
            {"@sort(TAB[\"b\", \"a\"])", "TAB[\"a\", \"b\"]"},
            {"@sort(TAB[1, 3, 2], @greater)", "TAB[3, 2, 1]"},
            // A comparison that is no order gives some order, and no fault.
            {"@size(@sort(@iota(50), @always))", "50"},
            {"@sort(TAB[1], $x)", "<<undef>>", "a comparison function is expected [t11]", "$x := 1"},
            {"@rotate(TAB[1, 2, 3, 4], 1)", "TAB[4, 1, 2, 3]"},
            {"@rotate(TAB[1, 2, 3, 4], -1)", "TAB[2, 3, 4, 1]"},
            {"@rotate(TAB[1, 2, 3, 4], 9)", "TAB[4, 1, 2, 3]"},
            {"@rotate(TAB[], 3)", "TAB[]"},
            {"@rotate(TAB[1], $x)", "<<undef>>",
             "Bad argument 2 in function @rotate (got \"a\"): a numeric is expected [t58]", "$x := \"a\""},
            {"@stutter(TAB[1, 2], 3)", "TAB[1, 1, 1, 2, 2, 2]"},
            {"@stutter(TAB[1], $x)", "<<undef>>",
             "Bad argument 2 in function @stutter (got -1): a positive int is expected [t59]", "$x := -1"},
            {"@stutter(@iota(1000), $x)", "<<undef>>", "[t57]", "$x := 1000000"},
            {"@lace(TAB[TAB[1, 2], TAB[10, 20, 30], 0], 7)", "TAB[1, 10, 0, 2, 20, 0, 1]"},
            {"@lace(TAB[], 3)", "TAB[]"},
            {"@permute(TAB[1, 2, 3], 0)", "TAB[1, 2, 3]"},
            {"@permute(TAB[1, 2, 3], 1)", "TAB[1, 3, 2]"},
            {"@permute(TAB[1, 2, 3], 5)", "TAB[3, 2, 1]"},
            {"@permute(TAB[1, 2, 3], 6)", "TAB[1, 2, 3]"},
            {"@normalize(TAB[2, 4, 6])", "TAB[0.0, 0.5, 1.0]"},
            {"@normalize(TAB[2, 4, 6], -1, 1)", "TAB[-1.0, 0.0, 1.0]"},
            {"@normalize(TAB[3, 3])", "TAB[0.0, 0.0]"},
            {"@normalize(TAB[])", "TAB[]"},
            {"@normalize($x)", "<<undef>>", "a tab of numerics is expected [t54]", "$x := TAB[1, \"a\"]"},
            {"@normalize($x, 1)", "<<undef>>", "(1 or 3 expected, 2 provided) [t3]", "$x := TAB[1]"},
            {"@sputter(TAB[1, 2, 3], 0, 5)", "TAB[1, 2, 3, 1, 2]"},
            {"@sputter(TAB[1, 2, 3], 1, 3)", "TAB[1, 1, 1]"},
            {"@sputter(TAB[1], $p, 3)", "<<undef>>", "a probability p, 0 <= p <= 1 is expected [t56]",
             "$p := 1.5"},
            {"@sputter(TAB[1], 0.5, $n)", "<<undef>>",
             "Bad argument 3 in function @sputter (got 0.5): a positive int is expected [t55]", "$n := 0.5"},
        },
        kHelpers);
}

// The shuffles draw from the engine's source: a permutation of the same
// elements, the same one in every engine.
TEST(TabFunctions, ScrambleIsAPermutationRepeatableAcrossEngines) {
    const std::string score = "NOTE 60 1\n  print (@scramble(@iota(20))) (@sort(@scramble(@iota(20))))\n";
    FunctionRig a, b;
    ASSERT_TRUE(a.run(score));
    ASSERT_TRUE(b.run(score));
    EXPECT_EQ(a.host.printed, b.host.printed);
    const std::string sorted = "TAB[0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19]";
    EXPECT_NE(a.host.printed.at(0).substr(0, sorted.size()), sorted);
    EXPECT_EQ(a.host.printed.at(0).substr(sorted.size() + 1), sorted);
}

TEST(TabFunctions, ShapesOfNestedTabs) {
    FunctionRig rig;
    check_all(rig,
              {
                  {"@dim(TAB[1, 2])", "1"},
                  {"@dim(TAB[TAB[1], 2])", "2"},
                  {"@dim(3)", "0"},
                  {"@shape(TAB[TAB[1, 2, 3], TAB[4, 5, 6]])", "TAB[2, 3]"},
                  {"@shape(TAB[TAB[1, 2], TAB[3]])", "TAB[2]"},
                  {"@shape(TAB[])", "TAB[0]"},
                  {"@flatten(TAB[1, TAB[2, TAB[3]]])", "TAB[1, 2, 3]"},
                  {"@flatten(TAB[1, TAB[2, TAB[3]]], 1)", "TAB[1, 2, TAB[3]]"},
                  {"@reshape(@iota(6), TAB[2, 3])", "TAB[TAB[0, 1, 2], TAB[3, 4, 5]]"},
                  {"@reshape(@iota(6), $s)", "<<undef>>", "does not hold 6 elements [t52]", "$s := TAB[4]"},
                  {"@reshape(@iota(6), $s)", "<<undef>>", "a tab of positive ints is expected [t53]",
                   "$s := TAB[-2, -3]"},
                  {"@replace(TAB[1, 2, 3, 1, 2], TAB[1, 2], 0)", "TAB[0, 3, 0]"},
                  {"@replace(TAB[1, 1, 1], TAB[1, 1], TAB[])", "TAB[1]"},
                  {"@replace(TAB[1, 2], 2, TAB[5, 6])", "TAB[1, 5, 6]"},
              });
}

TEST(TabFunctions, MapScanReduceCarryAFunction) {
    FunctionRig rig;
    check_all(rig,
              {
                  {"@map(@twice, TAB[1, 2, 3])", "TAB[2, 4, 6]"},
                  {"@map(MAP{(1, \"one\")}, TAB[1, 2])", "TAB[\"one\", <<undef>>]"},
                  {"@map($f, TAB[1])", "<<undef>>", "expect a funct got a int [t7]", "$f := 1"},
                  {"@map(@twice, $t)", "<<undef>>", "expect a tab, got a int [t8]", "$t := 1"},
                  {"@reduce(@add, TAB[1, 2, 3, 4])", "10"},
                  {"@reduce(@add, TAB[\"a\", \"b\"])", "\"ab\""},
                  {"@reduce(@add, TAB[])", "<<undef>>"},
                  {"@reduce(@add, 5)", "5"},
                  {"@reduce($f, TAB[1])", "<<undef>>",
                   "Bad argument type in function call @reduce: expect a funct got a int [T13]", "$f := 1"},
                  {"@reduce(@add, TAB[1], $x)", "<<undef>>", "(2 expected, 3 provided) [T12]", "$x := 1"},
                  {"@scan(@add, TAB[1, 2, 3])", "TAB[1, 3, 6]"},
                  {"@scan(@add, TAB[])", "TAB[]"},
              },
              kHelpers);
}

} // namespace
