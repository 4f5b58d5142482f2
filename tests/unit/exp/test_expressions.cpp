// Expression trees: evaluation, static folding, calls, comprehensions and
// their printed forms.
#include "Exp/With.hpp"
#include "ExpTestSupport.hpp"

#include <gtest/gtest.h>

#include <typeinfo>

namespace {

class Expressions : public ::testing::Test {
protected:
    // Places the variables of `e` and evaluates it.
    Value eval(ExpPtr e) {
        Expression::finalize(e.get(), &ctx);
        return e->eval();
    }
    VarPtr new_var(const std::string& name) { return std::make_unique<Var>(&ctx, name); }
    ExpPtr var(const std::string& name) { return new_var(name); }
    void set(const std::string& name, const Value& v) {
        VarPtr x = new_var(name);
        Expression::finalize(x.get(), &ctx);
        x->set_var(v);
    }
    ExpPtr fct(const FunctionDefinition* f) { return node<FctValue>(f); }
    template <class... Args>
    ExpPtr call(ExpPtr f, Args... args) {
        return node<CallExpression>(std::move(f), exps(std::move(args)...), &ctx.global);
    }
    ExpPtr range(ExpPtr body, const char* index, ExpPtr from, ExpPtr to, ExpPtr step = nullptr,
                 ExpPtr guard = nullptr) {
        return TabComprehension::make_range(&ctx, new_var(index), std::move(from), std::move(to),
                                            std::move(step), std::move(body), std::move(guard));
    }

    TestContext ctx;
    ConsoleCapture console;
};

} // namespace

TEST_F(Expressions, LogicalOperatorsShortCircuit) {
    EXPECT_FALSE(eval(bin(OP_AND, lit(false), bin(OP_DIV, lit(1), lit(0))))->get_bool());
    EXPECT_FALSE(console.contains("Division by zero"));
    EXPECT_TRUE(eval(bin(OP_OR, lit(true), var("$unset")))->get_bool());
    EXPECT_FALSE(console.contains("never been set")) << "the right side was not read";
    EXPECT_EQ(console.errors(), 0);

    EXPECT_FALSE(eval(bin(OP_AND, lit(true), var("$unset")))->get_bool());
    EXPECT_TRUE(console.contains("never been set"));
    const Value r = eval(bin(OP_OR, lit(0), lit(2)));
    EXPECT_TRUE(r->is_bool() && r->get_bool());
}

TEST_F(Expressions, ConditionalEvaluatesOnlyTheChosenBranch) {
    EXPECT_EQ(eval(node<IfExpression>(lit(true), lit(1), bin(OP_DIV, lit(1), lit(0))))->get_int(), 1);
    EXPECT_EQ(eval(node<IfExpression>(lit(""), lit(1), lit(2)))->get_int(), 2);
    EXPECT_EQ(console.errors(), 0);
}

TEST_F(Expressions, ArithmeticOverVariables) {
    set("$a", int_value(3));
    set("$b", float_value(4.5));
    const Value v = eval(bin(OP_PLUS, bin(OP_TIMES, var("$a"), lit(2)), var("$b")));
    ASSERT_TRUE(v->is_double());
    EXPECT_DOUBLE_EQ(v->get_double(), 10.5);
    EXPECT_EQ(eval(node<UnaryExpression>(OP_NEG, var("$a")))->get_int(), -3);
    EXPECT_TRUE(eval(bin(OP_LT, var("$a"), var("$b")))->get_bool());
}

