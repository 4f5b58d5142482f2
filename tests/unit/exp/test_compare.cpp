// The order of values, relational operators and map keys.
#include "ExpTestSupport.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace {

bool rel(const Value& a, e_binop o, const Value& b) {
    const Value r = execute_rel(o, a, b);
    EXPECT_TRUE(r->is_bool()) << text(*r);
    return r->get_bool();
}

int sign(int x) {
    return (x > 0) - (x < 0);
}

// One value of each kind but funct and paf, plus a few of the same kind.
std::vector<Value> sample_of_all_kinds() {
    return {Value(),
            bool_value(false),
            bool_value(true),
            string_value("abc"),
            string_value("abd"),
            Value::make<SymbValue>(Reference::unique_id("sym")),
            int_value(1),
            int_value(2),
            float_value(1.5),
            tab_of_ints({1, 2}),
            tab_of_ints({1}),
            map_of({{int_value(1), int_value(2)}}),
            Value::make<ProcValue>(Reference::unique_id("::p")),
            exe_value(3)};
}

} // namespace

TEST(Relational, NumbersCompareAcrossKinds) {
    EXPECT_TRUE(rel(int_value(1), OP_EQ, float_value(1.0)));
    EXPECT_TRUE(rel(int_value(1), OP_LT, float_value(2.5)));
    EXPECT_TRUE(rel(int_value(3), OP_GE, int_value(3)));
    EXPECT_FALSE(rel(int_value(3), OP_GT, int_value(3)));
    const Value nan = float_value(std::nan(""));
    EXPECT_FALSE(rel(nan, OP_EQ, nan));
    EXPECT_FALSE(rel(nan, OP_LT, int_value(1)));
    EXPECT_TRUE(rel(nan, OP_NE, nan)) << "only != holds with a NaN";
}

TEST(Relational, StructuredValuesCompareByValue) {
    EXPECT_TRUE(rel(tab_of_ints({1, 2}), OP_EQ, tab_of_ints({1, 2})));
    EXPECT_TRUE(rel(tab_of_ints({1}), OP_EQ, tab_value({float_value(1.0)}))) << "numbers of different kinds";
    EXPECT_TRUE(rel(tab_of_ints({1, 2}), OP_LT, tab_of_ints({1, 3})));
    EXPECT_TRUE(rel(tab_of_ints({9}), OP_LT, tab_of_ints({1, 2}))) << "size first";
    EXPECT_TRUE(rel(string_value("abc"), OP_LT, string_value("abd")));
    EXPECT_TRUE(rel(string_value("ab"), OP_LT, string_value("abc")));
    EXPECT_TRUE(rel(string_value("x"), OP_EQ, string_value("x")));
    EXPECT_TRUE(rel(bool_value(true), OP_EQ, bool_value(true)));
    EXPECT_TRUE(rel(bool_value(true), OP_LT, bool_value(false))) << "true sorts before false";
    EXPECT_FALSE(rel(int_value(1), OP_EQ, bool_value(true))) << "different kinds are never equal";
}

TEST(Relational, KeptQuirksOfMapsAndInterpolatedMaps) {
    EXPECT_FALSE(rel(imap_of({}), OP_EQ, imap_of({}))) << "two empty imaps are not equal";
    EXPECT_FALSE(rel(imap_of({{0, 1}}), OP_EQ, imap_of({{0, 1}})));
    EXPECT_TRUE(rel(map_of({{int_value(1), int_value(2)}}), OP_EQ, map_of({{int_value(1), int_value(2)}})))
        << "equal maps are equal";
    EXPECT_TRUE(rel(map_of({}), OP_LT, map_of({{int_value(1), int_value(2)}}))) << "fewer entries first";
}

TEST(Order, TotalAndAntisymmetricAcrossKinds) {
    const std::vector<Value> values = sample_of_all_kinds();
    for (const Value& a : values) {
        EXPECT_EQ(vcompare(a, a), 0) << text(*a);
        for (const Value& b : values)
            EXPECT_EQ(sign(vcompare(a, b)), -sign(vcompare(b, a))) << text(*a) << " vs " << text(*b);
    }
    // Sorting by the order is consistent: every pair in order afterwards.
    std::vector<Value> sorted = values;
    std::sort(sorted.begin(), sorted.end(), ValueKeyOrder());
    for (std::size_t i = 0; i + 1 < sorted.size(); ++i)
        for (std::size_t j = i + 1; j < sorted.size(); ++j)
            EXPECT_GE(vcompare(sorted[i], sorted[j]), 0)
                << text(*sorted[i]) << " before " << text(*sorted[j]);
}

TEST(Order, ComparisonBetweenATabAndANumberIsStable) {
    const int first = vcompare(tab_of_ints({1}), int_value(2));
    EXPECT_NE(first, 0);
    EXPECT_EQ(first, vcompare(tab_of_ints({7, 8}), float_value(-1)));
    EXPECT_EQ(rel(tab_of_ints({1}), OP_LT, int_value(2)), first > 0);
}

// Between kinds the order is the kinds' ranks, numbers standing together as
// one block: the same on every compiler and machine.
TEST(Order, KindsFollowTheirRanks) {
    const Value map = map_of({{exe_value(1), int_value(0)},
                              {tab_of_ints({1}), int_value(0)},
                              {float_value(2.5), int_value(0)},
                              {Value::make<SymbValue>(Reference::unique_id("sym")), int_value(0)},
                              {int_value(7), int_value(0)},
                              {string_value("s"), int_value(0)},
                              {bool_value(true), int_value(0)},
                              {map_of({}), int_value(0)}});
    EXPECT_EQ(text(*map),
              "MAP{ (true, 0), (\"s\", 0), (sym, 0), (2.5, 0), (7, 0), (TAB[1], 0), (MAP{  }, 0), (`1, 0) }");
}

TEST(MapKeys, NumericKeysOfDifferentKindsAreOneKey) {
    auto m = make_counted<map_t>();
    m->emplace(int_value(1), string_value("int"));
    m->emplace(float_value(1.0), string_value("float"));
    m->emplace(string_value("1"), string_value("string"));
    m->emplace(bool_value(true), string_value("bool"));
    EXPECT_EQ(m->size(), 3u) << "1 and 1.0 are the same key; keys of other kinds coexist";
    const Value map = Value::make<MapValue>(m);
    EXPECT_EQ(map->apply(float_value(1.0))->get_string(), "int");
    EXPECT_EQ(map->apply(string_value("1"))->get_string(), "string");
    EXPECT_TRUE(map->apply(int_value(2))->is_undef()) << "an absent key gives undef";
}
