// Variables as streams: history reads by count, beats and seconds,
// uninitialised reads, observers, tempo variables, dates and histories.
#include "ExpTestSupport.hpp"

#include <gtest/gtest.h>

#include <typeinfo>

namespace {

class Variables : public ::testing::Test {
protected:
    // A global variable `name` read through a tree, placed like the reader does.
    std::unique_ptr<Var> var(const std::string& name) { return placed(std::make_unique<Var>(&ctx, name)); }
    std::unique_ptr<Var> var_back(const std::string& name, long count) {
        return placed(std::make_unique<Var>(&ctx, name, lit(count), nullptr));
    }
    std::unique_ptr<Var> var_ago(const std::string& name, double d, duration_type unit) {
        return placed(std::make_unique<Var>(&ctx, name, lit(d), unit, nullptr));
    }
    template <class V>
    std::unique_ptr<V> placed(std::unique_ptr<V> v) {
        Expression::finalize(v.get(), &ctx);
        return v;
    }
    // Assigns `v` to `name` at the given date.
    void assign(const std::string& name, const Value& v, double now, double rnow) {
        ctx.at(now, rnow);
        var(name)->set_var(v);
    }

    TestContext ctx;
    ConsoleCapture console;
};

} // namespace

TEST_F(Variables, DefaultHistoryKeepsElevenValues) {
    for (long i = 0; i < 12; ++i)
        assign("$x", int_value(i), static_cast<double>(i), static_cast<double>(i));
    EXPECT_EQ(var("$x")->eval()->get_int(), 11);
    EXPECT_EQ(var_back("$x", 0)->eval()->get_int(), 11) << "[0#]:$x is $x";
    EXPECT_EQ(var_back("$x", 10)->eval()->get_int(), 1);
    EXPECT_EQ(console.errors(), 0);
    // A constant index in the score would lengthen the history: this one is not constant.
    assign("$n", int_value(11), 12, 12);
    auto beyond = placed(std::make_unique<Var>(&ctx, "$x", std::make_unique<Var>(&ctx, "$n"), nullptr));
    EXPECT_TRUE(beyond->eval()->is_undef());
    EXPECT_TRUE(console.contains("Can not access the history of variable $x at past date 11"));
}

TEST_F(Variables, AHistoryReadInTheScoreLengthensTheHistory) {
    auto plain = var("$h");
    EXPECT_EQ(plain->thisVM()->size(), 11u);
    var_back("$h", 20);
    EXPECT_EQ(plain->thisVM()->size(), 21u);
    var_back("$h", 3);
    EXPECT_EQ(plain->thisVM()->size(), 21u) << "a history never shrinks";
}

TEST_F(Variables, UninitialisedReadsWarnAndGiveUndef) {
    EXPECT_TRUE(var("$never")->eval()->is_undef());
    EXPECT_TRUE(console.contains("Warning: variable '$never' has never been set (not initialized)"));
    console.clear();
    EXPECT_TRUE(var_back("$never", 1)->eval()->is_undef());
    EXPECT_TRUE(console.contains("has never been set"));
    EXPECT_EQ(console.errors(), 0) << "a warning, not an error";

    auto test = placed(std::make_unique<TestVariableUnitialized>(Var(&ctx, "$u")));
    EXPECT_TRUE(test->eval()->get_bool());
    assign("$u", int_value(1), 0, 0);
    EXPECT_FALSE(test->eval()->get_bool());
    assign("$u", Value(), 1, 1);
    EXPECT_TRUE(test->eval()->get_bool()) << "true again after assigning undef";
}

TEST_F(Variables, ALabelReadsAsItsBeatUntilAssigned) {
    ctx.labels["intro"] = 4.5;
    EXPECT_DOUBLE_EQ(var("$intro")->eval()->get_double(), 4.5);
    EXPECT_FALSE(console.contains("never been set"));
    EXPECT_TRUE(ctx.global.is_defined_var_or_label("$intro"));
    assign("$intro", string_value("mine"), 1, 1);
    EXPECT_EQ(var("$intro")->eval()->get_string(), "mine");
}