TEST_F(Expressions, TabAccessOnTabsScalarsAndStrings) {
    EXPECT_EQ(eval(node<TabAccess>(lit(5), exps(lit(3))))->get_int(), 5)
        << "a scalar is an endless tab of itself";
    EXPECT_EQ(eval(node<TabAccess>(lit("abc"), exps(lit(1))))->get_string(), "b");
    EXPECT_EQ(
        eval(node<TabAccess>(tab_of(tab_of(lit(1), lit(2)), tab_of(lit(3), lit(4))), exps(lit(1), lit(0))))
            ->get_int(),
        3);
    EXPECT_EQ(console.errors(), 0);

    EXPECT_TRUE(eval(node<TabAccess>(lit("abc"), exps(lit(3))))->is_undef());
    EXPECT_TRUE(
        console.contains("Bad tab access on string: index is out of bound (3 on a string of size 3)"));
    EXPECT_TRUE(eval(node<TabAccess>(lit(5), exps(lit(-1))))->is_undef());
    EXPECT_TRUE(console.contains("Bad tab access to a tab-promotable value (int): index is negative (-1)"));
    EXPECT_TRUE(eval(node<TabAccess>(lit(5), exps(lit("x"))))->is_undef());
    EXPECT_TRUE(
        console.contains("Bad tab access on tab-promotable value (int): index is not numeric (string)"));

    set("$m", map_of({{int_value(1), int_value(2)}}));
    EXPECT_TRUE(eval(node<TabAccess>(var("$m"), exps(lit(0))))->is_undef());
    EXPECT_TRUE(
        console.contains("Bad tab access : element at indices [0...] does not refer to a tab-promotable "
                         "value 'MAP{ (1, 2) }'"));

    console.clear();
    EXPECT_TRUE(eval(node<TabAccess>(tab_of(lit(1), lit(2)), exps(lit(5))))->is_undef());
    EXPECT_TRUE(console.contains("Tab index out of bound (index=5, size=2)"));
    EXPECT_TRUE(console.contains("Error evaluating 'TAB [1, 2][5]'")) << "the expression is printed";
}

// Each access that indexes out of a tab reports itself and its place, even
// when another has just failed inside it.
TEST_F(Expressions, AFailingTabAccessReportsItselfAndWhereItIsWritten) {
    yy::location outer_place, inner_place;
    outer_place.initialize(std::make_shared<const std::string>("walks.score"), 7, 3);
    inner_place.initialize(std::make_shared<const std::string>("walks.score"), 9, 12);
    ExpPtr inner = node<TabAccess>(tab_of(lit(1)), exps(lit(3)), &inner_place);
    ExpPtr index = node<IfExpression>(std::move(inner), lit(0), lit(5));
    console.clear();
    EXPECT_TRUE(
        eval(node<TabAccess>(tab_of(lit(1), lit(2)), exps(std::move(index)), &outer_place))->is_undef());

    std::vector<std::string> said;
    for (const auto& [level, line] : console.lines)
        said.push_back(line);
    const std::vector<std::string> expected = {
        "Tab index out of bound (index=3, size=1)",
        "Error evaluating 'TAB [1][3]'",
        " " + location_string(inner_place),
        "Tab index out of bound (index=5, size=2)",
        "Error evaluating 'TAB [1, 2][(TAB [1][3] ? 0 : 5)]'",
        " " + location_string(outer_place),
    };
    EXPECT_EQ(said, expected);
}

