// Arithmetic and unary operators, row by row of the value table.
#include "ExpTestSupport.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

Value op(const Value& a, e_binop o, const Value& b) {
    return a->execute(o, b);
}

void expect_int(const Value& v, long expected) {
    ASSERT_TRUE(v->is_int()) << text(*v);
    EXPECT_EQ(v->get_int(), expected);
}

void expect_float(const Value& v, double expected) {
    ASSERT_TRUE(v->is_double()) << text(*v);
    EXPECT_DOUBLE_EQ(v->get_double(), expected);
}

constexpr long int_max = std::numeric_limits<std::int32_t>::max();
constexpr long int_min = std::numeric_limits<std::int32_t>::min();

} // namespace

TEST(Arithmetic, NumbersKeepIntOnlyBetweenInts) {
    ConsoleCapture console;
    expect_int(op(int_value(1), OP_PLUS, int_value(2)), 3);
    expect_float(op(int_value(1), OP_PLUS, float_value(2.5)), 3.5);
    expect_float(op(int_value(7), OP_DIV, int_value(2)), 3.5); // int division goes through doubles
    expect_int(op(int_value(7), OP_MOD, int_value(2)), 1);
    expect_float(op(float_value(7.5), OP_MOD, int_value(2)), 1.5);
    expect_float(op(float_value(2.5), OP_TIMES, float_value(2)), 5.0);
    expect_int(op(int_value(-7), OP_MOD, int_value(2)), -1);
    EXPECT_EQ(console.errors(), 0);
}

TEST(Arithmetic, IntegersWrapAt32Bits) {
    expect_int(op(int_value(int_max), OP_PLUS, int_value(1)), int_min);
    expect_int(op(int_value(int_min), OP_MINUS, int_value(1)), int_max);
    expect_int(op(int_value(65536), OP_TIMES, int_value(65536)), 0);
    expect_int(int_value(int_min)->execute(OP_NEG), int_min);
    expect_int(int_value(5000000000L), 705032704); // a wider literal wraps too
}

TEST(Arithmetic, DivisionByZero) {
    ConsoleCapture console;
    const Value nan = op(int_value(1), OP_DIV, int_value(0));
    ASSERT_TRUE(nan->is_double());
    EXPECT_TRUE(is_failed_conversion_nan(nan->get_double()));
    EXPECT_TRUE(console.contains("Division by zero"));
    EXPECT_EQ(console.errors(), 1);
    EXPECT_TRUE(nan->get_bool()) << "the NaN is true";
    EXPECT_EQ(text(*nan), "nan") << "it prints as a number";

    console.clear();
    expect_int(op(int_value(5), OP_MOD, int_value(0)), 0);
    EXPECT_TRUE(std::isnan(op(float_value(5), OP_MOD, int_value(0))->get_double()));
    EXPECT_EQ(console.errors(), 0) << "the remainders are not guarded";
}

TEST(Arithmetic, BooleansCombineWithNumbers) {
    ConsoleCapture console;
    expect_int(op(bool_value(true), OP_PLUS, int_value(1)), 1);
    expect_int(op(bool_value(false), OP_PLUS, int_value(5)), 1);
    expect_int(op(bool_value(true), OP_TIMES, int_value(0)), 0);
    expect_float(op(bool_value(true), OP_PLUS, float_value(2.5)), 3.5);
    EXPECT_EQ(console.errors(), 0);

    expect_int(op(bool_value(true), OP_MINUS, int_value(1)), 0);
    EXPECT_TRUE(console.contains("Bad operation between booleans '-'"));
    console.clear();
    EXPECT_TRUE(op(bool_value(true), OP_PLUS, bool_value(true))->is_undef());
    EXPECT_TRUE(console.contains("Bad type in binop '+': bool and bool"));
}

TEST(Arithmetic, StringConcatenationIsAsymmetric) {
    ConsoleCapture console;
    EXPECT_EQ(op(string_value("a"), OP_PLUS, int_value(1))->get_string(), "a1");
    EXPECT_EQ(op(int_value(1), OP_PLUS, string_value("a"))->get_string(), "1a");
    EXPECT_EQ(op(float_value(3), OP_PLUS, string_value("a"))->get_string(), "3.0a");
    EXPECT_EQ(op(bool_value(true), OP_PLUS, string_value("a"))->get_string(), "truea");
    EXPECT_EQ(op(string_value("x"), OP_PLUS, string_value("y"))->get_string(), "xy")
        << "a string contributes its raw characters";
    EXPECT_EQ(op(string_value("s"), OP_PLUS, tab_of_ints({1}))->get_string(), "sTAB[1]")
        << "a tab contributes its printed text";
    EXPECT_EQ(op(string_value("s"), OP_PLUS, Value())->get_string(), "s<<undef>>");
    EXPECT_EQ(
        op(Value::make<SymbValue>(Reference::unique_id("sym")), OP_PLUS, string_value("!"))->get_string(),
        "sym!");
    EXPECT_EQ(console.errors(), 0);

    EXPECT_TRUE(op(string_value("a"), OP_MINUS, int_value(1))->is_undef());
    EXPECT_TRUE(console.contains("Bad type in binop '-': string and int"));
    console.clear();
    EXPECT_TRUE(op(Value::make<SymbValue>(Reference::unique_id("sym")), OP_MINUS, int_value(1))->is_undef());
    EXPECT_TRUE(console.contains("Error (binary op): 'symbol - int'"));
}

