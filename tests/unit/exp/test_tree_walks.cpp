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
    ExpPtr clone() const override { return std::make_unique<Probe>(*this); }
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
    ExpPtr probe() { return node<Probe>(&reached.emplace_back()); }
    VarPtr var(const std::string& name) { return std::make_unique<Var>(&ctx, name); }

    // Runs the four walks over `e` once and checks every probe counts
    // `times` for each (a `with` holds two forms of each binding).
    void expect_every_probe_reached(ExpPtr e, int times = 1, int bound = 1) {
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
    expect_every_probe_reached(node<UnaryExpression>(OP_NEG, probe()));
    expect_every_probe_reached(bin(OP_PLUS, probe(), probe()));
    expect_every_probe_reached(node<IfExpression>(probe(), probe(), probe()));
    expect_every_probe_reached(tab_of(probe(), probe(), probe()));
    expect_every_probe_reached(node<MapDefinition>(key_values(probe(), probe(), probe(), probe())));
    expect_every_probe_reached(node<InterpolatedMapDefinition>(key_values(probe(), probe())));
    expect_every_probe_reached(node<TabAccess>(probe(), exps(probe(), probe())));
}

TEST_F(TreeWalks, CallsAndComprehensionsReachEveryPart) {
    expect_every_probe_reached(node<CallExpression>(probe(), exps(probe(), probe()), &ctx.global));
    expect_every_probe_reached(
        node<TabComprehension>(var("$i"), probe(), probe(), probe(), probe(), probe(), probe()));
    expect_every_probe_reached(TabComprehension::make_over(&ctx, nullptr, probe(), probe(), nullptr));
}

TEST_F(TreeWalks, VariablesReachTheirHistoryExpressions) {
    expect_every_probe_reached(node<Var>(&ctx, "$h", probe(), nullptr));
    expect_every_probe_reached(node<Var>(&ctx, "$d", probe(), DURATION_SECONDS, nullptr));
    expect_every_probe_reached(
        node<DateVar>(std::make_unique<Var>(&ctx, "$d", probe(), nullptr), DURATION_BEATS));
    expect_every_probe_reached(node<VarHistories>(
        std::make_unique<Var>(&ctx, "$v", probe(), DURATION_BEATS, nullptr), VarHistories::DATES, true));
    expect_every_probe_reached(node<DotExpression>(&ctx, probe(), var("$x")));
}

TEST_F(TreeWalks, NimDefinitionsReachEveryBreakpointExpression) {
    auto list = std::make_unique<NimList>();
    list->x0 = probe();
    list->y0 = probe();
    for (int i = 0; i < 2; ++i) {
        auto point = std::make_unique<NimPoint>();
        point->abscissa = probe();
        point->start = probe();
        point->value = probe();
        point->extra = probe();
        point->tween = probe();
        list->points.push_back(std::move(point));
    }
    expect_every_probe_reached(node<NimDefinition>(std::move(list)));
}

// The written form and the closed form are both told; only the closed form
// is bound, where the names of the `with` are parameters.
TEST_F(TreeWalks, WithReachesBothFormsAndBindsOnlyTheClosedOne) {
    std::vector<WithExpression::Binding> bindings;
    bindings.emplace_back(var("$w"), probe());
    bindings.emplace_back(var("$z"), probe());
    expect_every_probe_reached(node<WithExpression>(std::move(bindings), probe()), 2);

    bindings.clear();
    bindings.emplace_back(var("$bound"), var("$free"));
    const ExpPtr with = node<WithExpression>(std::move(bindings), bin(OP_PLUS, var("$bound"), lit(1)));
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
    const ExpPtr e =
        tab_of(node<Var>(&ctx, "$old", var("$old"), nullptr),
               node<CallExpression>(var("$f"), exps(node<IfExpression>(lit(true), var("$old"), lit(0))),
                                    &ctx.global));
    e->change_var_name("$old", "$new");
    EXPECT_EQ(text(*e), "TAB [[$new#]:$new, $f((true ? $new : 0))]");
    VarSet vars;
    e->get_variables(vars);
    EXPECT_EQ(vars.size(), 2u) << "$new and $f";
}