TEST_F(Expressions, ComprehensionsOverCountsRangesAndTabs) {
    EXPECT_EQ(text(*eval(TabComprehension::make_over(&ctx, new_var("$i"), lit(3), var("$i"), nullptr))),
              "TAB[0, 1, 2]");
    EXPECT_EQ(text(*eval(TabComprehension::make_over(&ctx, new_var("$i"), lit(-3), var("$i"), nullptr))),
              "TAB[0, -1, -2]");
    EXPECT_EQ(text(*eval(TabComprehension::make_over(&ctx, nullptr, lit(3), lit(7), nullptr))),
              "TAB[7, 7, 7]");
    EXPECT_EQ(text(*eval(TabComprehension::make_over(&ctx, new_var("$i"), tab_of(lit(10), lit(20)),
                                                     bin(OP_PLUS, var("$i"), lit(1)), nullptr))),
              "TAB[11, 21]");
    EXPECT_EQ(text(*eval(range(var("$i"), "$i", lit(0), lit(0)))), "TAB[]") << "the stop is excluded";
    EXPECT_EQ(text(*eval(range(bin(OP_TIMES, var("$i"), lit(2)), "$i", lit(1), lit(7), lit(2)))),
              "TAB[2, 6, 10]");
    EXPECT_EQ(text(*eval(range(var("$i"), "$i", lit(0), lit(1), lit(0.25)))), "TAB[0.0, 0.25, 0.5, 0.75]");
    EXPECT_EQ(text(*eval(range(var("$i"), "$i", lit(3), lit(0)))), "TAB[3, 2, 1]");
    EXPECT_EQ(text(*eval(range(var("$i"), "$i", nullptr, lit(6), nullptr,
                               bin(OP_EQ, bin(OP_MOD, var("$i"), lit(2)), lit(0))))),
              "TAB[0, 2, 4]");
    EXPECT_EQ(console.errors(), 0);

    EXPECT_TRUE(eval(range(var("$i"), "$i", lit(0), lit(5), lit(0)))->is_undef());
    EXPECT_TRUE(console.contains("Tag Comprehension: step has not the right sign"));
    console.clear();
    EXPECT_TRUE(eval(range(var("$i"), "$i", lit(0), lit(5), lit(-1)))->is_undef());
    EXPECT_TRUE(console.contains("Tag Comprehension: step has not the right sign"));
    EXPECT_TRUE(eval(range(var("$i"), "$i", lit("a"), lit(5)))->is_undef());
    EXPECT_TRUE(console.contains("Tag Comprehension: start index must be numeric"));
    EXPECT_TRUE(eval(TabComprehension::make_over(&ctx, nullptr, lit("s"), lit(1), nullptr))->is_undef());
    EXPECT_TRUE(console.contains("Tab Comprehension: iterset is not a tab nor a numeric"));
}

TEST_F(Expressions, MapDefinitionsKeepTheFirstOfEqualKeys) {
    const Value m = eval(node<MapDefinition>(key_values(lit(1), lit(2), lit(1.0), lit(3))));
    EXPECT_EQ(text(*m), "MAP{ (1, 2) }");
    const Value im = eval(node<InterpolatedMapDefinition>(key_values(lit(0), lit(0), lit(10), lit(100))));
    EXPECT_DOUBLE_EQ(im->apply(int_value(5))->get_double(), 50.0);
    EXPECT_EQ(text(*eval(node<MapDefinition>(KeyValueList{}))), "MAP{  }");
}

TEST_F(Expressions, CallsGivePartialApplicationsUntilComplete) {
    const auto* sum3 = new SumFunction("@sum3", 3, &ctx.global);
    const Value one = eval(call(fct(sum3), lit(1)));
    ASSERT_TRUE(one->is_paf());
    const Value two = eval(call(one->clone(), lit(2)));
    ASSERT_TRUE(two->is_paf()) << "the closure is not changed by a partial call";
    EXPECT_DOUBLE_EQ(eval(call(two->clone(), lit(3)))->get_double(), 6.0);
    EXPECT_DOUBLE_EQ(eval(call(one->clone(), lit(10), lit(20)))->get_double(), 31.0);
    EXPECT_EQ(console.errors(), 0);

    EXPECT_TRUE(eval(call(two->clone(), lit(3), lit(4)))->is_undef());
    EXPECT_TRUE(console.contains("Too much argument provided to partially applied function @sum3"));
}

TEST_F(Expressions, UserFunctionsReadTheirArguments) {
    const auto* twice = new UserFunction("@twice", {"$v"}, bin(OP_TIMES, var("$v"), lit(2)), &ctx.global);
    EXPECT_EQ(eval(call(fct(twice), lit(21)))->get_int(), 42);
    EXPECT_EQ(eval(call(fct(twice), call(fct(twice), lit(2))))->get_int(), 8) << "nested frames";
    EXPECT_EQ(twice->ASTNode::show(), "FUN ($v) $v * 2");

    EXPECT_TRUE(twice->apply({int_value(1), int_value(2)})->is_undef());
    EXPECT_TRUE(
        console.contains("Bad arguments number in function call @twice (1 expected and 2 provided) [baf1]"));
}

