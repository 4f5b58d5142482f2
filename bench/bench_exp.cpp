// The value layer's hot paths: evaluation of a ten-node numeric expression
// over variables, -(($a + 1) * ($b - 2.5)) / $c, and the values whose
// payload is shared (copies, indexing, construction of tabs and strings);
// calls of library functions and of a user function, a random draw, a sort.
#include "../tests/unit/exp/ExpTestSupport.hpp"
#include "Exp/Function.hpp"

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

// Calls of library functions through their call site, as a score makes
// them: arguments read from the variable $x, the function found at reading.
struct CallSetup {
    TestContext ctx;
    std::unique_ptr<Var> x;
    ExpPtr call;

    // `args` builds the arguments, given a maker of reads of $x.
    template <class Args>
    CallSetup(const char* name, Args args) {
        x = std::make_unique<Var>(&ctx, "$x");
        auto read_x = [this] { return ExpPtr(node<Var>(&ctx, "$x")); };
        call = node<CallExpression>(get_functional_value_from_name(&ctx, name)->clone(), args(read_x),
                                    &ctx.global);
        Expression::finalize(x.get(), &ctx);
        Expression::finalize(call.get(), &ctx);
    }
};

void run_calls(benchmark::State& state, CallSetup& s, const Value& x) {
    s.x->set_var(x);
    for (auto _ : state) {
        Value v = s.call->eval();
        benchmark::DoNotOptimize(v);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_CallSin(benchmark::State& state) {
    CallSetup s("@sin", [](auto x) { return exps(x()); });
    run_calls(state, s, float_value(0.5));
}
BENCHMARK(BM_CallSin);

void BM_CallBetween(benchmark::State& state) {
    CallSetup s("@between", [](auto x) { return exps(lit(0), x(), lit(10)); });
    run_calls(state, s, float_value(5.0));
}
BENCHMARK(BM_CallBetween);

// A user function of two parameters: @f($a, $b) := $a * 100 + $b.
void BM_CallUserFunction(benchmark::State& state) {
    CallSetup s("@f", [](auto x) { return exps(x(), lit(2)); });
    new UserFunction("@f", {"$a", "$b"},
                     bin(OP_PLUS, bin(OP_TIMES, node<Var>(&s.ctx, "$a"), lit(100)), node<Var>(&s.ctx, "$b")),
                     &s.ctx.global);
    run_calls(state, s, int_value(7));
}
BENCHMARK(BM_CallUserFunction);

// A draw from a distribution's generator.
void BM_DrawNormal(benchmark::State& state) {
    TestContext ctx;
    const Value g = ctx.global.get_function("@rnd_normal")->apply({float_value(0.0), float_value(1.0)});
    for (auto _ : state) {
        Value v = g->apply(std::vector<Value>{});
        benchmark::DoNotOptimize(v);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_DrawNormal);

// Sorting a tab of 100 ints (a new tab each time).
void BM_SortTab100(benchmark::State& state) {
    TestContext ctx;
    tab_t elements;
    for (long i = 0; i < 100; ++i)
        elements.push_back(int_value((i * 37) % 100));
    const std::vector<Value> args{tab_value(elements)};
    const FunctionDefinition* sort = ctx.global.get_function("@sort");
    for (auto _ : state) {
        Value v = sort->apply(args);
        benchmark::DoNotOptimize(v);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_SortTab100);

} // namespace

BENCHMARK_MAIN();
