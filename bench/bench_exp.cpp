// The value layer's hot paths: evaluation of a ten-node numeric expression
// over variables, -(($a + 1) * ($b - 2.5)) / $c, and the values whose
// payload is shared (copies, indexing, construction of tabs and strings).
#include "../tests/unit/exp/ExpTestSupport.hpp"

#include <benchmark/benchmark.h>

namespace {

struct Setup {
    TestContext ctx;
    std::unique_ptr<Expression> expression;
    std::unique_ptr<Var> a;

    Setup() {
        expression =
            bin(OP_DIV,
                node<UnaryExpression>(OP_NEG, bin(OP_TIMES, bin(OP_PLUS, node<Var>(&ctx, "$a"), lit(1)),
                                                  bin(OP_MINUS, node<Var>(&ctx, "$b"), lit(2.5)))),
                node<Var>(&ctx, "$c"));
        a = std::make_unique<Var>(&ctx, "$a");
        Expression::finalize(expression.get(), &ctx);
        Expression::finalize(a.get(), &ctx);
        a->set_var(int_value(3));
        ctx.global.set_var(ctx.global.get_vm(std::string("$b"))->index, float_value(4.0));
        ctx.global.set_var(ctx.global.get_vm(std::string("$c"))->index, int_value(2));
    }
};

void BM_EvalTenNodeNumericExpression(benchmark::State& state) {
    Setup s;
    for (auto _ : state) {
        Value v = s.expression->eval();
        benchmark::DoNotOptimize(v);
    }
}
BENCHMARK(BM_EvalTenNodeNumericExpression);

// The same with an assignment of one of its variables before each evaluation.
void BM_AssignThenEval(benchmark::State& state) {
    Setup s;
    long i = 0;
    for (auto _ : state) {
        s.a->set_var(int_value(++i));
        Value v = s.expression->eval();
        benchmark::DoNotOptimize(v);
    }
}
BENCHMARK(BM_AssignThenEval);

void BM_IntAddition(benchmark::State& state) {
    const Value a = int_value(3), b = int_value(4);
    for (auto _ : state) {
        Value v = a->execute(OP_PLUS, b);
        benchmark::DoNotOptimize(v);
    }
}
BENCHMARK(BM_IntAddition);

// A copy of a tab shares its elements: one count up, one count down.
void BM_CopyTabValue(benchmark::State& state) {
    const Value tab = tab_of_ints({1, 2, 3, 4});
    for (auto _ : state) {
        Value copy = tab;
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(BM_CopyTabValue);

// `$t[2]` through the expression tree, the tab held by a variable.
void BM_EvalTabIndex(benchmark::State& state) {
    TestContext ctx;
    const ExpPtr access = node<TabAccess>(node<Var>(&ctx, "$t"), exps(lit(2)));
    Expression::finalize(access.get(), &ctx);
    ctx.global.set_var(ctx.global.get_vm(std::string("$t"))->index, tab_of_ints({1, 2, 3, 4}));
    for (auto _ : state) {
        Value v = access->eval();
        benchmark::DoNotOptimize(v);
    }
}
BENCHMARK(BM_EvalTabIndex);

// `[$a, $a + 1, "x" + "y"]`: a fresh tab and a fresh string each time.
void BM_BuildTabAndString(benchmark::State& state) {
    TestContext ctx;
    const ExpPtr tab = tab_of(node<Var>(&ctx, "$a"), bin(OP_PLUS, node<Var>(&ctx, "$a"), lit(1)),
                              bin(OP_PLUS, lit("x"), lit("y")));
    Expression::finalize(tab.get(), &ctx);
    ctx.global.set_var(ctx.global.get_vm(std::string("$a"))->index, int_value(7));
    for (auto _ : state) {
        Value v = tab->eval();
        benchmark::DoNotOptimize(v);
    }
}
BENCHMARK(BM_BuildTabAndString);

} // namespace

BENCHMARK_MAIN();
