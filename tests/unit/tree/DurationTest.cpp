// Delays: literals folded at construction, values read at score time or run
// time, comparisons only between delays known in one unit, and sums.
#include "Tree/Duration.hpp"
#include "ConsoleCapture.hpp"
#include "Exp/Environment.hpp"
#include "Exp/Expression.hpp"
#include "Exp/Var.hpp"
#include "TestContext.hpp"

#include <gtest/gtest.h>

#include <cmath>

namespace {

ExpPtr sum(ExpPtr a, ExpPtr b) {
    return std::make_unique<BinaryExpression>(OP_PLUS, std::move(a), std::move(b));
}

ExpPtr var(EvalContext* ctx, const char* name) {
    return std::make_unique<Var>(ctx, name);
}

TEST(CadDuration, AConstantNumberFoldsIntoALiteral) {
    ConsoleCapture console;
    CadDuration d(sum(std::make_unique<IntValue>(2), std::make_unique<IntValue>(3)), DURATION_BEATS);
    EXPECT_EQ(d.expr, nullptr);
    EXPECT_DOUBLE_EQ(d.eval(), 5.0);
    EXPECT_TRUE(d.is_constant());

    CadDuration text(std::make_unique<StringValue>(std::string("soon")), DURATION_BEATS);
    EXPECT_TRUE(console.has_error("Duration is not a number: '\"soon\"' evaluates to '\"soon\"'"));
    EXPECT_NE(text.expr, nullptr) << "a constant that is no number stays an expression";
}

TEST(CadDuration, AVariableIsReadWhenEvaluated) {
    ConsoleCapture console;
    TestContext ctx;
    ctx.global.define_var("$d", -1, int_value(1));
    auto owned = std::make_unique<Var>(&ctx, "$d");
    const Var* read = owned.get();
    read->set_env(&ctx.global, {}, GLOBAL_SCOPE_LEVEL);
    CadDuration d(std::move(owned), DURATION_SECONDS);
    EXPECT_FALSE(d.is_constant());
    EXPECT_FALSE(d.is_statically_less_than_epsilon()) << "unknown before the run is not zero";

    ctx.global.set_var(read->vm_index, string_value("late"));
    EXPECT_TRUE(std::isnan(d.eval()));
    EXPECT_TRUE(console.has_error("Bad duration $d"));
    ctx.global.set_var(read->vm_index, float_value(0.00005));
    EXPECT_TRUE(d.is_less_than_epsilon());
}

TEST(CadDuration, ComparisonsNeedKnownValuesInOneUnit) {
    const CadDuration one_beat(1.0, DURATION_BEATS), two_beats(2.0, DURATION_BEATS);
    const CadDuration one_second(1.0, DURATION_SECONDS);
    EXPECT_TRUE(one_beat < two_beats);
    EXPECT_FALSE(one_beat.comparable(one_second));
    EXPECT_FALSE(one_beat < one_second);
    EXPECT_FALSE(one_beat >= one_second) << "not comparable is false both ways";
    EXPECT_TRUE(CadDuration(0.0, DURATION_BEATS).comparable(CadDuration(0.0, DURATION_SECONDS)))
        << "zero is zero in any unit";
    EXPECT_FALSE(one_beat.comparable(CadDuration(var(nullptr, "$d"), DURATION_BEATS)));
}

TEST(CadDuration, SumsKeepTheirUnit) {
    ConsoleCapture console;
    CadDuration d(1.0, DURATION_BEATS);
    d.incr_delay(CadDuration(0.5, DURATION_BEATS));
    EXPECT_DOUBLE_EQ(d.eval(), 1.5);

    d.incr_delay(CadDuration(1.0, DURATION_SECONDS));
    EXPECT_TRUE(console.has_error("Cannot sum two delays with different types: 1.5 and 1s"));
    EXPECT_DOUBLE_EQ(d.eval(), 1.5) << "the delay stays as it was";

    d.incr_delay(CadDuration(var(nullptr, "$d"), DURATION_BEATS));
    ASSERT_NE(d.expr, nullptr) << "a sum with a variable is an expression";
    EXPECT_EQ(d.show(), "(1.5 + $d)");
}

TEST(CadDuration, CopiesOwnTheirExpression) {
    CadDuration a(var(nullptr, "$d"), DURATION_BEATS);
    CadDuration b(a);
    ASSERT_NE(b.expr, nullptr);
    EXPECT_NE(b.expr, a.expr);
    b = CadDuration(2.0, DURATION_SECONDS);
    EXPECT_EQ(b.expr, nullptr);
    EXPECT_EQ(b.show(), "2s");
}

} // namespace