TEST_F(Expressions, ANameUsedBeforeItsDefinitionResolvesAtItsCall) {
    const Value later = get_functional_value_from_name(&ctx, "@later");
    ExpPtr c(call(later->clone(), lit(1), lit(2)));
    EXPECT_TRUE(c->eval()->is_undef());
    EXPECT_TRUE(console.contains("Unknown function: @later"));
    new SumFunction("@later", 2, &ctx.global);
    EXPECT_DOUBLE_EQ(c->eval()->get_double(), 3.0);
}

TEST_F(Expressions, CallsOfMapsProcessesAndNonFunctions) {
    set("$m", map_of({{int_value(1), string_value("a")}}));
    EXPECT_EQ(eval(call(var("$m"), lit(1)))->get_string(), "a");

    ctx.global.set_proc("::pr", reinterpret_cast<ProcDefinition*>(&ctx));
    EXPECT_EQ(text(*eval(call(node<Reference>(&ctx, "::pr"), lit(1), lit(2)))), "`77");
    EXPECT_EQ(ctx.launched_args.size(), 2u);
    EXPECT_EQ(console.errors(), 0);

    EXPECT_TRUE(eval(call(node<Reference>(&ctx, "::none")))->is_undef());
    EXPECT_TRUE(console.contains("Bad proc application: ::none does not refer to a proc [n1]"));
    EXPECT_TRUE(eval(call(lit(3), lit(1)))->is_undef());
    EXPECT_TRUE(console.contains("Bad application : '3' does not refer to a function nor a processus [ap1]"));
}

TEST_F(Expressions, StaticFoldingOfConstantSubtrees) {
    const ExpPtr folded = reduce_static(bin(OP_PLUS, lit(1), bin(OP_TIMES, lit(2), lit(3))));
    ASSERT_NE(folded->is_value(), nullptr);
    EXPECT_EQ(folded->is_value()->get_int(), 7);

    ExpPtr dynamic = bin(OP_PLUS, var("$x"), lit(1));
    const Expression* written = dynamic.get();
    EXPECT_EQ(reduce_static(std::move(dynamic)).get(), written) << "a tree with a variable stays";

    ExpPtr tempo = bin(OP_TIMES, var("$RT_TEMPO"), lit(2));
    EXPECT_EQ(tempo->variability(), VARIABILITY_SCORE_TIME);
    written = tempo.get();
    EXPECT_EQ(reduce_static(std::move(tempo)).get(), written) << "only static trees fold";

    auto* pure = new SumFunction("@pure_sum", 2, &ctx.global);
    pure->is_pure = true;
    ExpPtr pure_call(reduce_static(call(fct(pure), lit(1), lit(2))));
    ASSERT_NE(pure_call->is_value(), nullptr);
    EXPECT_DOUBLE_EQ(pure_call->is_value()->get_double(), 3.0);
    const auto* impure = new SumFunction("@impure_sum", 2, &ctx.global);
    ExpPtr impure_call = call(fct(impure), lit(1), lit(2));
    written = impure_call.get();
    EXPECT_EQ(reduce_static(std::move(impure_call)).get(), written);
    EXPECT_EQ(impure->calls, 0) << "an impure function is not called at score time";

    const ExpPtr chosen =
        reduce_static(node<IfExpression>(bin(OP_LT, lit(1), lit(2)), lit("yes"), var("$never")));
    EXPECT_EQ(text(*chosen->eval()), "\"yes\"");
    EXPECT_EQ(console.errors(), 0);
}

TEST_F(Expressions, AFoldedTabIsCopiedAtEachRead) {
    ExpPtr constant(reduce_static(tab_of(lit(1), lit(2))));
    ASSERT_EQ(typeid(*constant), typeid(ScoreConstant));
    const Value first = constant->eval();
    (*value_cast<TabValue>(*first).val)[0] = int_value(100);
    EXPECT_EQ(text(*constant->eval()), "TAB[1, 2]");
}

