// Calls of the scalar functions on the real-time path allocate nothing once
// the call has been made once, and a recursive call still sees its own
// arguments.
#include "AllocCounter.hpp"
#include "Exp/Function.hpp"
#include "ExpTestSupport.hpp"

#include <gtest/gtest.h>

namespace {

ExpPtr call_of(TestContext& ctx, const char* name, ExpressionList args) {
    return node<CallExpression>(get_functional_value_from_name(&ctx, name)->clone(), std::move(args),
                                &ctx.global);
}

ExpPtr var(TestContext& ctx) {
    return std::make_unique<Var>(&ctx, "$x");
}

TEST(FunctionCalls, ScalarFunctionsAllocateNothing) {
    TestContext ctx;
    std::vector<ExpPtr> calls;
    calls.push_back(call_of(ctx, "@sin", exps(var(ctx))));
    calls.push_back(call_of(ctx, "@round", exps(var(ctx))));
    calls.push_back(call_of(ctx, "@pow", exps(var(ctx), lit(2))));
    calls.push_back(call_of(ctx, "@abs", exps(var(ctx))));
    calls.push_back(call_of(ctx, "@max", exps(var(ctx), lit(0.5))));
    calls.push_back(call_of(ctx, "@between", exps(lit(0), var(ctx), lit(10))));
    calls.push_back(call_of(ctx, "@approx", exps(var(ctx), lit(3))));
    calls.push_back(call_of(ctx, "@rand", exps(var(ctx))));
    calls.push_back(call_of(ctx, "@rand_int", exps(lit(6))));
    calls.push_back(call_of(ctx, "@random", exps()));
    calls.push_back(call_of(ctx, "@is_int", exps(var(ctx))));
    auto x = std::make_unique<Var>(&ctx, "$x");
    Expression::finalize(x.get(), &ctx);
    for (ExpPtr& c : calls)
        Expression::finalize(c.get(), &ctx);
    x->set_var(float_value(1.5));
    for (ExpPtr& c : calls)
        c->eval(); // the first call makes room for the arguments

    double sum = 0;
    alloc_counter::start();
    for (int i = 0; i < 1000; ++i) {
        x->set_var(float_value(i * 0.01));
        for (ExpPtr& c : calls)
            if (const Value v = c->eval(); v->is_bool())
                sum += v->get_bool();
            else
                sum += v->get_double();
    }
    EXPECT_EQ(alloc_counter::stop(), 0u);
    EXPECT_NE(sum, 0.0);
}

// A function whose argument calls the same call site again: the inner call
// must not overwrite the outer call's arguments.
TEST(FunctionCalls, NestedEvaluationOfOneCallSiteKeepsEachArguments) {
    TestContext ctx;
    // @fib($n) := ($n < 2 ? $n : @fib($n - 1) + @fib($n - 2))
    ExpPtr body = node<IfExpression>(
        bin(OP_LT, std::make_unique<Var>(&ctx, "$n"), lit(2)), std::make_unique<Var>(&ctx, "$n"),
        bin(OP_PLUS, call_of(ctx, "@fib", exps(bin(OP_MINUS, std::make_unique<Var>(&ctx, "$n"), lit(1)))),
            call_of(ctx, "@fib", exps(bin(OP_MINUS, std::make_unique<Var>(&ctx, "$n"), lit(2))))));
    new UserFunction("@fib", {"$n"}, std::move(body), &ctx.global);
    ExpPtr top = call_of(ctx, "@fib", exps(lit(15)));
    EXPECT_EQ(top->eval()->get_int(), 610);
    EXPECT_EQ(top->eval()->get_int(), 610);
}

} // namespace