TEST(Arithmetic, UndefReportsAndTravels) {
    ConsoleCapture console;
    EXPECT_TRUE(op(Value(), OP_PLUS, int_value(1))->is_undef());
    EXPECT_TRUE(console.contains("Bad type in binop '+': undef and int"));
    EXPECT_TRUE(console.contains("argument 1: <<undef>>"));
    EXPECT_TRUE(console.contains("argument 2: 1"));
    EXPECT_EQ(console.errors(), 1);
    console.clear();
    EXPECT_TRUE(op(int_value(1), OP_PLUS, Value())->is_undef());
    EXPECT_EQ(console.errors(), 1);
}

TEST(Arithmetic, TabsBroadcast) {
    const Value t12 = tab_of_ints({1, 2});
    EXPECT_EQ(text(*op(t12, OP_PLUS, tab_of_ints({10, 20, 30}))), "TAB[11, 22]") << "as far as the shorter";
    EXPECT_EQ(text(*op(int_value(2), OP_TIMES, t12)), "TAB[2, 4]");
    EXPECT_EQ(text(*op(t12, OP_TIMES, int_value(2))), "TAB[2, 4]");
    EXPECT_EQ(text(*op(int_value(10), OP_MINUS, t12)), "TAB[9, 8]");
    EXPECT_EQ(text(*op(t12, OP_PLUS, string_value("s"))), "TAB[\"1s\", \"2s\"]");
    EXPECT_EQ(text(*tab_of_ints({1})->execute(OP_NEG)), "TAB[-1]");
    EXPECT_EQ(text(*tab_of_ints({0, 1})->execute(OP_NOT)), "TAB[true, false]");
    EXPECT_EQ(text(*op(tab_of_ints({}), OP_PLUS, int_value(1))), "TAB[]");
}

TEST(Arithmetic, MapsCombineOnCommonKeys) {
    const Value m12 = map_of({{int_value(1), int_value(2)}});
    EXPECT_EQ(text(*op(m12, OP_PLUS, map_of({{int_value(2), int_value(3)}}))), "MAP{  }");
    const Value both = map_of({{int_value(1), int_value(2)}, {int_value(2), int_value(3)}});
    EXPECT_EQ(text(*op(both, OP_PLUS, map_of({{int_value(2), int_value(10)}}))), "MAP{ (2, 13) }");
    EXPECT_EQ(text(*op(m12, OP_TIMES, int_value(3))), "MAP{ (1, 6) }");
    EXPECT_EQ(text(*op(int_value(3), OP_MINUS, m12)), "MAP{ (1, 1) }");
    EXPECT_EQ(text(*m12->execute(OP_NEG)), "MAP{ (1, -2) }");
}

TEST(Unary, NegationAndNot) {
    ConsoleCapture console;
    EXPECT_FALSE(bool_value(true)->execute(OP_NEG)->get_bool()) << "-true is false, like !true";
    EXPECT_TRUE(bool_value(false)->execute(OP_NEG)->get_bool());
    expect_int(int_value(3)->execute(OP_NEG), -3);
    EXPECT_TRUE(int_value(0)->execute(OP_NOT)->get_bool());
    EXPECT_TRUE(string_value("")->execute(OP_NOT)->get_bool());
    EXPECT_FALSE(Value::make<ProcValue>(Reference::unique_id("::p"))->execute(OP_NOT)->get_bool());

    const double minus_zero = float_value(0.0)->execute(OP_NEG)->get_double();
    EXPECT_TRUE(std::signbit(minus_zero));
    const double negated_nan = float_value(failed_conversion_nan())->execute(OP_NEG)->get_double();
    EXPECT_EQ(std::bit_cast<std::uint64_t>(negated_nan), 0xFFF800000000029AULL) << "the payload stays";
    EXPECT_EQ(console.errors(), 0);

    EXPECT_TRUE(string_value("a")->execute(OP_NEG)->is_undef());
    EXPECT_TRUE(console.contains("Error (unary op): '-' called on string"));
    console.clear();
    EXPECT_TRUE(Value()->execute(OP_NOT)->is_undef());
    EXPECT_TRUE(console.contains("Bad operation ! on <<undef>>"));
}