TEST_F(Variables, ActionPositionComesFromTheRunningAction) {
    ctx.at(3, 2.25);
    EXPECT_DOUBLE_EQ(var("$action_pos")->eval()->get_double(), 2.25) << "no action: $RNOW";
    EXPECT_TRUE(console.contains("no action linked to $action_pos"));
    ctx.in_execution = true;
    ctx.exe_position = 7.0;
    ctx.exe_tempo = 90.0;
    EXPECT_DOUBLE_EQ(var("$action_pos")->eval()->get_double(), 7.0);
    EXPECT_DOUBLE_EQ(var("$local_tempo")->eval()->get_double(), 90.0);
}

TEST_F(Variables, ReadsByBeatsAndSeconds) {
    assign("$x", int_value(1), 0.0, 0.0);
    assign("$x", int_value(2), 0.5, 1.0);
    assign("$x", int_value(3), 1.0, 2.0);
    ctx.at(1.5, 3.0);
    EXPECT_EQ(var_ago("$x", 1.0, DURATION_BEATS)->eval()->get_int(), 3)
        << "the update exactly one beat ago, within the tolerance";
    EXPECT_EQ(var_ago("$x", 1.5, DURATION_BEATS)->eval()->get_int(), 2);
    EXPECT_EQ(var_ago("$x", 3.0, DURATION_BEATS)->eval()->get_int(), 1);
    EXPECT_EQ(var_ago("$x", 0.75, DURATION_SECONDS)->eval()->get_int(), 2);
    EXPECT_EQ(var_ago("$x", 0.4, DURATION_SECONDS)->eval()->get_int(), 3);
    EXPECT_EQ(console.errors(), 0);
}

TEST_F(Variables, ReadsBeforeTheHistoryOrWithANegativeDelayGiveTheCurrentValue) {
    assign("$x", int_value(5), 10.0, 10.0);
    assign("$x", int_value(6), 11.0, 11.0);
    EXPECT_EQ(var_ago("$x", -1.0, DURATION_BEATS)->eval()->get_int(), 6);
    EXPECT_TRUE(console.contains("Value [-1.000000]:$x is undefined"));
    console.clear();
    EXPECT_EQ(var_ago("$x", 2.0, DURATION_SECONDS)->eval()->get_int(), 6) << "before the first assignment";
    EXPECT_TRUE(console.contains("Value [2.000000s]:$x is undefined"));
}

TEST_F(Variables, SystemVariablesExistFromTheStart) {
    const Environment& env = ctx.global;
    EXPECT_DOUBLE_EQ(env.get_global_rt_tempo()->get_double(), 60.0);
    EXPECT_DOUBLE_EQ(env.get_global_score_tempo()->get_double(), 60.0);
    EXPECT_DOUBLE_EQ(env.get_global_approx_ratio()->get_double(), 0.1);
    EXPECT_TRUE(env.get_global_pitch()->is_undef());
    EXPECT_EQ(env.get_global_last_event_label()->get_string(), "");
    EXPECT_FALSE(env.get_global_jump_updated()->get_bool());
    EXPECT_EQ(ctx.global.get_vm(std::string(RT_TEMPO_VAR))->size(), 31u);
    EXPECT_EQ(ctx.global.get_vm(std::string(ENERGY_VAR))->size(), 1u);
    EXPECT_EQ(ctx.global.get_vm(std::string(NOW_VAR))->size(), 11u);

    assign("$score_var", int_value(1), 0, 0);
    ctx.global.clear();
    EXPECT_FALSE(ctx.global.is_defined_var("$score_var"));
    EXPECT_DOUBLE_EQ(env.get_global_rt_tempo()->get_double(), 60.0) << "the system variables come back";
}

TEST_F(Variables, RedefinitionGrowsAndEntersTheInitialValue) {
    Environment& env = ctx.global;
    const std::size_t at = env.define_var(std::string("$d"), 2, int_value(1));
    EXPECT_EQ(env.vars[at].size(), 3u);
    EXPECT_EQ(env.define_var(std::string("$d"), 5, int_value(2)), at);
    EXPECT_EQ(env.vars[at].size(), 6u);
    EXPECT_EQ(env.unsafe_get_var(std::string("$d"))->get_int(), 2);
    EXPECT_EQ(env.vars[at].dates[env.vars[at].slot(0)], 0.0);
}

