// Every operator on every pair of kinds: a value comes back, nothing throws,
// and the error counter moves exactly where the value table says.
#include "ExpTestSupport.hpp"

#include <gtest/gtest.h>

namespace {

enum Sample { UNDEF, BOOL, STRING, SYMBOL, INT, FLOAT, FUNCT, TAB, MAP, IMAP, NIM, PAF, PROC, EXE, KINDS };

struct Samples {
    TestContext ctx;
    std::vector<Value> values;

    Samples() {
        const auto* sum = new SumFunction("@robust_sum", 2, &ctx.global);
        values = {Value(),
                  bool_value(true),
                  string_value("s"),
                  Value::make<SymbValue>(Reference::unique_id("sym")),
                  int_value(3),
                  float_value(2.5),
                  Value::make<FctValue>(sum),
                  tab_value({int_value(1), float_value(0.5)}),
                  map_of({{int_value(1), int_value(2)}}),
                  imap_of({{0, 1}, {1, 2}}),
                  Value::make<NimValue>(),
                  Value::make<PafValue>(
                      make_counted<PartiallyAppliedFunction>(sum, std::vector<Value>{int_value(1)})),
                  Value::make<ProcValue>(Reference::unique_id("::robust")),
                  exe_value(1)};
    }
};

bool is_number(int k) {
    return k == INT || k == FLOAT;
}

// Whether `left op right` reports, by the arithmetic table, for the samples
// above (whose numbers are never zero).
bool arithmetic_reports(int left, e_binop op, int right) {
    const bool plus = op == OP_PLUS;
    const bool string_concat = right == STRING && plus;
    // A number against something else, as element or as scalar.
    auto number_with = [&](int other) {
        if (is_number(other) || other == TAB || other == MAP) return false;
        return !(other == STRING && plus);
    };
    switch (left) {
    case UNDEF:
        return true;
    case INT:
    case FLOAT:
        return number_with(right);
    case BOOL:
        if (right == INT) return !(plus || op == OP_TIMES);
        return !(right == FLOAT || string_concat);
    case STRING:
        return !plus;
    case TAB:
    case MAP:
        return number_with(right); // elements and values are numbers
    default:
        return !string_concat;
    }
}

const e_binop all_ops[] = {OP_PLUS, OP_MINUS, OP_TIMES, OP_DIV, OP_MOD, OP_LT, OP_LE,
                           OP_EQ,   OP_NE,    OP_GT,    OP_GE,  OP_AND, OP_OR};

} // namespace

TEST(Robustness, EveryBinaryOperatorOnEveryPairOfKinds) {
    Samples samples;
    ConsoleCapture console;
    for (int l = 0; l < KINDS; ++l)
        for (int r = 0; r < KINDS; ++r)
            for (const e_binop op : all_ops) {
                const Value& a = samples.values[static_cast<std::size_t>(l)];
                const Value& b = samples.values[static_cast<std::size_t>(r)];
                SCOPED_TRACE(text(*a) + " " + binop_to_string(op) + " " + text(*b));
                console.clear();
                Value result;
                EXPECT_NO_THROW(result = BinaryExpression::combine_values(op, a, b));
                EXPECT_STRNE(Kind::look(result->tag()), "<unknown kind>");
                const bool reports = is_arithmetic_op(op) && arithmetic_reports(l, op, r);
                EXPECT_EQ(console.errors() > 0, reports);
                if (is_relational_op(op) || op == OP_AND || op == OP_OR) {
                    EXPECT_TRUE(result->is_bool());
                }
            }
}

TEST(Robustness, EveryUnaryOperatorAndApplicationOnEveryKind) {
    Samples samples;
    ConsoleCapture console;
    for (int k = 0; k < KINDS; ++k) {
        const Value& v = samples.values[static_cast<std::size_t>(k)];
        SCOPED_TRACE(text(*v));
        for (const e_monop op : {OP_NOT, OP_NEG}) {
            console.clear();
            Value result;
            EXPECT_NO_THROW(result = v->execute(op));
            const bool negation_makes_sense = k == BOOL || is_number(k) || k == TAB || k == MAP;
            const bool reports = k == UNDEF || (op == OP_NEG && !negation_makes_sense);
            EXPECT_EQ(console.errors() > 0, reports) << monop_to_string(op);
        }
        console.clear();
        EXPECT_NO_THROW(v->apply(int_value(0)));
        EXPECT_NO_THROW(v->apply(std::vector<Value>{int_value(0), int_value(1)}));
        EXPECT_NO_THROW(v->get_int());
        EXPECT_NO_THROW(v->get_double());
        EXPECT_NO_THROW(v->deep_copy());
        EXPECT_NO_THROW(text(*v));
    }
}