TEST_F(Expressions, StaticFoldingReportsWhatFailsForGood) {
    ExpPtr bad_index = node<TabAccess>(lit("abc"), exps(lit(5)));
    const Expression* written = bad_index.get();
    EXPECT_EQ(reduce_static(std::move(bad_index)).get(), written)
        << "may be valid at run time: left to run time";
    EXPECT_TRUE(console.contains("Warning: bad tab access on static string: index is out of bound."));
    EXPECT_EQ(console.errors(), 0);

    reduce_static(bin(OP_DIV, lit(1), lit(0)));
    EXPECT_EQ(console.errors(), 1) << "a failed static evaluation is counted";

    console.clear();
    Diagnostics reading;
    DiagnosticScope gathering(reading);
    ExpPtr none(reduce_static(nullptr));
    EXPECT_TRUE(none->is_value()->is_undef());
    EXPECT_TRUE(console.contains("syntax error (unlocalized, please report)"));
    reduce_static(nullptr);
    EXPECT_EQ(reading.error_count(), 1) << "within one reading, reported only when nothing else was";
}

TEST_F(Expressions, NegationAndUndefTestsBuiltByTheReader) {
    ExpPtr n(make_neg(lit(3)));
    EXPECT_EQ(n->is_value()->get_int(), -3);
    ExpPtr f(make_neg(lit(2.5)));
    EXPECT_EQ(f->is_value()->get_double(), -2.5);
    ExpPtr u(make_neg(var("$x")));
    EXPECT_EQ(typeid(*u), typeid(UnaryExpression));

    ExpPtr test(Expression::make_is_undef(&ctx, var("$x"), nullptr));
    EXPECT_EQ(typeid(*test), typeid(TestVariableUnitialized));
    ExpPtr other(Expression::make_is_undef(&ctx, lit(1), nullptr));
    EXPECT_EQ(typeid(*other), typeid(CallExpression));
}

TEST_F(Expressions, PrintedForms) {
    auto shown = [](const ExpPtr& e) { return text(*e); };
    EXPECT_EQ(shown(bin(OP_MINUS, lit(1), bin(OP_MINUS, lit(2), lit(3)))), "1 - (2 - 3)");
    EXPECT_EQ(shown(bin(OP_MINUS, bin(OP_MINUS, lit(1), lit(2)), lit(3))), "(1 - 2) - 3");
    EXPECT_EQ(shown(bin(OP_PLUS, bin(OP_PLUS, lit(1), lit(2)), lit(3))), "1 + 2 + 3");
    EXPECT_EQ(shown(bin(OP_MINUS, lit(1), bin(OP_PLUS, lit(2), lit(3)))), "1 - 2 + 3");
    EXPECT_EQ(shown(bin(OP_TIMES, bin(OP_PLUS, lit(1), lit(2)), lit(3))), "(1 + 2) * 3");
    EXPECT_EQ(shown(bin(OP_DIV, bin(OP_TIMES, var("$a"), var("$b")), var("$c"))), "($a * $b) / $c");
    EXPECT_EQ(shown(bin(OP_OR, bin(OP_AND, var("$a"), var("$b")), var("$c"))), "$a && $b || $c");
    EXPECT_EQ(shown(node<UnaryExpression>(OP_NEG, bin(OP_PLUS, lit(1), lit(2)))), "-(1 + 2)");
    EXPECT_EQ(shown(node<Var>(&ctx, "$x", lit(2), nullptr)), "[2#]:$x");
    EXPECT_EQ(shown(node<Var>(&ctx, "$x", lit(1.5), DURATION_SECONDS, nullptr)), "[1.5s]:$x");
    EXPECT_EQ(shown(tab_of(lit(1), lit("a"))), "TAB [1, \"a\"]");
    EXPECT_EQ(shown(node<MapDefinition>(key_values(lit(1), lit(2)))), "MAP {(1, 2)}");
    EXPECT_EQ(shown(node<TabAccess>(var("$t"), exps(lit(1), lit(2)))), "$t[1, 2]");
    EXPECT_EQ(shown(node<IfExpression>(lit(true), lit(1), lit(2))), "(true ? 1 : 2)");
    EXPECT_EQ(shown(Expression::make_is_undef(&ctx, var("$x"), nullptr)), "@is_undef($x)");
    EXPECT_EQ(shown(TabComprehension::make_over(&ctx, new_var("$i"), lit(3), var("$i"), nullptr)),
              "[$i | $i in 3]");
}