TEST_F(Variables, UnknownVariablesReport) {
    Environment& env = ctx.global;
    env.set_var(Reference::unique_id("$nope"), int_value(1));
    EXPECT_TRUE(console.contains("Undefined variable '$nope' (b)."));
    EXPECT_EQ(env.get_var(Reference::unique_id("$nope"), 0)->get_string(), "unknown variable: $nope");
    EXPECT_TRUE(console.contains("Variable $nope is unknown. Please report (a)"));
    env.get_var(Reference::unique_id("$nope"), 2);
    EXPECT_TRUE(console.contains("Variable [2]:$nope is unknown. Please report (b)"));
    env.set_var(std::size_t{9999}, int_value(1));
    EXPECT_TRUE(console.contains("Internal Error: undefined index variable (9999)."));
}

TEST_F(Variables, SpecialVariablesCannotBeAssigned) {
    ctx.myself = 12;
    std::unique_ptr<Var> myself(SpecialVariable::make_variable(&ctx, "$MYSELF"));
    EXPECT_EQ(text(*myself->eval()), "`12");
    myself->set_var(int_value(1));
    EXPECT_TRUE(console.contains("Cannot assign special var '$MYSELF'"));
    std::unique_ptr<Var> plain(SpecialVariable::make_variable(&ctx, "$plain"));
    EXPECT_EQ(typeid(*plain), typeid(Var));
}

TEST_F(Variables, ClockVariablesCannotBeDelayed) {
    auto now = var_back("$NOW", 2);
    EXPECT_TRUE(console.contains("Error: variable $NOW cannot be delayed: delay ignored"));
    EXPECT_EQ(now->history_index, nullptr);
}

// Observers run in the order they attached, whatever their kind or their
// address, so that a score's reactions run in the same order on every run.
TEST_F(Variables, ObserversRunInAttachmentOrderAndCanDetachEachOther) {
    var_management* vm = var("$obs")->thisVM();
    std::vector<Notification> told;
    RecordingObserver a(told), b(told), c(told);
    ctx.global.attach(vm, &b, CLBK);
    ctx.global.attach(vm, &a, TEMPO);
    ctx.global.attach(vm, &c, CLBK);
    ctx.global.attach(vm, &b, CLBK);
    ctx.dates.index = 4;
    b.on_change = [&](VAR_CALLBACK) { vm->detach(&c, CLBK); };
    assign("$obs", int_value(1), 0, 0);
    ASSERT_EQ(told.size(), 2u) << "c was detached by b before its turn; b attached twice is told once";
    EXPECT_EQ(told[0].observer, &b);
    EXPECT_EQ(told[0].event_index, 4);
    EXPECT_EQ(told[0].variable, "$obs");
    EXPECT_EQ(told[1].observer, &a);
    EXPECT_EQ(told[1].kind, TEMPO);

    told.clear();
    vm->propagate(true);
    ASSERT_EQ(told.size(), 1u);
    EXPECT_EQ(told[0].kind, TEMPO);

    ctx.global.attach(std::string("$no_such_var"), &a, CLBK);
    ctx.global.attach(static_cast<var_management*>(nullptr), &a, CLBK);
    EXPECT_TRUE(console.contains("internal error: cannot attach variable in some environment"));
}

TEST_F(Variables, ADeadObserverIsReportedAndStillTold) {
    var_management* vm = var("$dead")->thisVM();
    std::vector<Notification> told;
    RecordingObserver gone(told);
    vm->attach(&gone, UPDATE_POS, 1);
    gone.alive = false;
    vm->propagate(false);
    EXPECT_TRUE(console.contains("### Propagation will fail for exe: "));
    EXPECT_EQ(told.size(), 1u);
}

