// The walks that go down expression trees (binding, renaming, telling the
// ambient action and the parent bloc) reach every subexpression of every
// kind of node, and a `with` keeps its bound names out of the environment.
#include "Exp/DotExpression.hpp"
#include "Exp/NimDefinition.hpp"
#include "Exp/With.hpp"
#include "ExpTestSupport.hpp"

#include <gtest/gtest.h>

#include <deque>
#include <memory>

namespace {

// What the walks told one probe and its copies.
struct Reached {
    int bound = 0, renamed = 0, told_action = 0, told_parent = 0;
};

// A leaf that counts the walks reaching it; its copies count in the same place.
class Probe : public NonConstantExpression {
public:
    explicit Probe(Reached* r)
        : reached(r) {}
    Expression* clone() const override { return new Probe(*this); }
    Value eval() const override { return undef_value(); }
    void set_env(Environment*, const std::list<std::string>&, int) const override { ++reached->bound; }
    void change_var_name(const std::string&, const std::string&) override { ++reached->renamed; }
    void set_ambiant_action(const Action*) override { ++reached->told_action; }
    void set_parent(Bloc*) override { ++reached->told_parent; }
    void show(std::ostream& out, int) const override { out << "probe"; }
    int etag() const override {
        static const int tag = new_etag();
        return tag;
    }
    int compare_with(const Expression*) const override { return 0; }

    Reached* reached;
};

class TreeWalks : public ::testing::Test {
protected:
    // A probe of its own for each subexpression slot.
    Expression* probe() { return new Probe(&reached.emplace_back()); }

    // Runs the four walks over `e` once and checks every probe counts
    // `times` for each (a `with` holds two forms of each binding).
    void expect_every_probe_reached(Expression* made, int times = 1, int bound = 1) {
        std::unique_ptr<Expression> e(made);
        e->set_env(&ctx.global, {}, GLOBAL_SCOPE_LEVEL);
        e->change_var_name("$nobody", "$someone");
        e->set_ambiant_action(reinterpret_cast<const Action*>(&ctx));
        e->set_parent(reinterpret_cast<Bloc*>(&ctx));
        ASSERT_FALSE(reached.empty());
        for (std::size_t i = 0; i < reached.size(); ++i) {
            SCOPED_TRACE("probe " + std::to_string(i) + " of " + text(*e));
            EXPECT_EQ(reached[i].bound, bound);
            EXPECT_EQ(reached[i].renamed, times);
            EXPECT_EQ(reached[i].told_action, times);
            EXPECT_EQ(reached[i].told_parent, times);
        }
        reached.clear();
    }

    TestContext ctx;
    std::deque<Reached> reached; // stable addresses
};

} // namespace

TEST_F(TreeWalks, OperatorsAndContainersReachEveryOperand) {
    expect_every_probe_reached(new UnaryExpression(OP_NEG, probe()));
    expect_every_probe_reached(bin(OP_PLUS, probe(), probe()));
    expect_every_probe_reached(new IfExpression(probe(), probe(), probe()));
    expect_every_probe_reached(new TabDefinition({probe(), probe(), probe()}));
    expect_every_probe_reached(new MapDefinition(KeyValueList{{probe(), probe()}, {probe(), probe()}}));
    expect_every_probe_reached(new InterpolatedMapDefinition(KeyValueList{{probe(), probe()}}));
    expect_every_probe_reached(new TabAccess(probe(), {probe(), probe()}));
}

TEST_F(TreeWalks, CallsAndComprehensionsReachEveryPart) {
    expect_every_probe_reached(new CallExpression(probe(), {probe(), probe()}, &ctx.global));
    expect_every_probe_reached(
        new TabComprehension(new Var(&ctx, "$i"), probe(), probe(), probe(), probe(), probe(), probe()));
    expect_every_probe_reached(TabComprehension::make_over(&ctx, nullptr, probe(), probe(), nullptr));
}

TEST_F(TreeWalks, VariablesReachTheirHistoryExpressions) {
    expect_every_probe_reached(new Var(&ctx, "$h", probe(), nullptr));
    expect_every_probe_reached(new Var(&ctx, "$d", probe(), DURATION_SECONDS, nullptr));
    expect_every_probe_reached(new DateVar(new Var(&ctx, "$d", probe(), nullptr), DURATION_BEATS));
    expect_every_probe_reached(new VarHistories(new Var(&ctx, "$v", probe(), DURATION_BEATS, nullptr),
                                                VarHistories::DATES, true));
    expect_every_probe_reached(new DotExpression(&ctx, probe(), new Var(&ctx, "$x")));
}

TEST_F(TreeWalks, NimDefinitionsReachEveryBreakpointExpression) {
    auto* list = new NimList;
    list->x0 = probe();
    list->y0 = probe();
    for (int i = 0; i < 2; ++i) {
        auto* point = new NimPoint;
        point->abscissa = probe();
        point->start = probe();
        point->value = probe();
        point->extra = probe();
        point->tween = probe();
        list->points.push_back(point);
    }
    expect_every_probe_reached(new NimDefinition(list));
}

// The written form and the closed form are both told; only the closed form
// is bound, where the names of the `with` are parameters.
TEST_F(TreeWalks, WithReachesBothFormsAndBindsOnlyTheClosedOne) {
    expect_every_probe_reached(
        new WithExpression({{new Var(&ctx, "$w"), probe()}, {new Var(&ctx, "$z"), probe()}}, probe()),
        2);

    std::unique_ptr<Expression> with(
        new WithExpression({{new Var(&ctx, "$bound"), new Var(&ctx, "$free")}},
                           bin(OP_PLUS, new Var(&ctx, "$bound"), lit(1))));
    Expression::finalize(with.get(), &ctx);
    EXPECT_EQ(ctx.global.get_vm(std::string("$bound")), nullptr) << "a bound name is not a variable";
    EXPECT_NE(ctx.global.get_vm(std::string("$free")), nullptr);
    VarSet vars;
    with->get_variables(vars);
    ASSERT_EQ(vars.size(), 1u);
    EXPECT_EQ((*vars.begin())->name, "$free");
}

// Renaming reaches variables however deep they sit, history reads included.
TEST_F(TreeWalks, RenamingReachesNestedVariables) {
    std::unique_ptr<Expression> e(
        new TabDefinition({new Var(&ctx, "$old", new Var(&ctx, "$old"), nullptr),
                           new CallExpression(new Var(&ctx, "$f"),
                                              {new IfExpression(lit(true), new Var(&ctx, "$old"), lit(0))},
                                              &ctx.global)}));
    e->change_var_name("$old", "$new");
    EXPECT_EQ(text(*e), "TAB [[$new#]:$new, $f((true ? $new : 0))]");
    VarSet vars;
    e->get_variables(vars);
    EXPECT_EQ(vars.size(), 2u) << "$new and $f";
}
