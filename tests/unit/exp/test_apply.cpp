// Application of values: tabs, maps, interpolated maps, NIMs, functions.
#include "Exp/Nim.hpp"
#include "ExpTestSupport.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace {

Value linear_nim(std::initializer_list<std::pair<double, double>> components) {
    auto nim = make_counted<NewInterpolatedMap>();
    for (const auto& [start, end] : components) {
        ScalarInterpolatedMap c;
        c.add_last(INTERPOLATE_LINEAR, 2.0, start, end);
        nim->components.push_back(c);
    }
    nim->is_vectorial = components.size() > 1;
    return Value::make<NimValue>(std::move(nim));
}

} // namespace

TEST(ApplyTab, IndexIsTruncatedAndChecked) {
    ConsoleCapture console;
    const Value t = tab_of_ints({10, 20});
    EXPECT_EQ(t->apply(float_value(1.9))->get_int(), 20);
    EXPECT_EQ(t->apply(int_value(0))->get_int(), 10);
    EXPECT_TRUE(t->apply(string_value("1"))->is_undef());
    EXPECT_EQ(console.errors(), 0) << "a non-numeric index is silent";

    EXPECT_TRUE(t->apply(int_value(-1))->is_undef());
    EXPECT_TRUE(console.contains("Tab index out of bound (index=-1, size=2)"));
    EXPECT_TRUE(t->apply(int_value(2))->is_undef());
    EXPECT_EQ(console.errors(), 2);
    EXPECT_FALSE(console.contains("Error evaluating")) << "no expression applies here";
    EXPECT_TRUE(t->apply(std::vector<Value>{int_value(0)})->is_undef())
        << "a tab is not called like a function";
}

TEST(ApplyMap, LookupAndArgumentCount) {
    ConsoleCapture console;
    const Value m = map_of({{string_value("a"), int_value(1)}});
    EXPECT_EQ(m->apply(std::vector<Value>{string_value("a")})->get_int(), 1);
    EXPECT_TRUE(m->apply(std::vector<Value>{int_value(1), int_value(2)})->is_undef());
    EXPECT_TRUE(console.contains("Bad arguments number in map call (1 expected and 2 provided)"));
}

TEST(ApplyImap, PiecewiseLinearWithExtendedEnds) {
    const Value im = imap_of({{0, 0}, {2, 10}, {4, 0}});
    EXPECT_DOUBLE_EQ(im->apply(float_value(1))->get_double(), 5);
    EXPECT_DOUBLE_EQ(im->apply(int_value(2))->get_double(), 10) << "a key gives its value";
    EXPECT_DOUBLE_EQ(im->apply(float_value(3))->get_double(), 5);
    EXPECT_DOUBLE_EQ(im->apply(float_value(-1))->get_double(), -5) << "the first segment extended";
    EXPECT_DOUBLE_EQ(im->apply(float_value(5))->get_double(), -5) << "the last segment extended";
    EXPECT_DOUBLE_EQ(imap_of({{1, 7}})->apply(float_value(-3))->get_double(), 7);
    EXPECT_DOUBLE_EQ(im->apply(float_value(std::nan("")))->get_double(), 0.0);
    EXPECT_TRUE(imap_of({})->apply(float_value(1))->is_undef());

    ConsoleCapture console;
    EXPECT_TRUE(im->apply(string_value("x"))->is_undef());
    EXPECT_TRUE(
        console.contains("Error: bad argument for an interpolated map, expect a float, got a 'string"));
    EXPECT_TRUE(im->apply(std::vector<Value>{})->is_undef());
    EXPECT_TRUE(console.contains("Bad arguments number in InterPolatedMap call (1 expected and 0 provided)"));
}

TEST(ApplyNim, ScalarAndVectorNims) {
    ConsoleCapture console;
    const Value scalar = linear_nim({{0, 10}});
    EXPECT_DOUBLE_EQ(scalar->apply(float_value(1))->get_double(), 5);
    EXPECT_DOUBLE_EQ(scalar->apply(float_value(-1))->get_double(), 0) << "before: the start";
    EXPECT_DOUBLE_EQ(scalar->apply(float_value(3))->get_double(), 10) << "after: the last value";
    EXPECT_EQ(text(*linear_nim({{0, 1}, {2, 3}})->apply(int_value(1))), "TAB[0.5, 2.5]");
    EXPECT_EQ(text(*linear_nim({{0, 1}, {2, 3}})->apply(tab_of_ints({2, 0}))), "TAB[1.0, 2.0]");
    EXPECT_TRUE(linear_nim({{0, 1}})->get_bool());
    EXPECT_EQ(console.errors(), 0);

    EXPECT_EQ(Value::make<NimValue>()->apply(int_value(1))->get_double(), 0.0);
    EXPECT_TRUE(console.contains("Bad NIM scalar application"));
    EXPECT_EQ(scalar->apply(std::vector<Value>{})->get_double(), 0.0);
    EXPECT_TRUE(console.contains("Bad arguments number in NIM call (1 expected and 0 provided)"));
    EXPECT_TRUE(scalar->apply(tab_of_ints({1, 2}))->is_undef());
    EXPECT_TRUE(console.contains("dimension differs (2 and 1)"));
}

TEST(ApplyFunction, FunctionsAndClosures) {
    TestContext ctx;
    const auto* sum = new SumFunction("@apply_sum", 2, &ctx.global);
    const Value f = Value::make<FctValue>(sum);
    EXPECT_DOUBLE_EQ(f->apply(std::vector<Value>{int_value(1), int_value(2)})->get_double(), 3);

    auto closure = make_counted<PartiallyAppliedFunction>(sum, std::vector<Value>{int_value(10)});
    const Value paf = Value::make<PafValue>(closure);
    EXPECT_DOUBLE_EQ(paf->apply(int_value(5))->get_double(), 15);
    EXPECT_EQ(text(*paf), "@apply_sum(10)");
}

TEST(ApplyOther, ScalarsCannotBeApplied) {
    ConsoleCapture console;
    EXPECT_TRUE(int_value(3)->apply(int_value(1))->is_undef());
    EXPECT_TRUE(console.contains("Bad type in unary function application: cannot apply a int"));
    EXPECT_TRUE(console.contains("\tExpect a function, got: '3'"));
    EXPECT_TRUE(string_value("s")->apply(std::vector<Value>{})->is_undef());
    EXPECT_TRUE(console.contains("Bad type in function application: cannot apply a string"));
    EXPECT_EQ(console.errors(), 2);
}
