// Numeric evaluation and assignment on the real-time path allocate nothing.
#include "AllocCounter.hpp"
#include "ExpTestSupport.hpp"

#include <gtest/gtest.h>

TEST(RealTime, NumericEvaluationOverVariablesAllocatesNothing) {
    TestContext ctx;
    // ((($a + 1) * $b) - ($c / 2.5)) % 7 > 0 || !$flag
    std::unique_ptr<Expression> e(
        bin(OP_OR,
            bin(OP_GT,
                bin(OP_MOD,
                    bin(OP_MINUS,
                        bin(OP_TIMES, bin(OP_PLUS, std::make_unique<Var>(&ctx, "$a"), lit(1)),
                            std::make_unique<Var>(&ctx, "$b")),
                        bin(OP_DIV, std::make_unique<Var>(&ctx, "$c"), lit(2.5))),
                    lit(7)),
                lit(0)),
            node<UnaryExpression>(OP_NOT, std::make_unique<Var>(&ctx, "$flag"))));
    std::unique_ptr<Expression> arithmetic(
        bin(OP_PLUS, bin(OP_TIMES, std::make_unique<Var>(&ctx, "$a"), lit(3)),
            node<UnaryExpression>(OP_NEG, std::make_unique<Var>(&ctx, "$c"))));
    auto a = std::make_unique<Var>(&ctx, "$a");
    Expression::finalize(e.get(), &ctx);
    Expression::finalize(arithmetic.get(), &ctx);
    Expression::finalize(a.get(), &ctx);
    ctx.global.set_var(ctx.global.get_vm(std::string("$b"))->index, float_value(0.5));
    ctx.global.set_var(ctx.global.get_vm(std::string("$c"))->index, int_value(5));
    ctx.global.set_var(ctx.global.get_vm(std::string("$flag"))->index, bool_value(false));

    double sum = 0;
    alloc_counter::start();
    for (int i = 0; i < 5000; ++i) {
        a->set_var(int_value(i));
        sum += e->eval()->get_bool();
        sum += arithmetic->eval()->get_double();
    }
    const std::size_t allocations = alloc_counter::stop();
    EXPECT_EQ(allocations, 0u);
    EXPECT_GT(sum, 0);
}