TEST_F(Variables, TempoVariableParameters) {
    auto x = var("$tv");
    var_management* vm = x->thisVM();
    EXPECT_TRUE(vm->get_param(PARAM_TEMPO)->is_undef()) << "a plain variable has no tempo";

    std::unique_ptr<Expression> tempo(MakeVarParameter(&ctx, x->clone(), "tempo", nullptr));
    static_cast<const Var*>(tempo.get())->set_var(int_value(120));
    EXPECT_DOUBLE_EQ(tempo->eval()->get_double(), 120.0);
    EXPECT_DOUBLE_EQ(vm->get_param(PARAM_PERIOD)->get_double(), 0.5);

    std::vector<Notification> told;
    RecordingObserver t(told), other(told);
    ctx.global.attach(vm, &t, TEMPO);
    ctx.global.attach(vm, &other, CLBK);
    std::unique_ptr<Expression> position(MakeVarParameter(&ctx, x->clone(), "position", nullptr));
    static_cast<const Var*>(position.get())->set_var(float_value(4.0));
    ASSERT_EQ(told.size(), 1u) << "a new position reschedules the tempo observers only";
    EXPECT_EQ(told[0].observer, &t);

    told.clear();
    assign("$tv", int_value(1), 10.0, 0.0);
    ctx.at(10.25, 0.0);
    EXPECT_DOUBLE_EQ(vm->get_param(PARAM_RCNOW)->get_double(), 4.5) << "120 BPM for a quarter second";
    EXPECT_DOUBLE_EQ(vm->rnow(), 4.5);
    ctx.at(20.0, 0.0);
    EXPECT_DOUBLE_EQ(vm->rnow(), 5.0) << "pinned one step after the position";
    EXPECT_DOUBLE_EQ(vm->rcnow(), 24.0);

    std::unique_ptr<Expression> bad(MakeVarParameter(&ctx, x->clone(), "colour", nullptr));
    EXPECT_TRUE(console.contains("unrecognized identifier 'colour'"));
    std::unique_ptr<Expression> not_var(MakeVarParameter(&ctx, lit(1), "tempo", nullptr));
    EXPECT_TRUE(console.contains("Only variable expected in var.tempo_parameter"));
}

TEST_F(Variables, DatesOfAssignments) {
    assign("$x", int_value(1), 1.5, 3.0);
    assign("$x", int_value(2), 2.5, 4.0);
    DateVar date(var("$x"), DURATION_SECONDS);
    DateVar rdate(var_back("$x", 1), DURATION_BEATS);
    EXPECT_DOUBLE_EQ(date.eval()->get_double(), 2.5);
    EXPECT_DOUBLE_EQ(rdate.eval()->get_double(), 3.0);
    ctx.at(7.0, 9.0);
    DateVar now(var("$NOW"), DURATION_SECONDS);
    EXPECT_DOUBLE_EQ(now.eval()->get_double(), 7.0);
    DateVar too_far(var_back("$x", 5), DURATION_SECONDS);
    EXPECT_TRUE(too_far.eval()->is_undef());
    EXPECT_TRUE(console.contains("Date of variable 5$x is undefined"));
    EXPECT_EQ(text(rdate), "@rdate([1#]:$x)");
}

TEST_F(Variables, HistoriesAsTabsAndMaps) {
    assign("$x", int_value(1), 1.0, 2.0);
    assign("$x", int_value(2), 3.0, 4.0);
    VarHistories values(var("$x"), VarHistories::VALUES, false);
    VarHistories dates(var("$x"), VarHistories::DATES, false);
    VarHistories by_date(var("$x"), VarHistories::RDATES, true);
    EXPECT_EQ(text(*values.eval()), "TAB[1, 2]");
    EXPECT_EQ(text(*dates.eval()), "TAB[1.0, 3.0]");
    EXPECT_EQ(text(*by_date.eval()), "MAP{ (2.0, 1), (4.0, 2) }");
    EXPECT_EQ(text(by_date), "@map_history_rdate($x)");
}

TEST_F(Variables, LocalAndDynamicVariables) {
    Environment local(&ctx);
    ctx.stack.push_back(&local);
    auto inner = std::make_unique<Var>(&ctx, "$loc");
    inner->set_env(&local, {"$loc"}, 0);
    ASSERT_NE(inner->vm_index, Var::NO_INDEX);
    inner->set_var(int_value(3));
    EXPECT_EQ(inner->eval()->get_int(), 3);
    EXPECT_FALSE(ctx.global.is_defined_var("$loc"));

    auto outside = std::make_unique<Var>(&ctx, "$other");
    outside->set_env(&local, {"$loc"}, 0);
    EXPECT_EQ(outside->vm_index, Var::NO_INDEX) << "only the local names are bound at a local level";

    auto dynamic = std::make_unique<Var>(&ctx, "$loc");
    dynamic->dynamic = true;
    EXPECT_EQ(dynamic->eval()->get_int(), 3);
    ctx.stack.clear();
    EXPECT_TRUE(dynamic->eval()->is_undef());
    EXPECT_TRUE(console.contains("Undefined dynamic variable '$loc' in current envs [DE2]"));
    inner->eval(); // the stack is too short: the global environment stands in
    EXPECT_TRUE(console.contains("Undefined dynamic variable '$loc' in current envs [DE1]"));
}