TEST_F(Expressions, ClonesAreStructurallyEqual) {
    ExpPtr e(bin(OP_PLUS, node<TabAccess>(var("$t"), exps(lit(1))), call(var("$f"), lit(2.5), lit("s"))));
    ExpPtr copy(e->clone());
    EXPECT_TRUE(*e == *copy);
    ExpPtr other(bin(OP_PLUS, node<TabAccess>(var("$t"), exps(lit(2))), call(var("$f"), lit(2.5), lit("s"))));
    EXPECT_TRUE(*e != *other);
    EXPECT_NE(*e < *other, *other < *e);
    EXPECT_EQ(text(*e), text(*copy));
}

// A copy owns copies of all its parts: changing it leaves the original as it
// was, and, placed like the original, it reads and prints the same once the
// original is gone.
TEST_F(Expressions, ACloneIsIndependentOfItsOriginal) {
    set("$t", tab_of_ints({4, 5, 6}));
    set("$n", int_value(2));
    const auto* sum = new SumFunction("@clone_sum", 2, &ctx.global);
    std::vector<WithExpression::Binding> bindings;
    bindings.emplace_back(new_var("$k"), bin(OP_PLUS, var("$n"), lit(1)));
    std::vector<ExpPtr> trees;
    trees.push_back(node<TabAccess>(var("$t"), exps(var("$n"))));
    trees.push_back(call(fct(sum), var("$n"), node<UnaryExpression>(OP_NEG, lit(1))));
    trees.push_back(range(bin(OP_TIMES, var("$i"), var("$n")), "$i", lit(0), lit(3)));
    trees.push_back(node<WithExpression>(std::move(bindings), bin(OP_TIMES, var("$k"), var("$k"))));
    trees.push_back(node<MapDefinition>(key_values(lit(1), var("$n"))));
    trees.push_back(node<Var>(&ctx, "$n", lit(0), nullptr));
    trees.push_back(node<DateVar>(std::make_unique<Var>(&ctx, "$n"), DURATION_BEATS));
    trees.push_back(node<IfExpression>(bin(OP_LT, var("$n"), lit(3)), lit("small"), lit("large")));
    for (ExpPtr& original : trees) {
        Expression::finalize(original.get(), &ctx);
        const std::string written = text(*original);
        const std::string value = text(*original->eval());

        const ExpPtr renamed = original->clone();
        renamed->change_var_name("$n", "$renamed");
        EXPECT_NE(text(*renamed), written);
        EXPECT_EQ(text(*original), written) << "renaming a copy leaves the original";

        const ExpPtr copy = original->clone();
        original.reset();
        EXPECT_EQ(text(*copy), written);
        Expression::finalize(copy.get(), &ctx); // a copy of a `with` is bound anew, from its written form
        EXPECT_EQ(text(*copy->eval()), value) << written;
    }
    EXPECT_EQ(console.errors(), 0);
}

TEST_F(Expressions, RenamingAndCollectingVariables) {
    ExpPtr e(bin(OP_PLUS, var("$a"), node<TabAccess>(var("$t"), exps(var("$a")))));
    VarSet vars;
    e->get_variables(vars);
    EXPECT_EQ(vars.size(), 2u);
    e->change_var_name("$a", "$b");
    set("$b", int_value(1));
    set("$t", tab_of_ints({5, 6}));
    Expression::finalize(e.get(), &ctx);
    EXPECT_EQ(e->eval()->get_int(), 7);
}
