// The tempo a timer counts its beats with. A group, loop or curve with
// "@tempo" opens a scope of its own; the timers it starts inherit that
// scope, so scopes nest. A constant tempo turns beats into seconds on the
// absolute list; a tempo read from an expression of variables puts the timer
// on the local list, which converts again when one of those variables
// changes.
#include "RunTime/CadTimer.hpp"

#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/Expression.hpp"
#include "Exp/Values.hpp"
#include "RunTime/CadScheduler.hpp"
#include "RunTime/Runtime.hpp"
#include "RunTime/exec.hpp"
#include "Tree/Bloc.hpp"

#include <cmath>

namespace {

// Where a delay that never comes is put: half the largest double.
constexpr double kNever = 8.988465674311578e+304;

bool admissible(double tempo) {
    return tempo >= 0.0 && tempo <= MAX_LOCAL_TEMPO;
}

double followed_tempo(const GlobalEnvironment& env) {
    const Value& t = env.vars[env.rt_tempo_index].newest();
    return t->is_undef() ? 60.0 : t->get_double();
}

} // namespace

void CadTimer::take_tempo() {
    if (take_scope_tempo()) return;
    const Expression* own = bloc->tempo_expression;
    if (!own) {
        inherit_tempo();
        return;
    }
    scope_action = bloc;
    tempo_expr = own;
    VarSet vars;
    own->get_variables(vars);
    if (vars.empty()) {
        take_constant_tempo();
        return;
    }
    tempo_kind = TEMPO_DYNAMIC;
    local_tempo = father ? father->local_tempo : followed_tempo(rt->env);
    local_tempo = evaluated_tempo();
}

void CadTimer::inherit_tempo() {
    if (!father) return;
    tempo_kind = father->tempo_kind;
    tempo_expr = father->tempo_expr;
    local_tempo = father->local_tempo;
    scope_source = father->scope_source;
    scope_action = father->scope_action;
    sync_vm = father->sync_vm;
}

// A constant tempo is read once; a bad one says so and keeps the tempo the
// timer would have had without it.
void CadTimer::take_constant_tempo() {
    tempo_kind = TEMPO_CONSTANT;
    const double last =
        father && father->tempo_kind != TEMPO_FOLLOWED ? father->local_tempo : followed_tempo(rt->env);
    const double t = tempo_expr->eval()->get_double();
    if (admissible(t)) {
        local_tempo = t;
        return;
    }
    error("Bad local tempo: (%f). Tempo is instanciated to %f", t, last);
    bloc->post_location();
    local_tempo = last;
}

// The expression is read in the timer's own context: a local variable of an
// enclosing group is that instance's.
double CadTimer::evaluated_tempo() {
    SavedContext saved(*rt);
    set_context();
    const double t = tempo_expr->eval()->get_double();
    if (admissible(t)) return t;
    error("Dynamic tempo out of admissible range: computed %f, keep %f", t, local_tempo);
    return local_tempo;
}

double CadTimer::get_local_tempo(double, double) {
    if (has_expression_tempo())
        local_tempo = scope_source == SCOPE_EXPRESSION ? evaluated_tempo() : scope_tempo();
    return local_tempo;
}

void CadTimer::refresh_tempo() {
    switch (tempo_kind) {
    case TEMPO_FOLLOWED: {
        const Value& t = rt->env.vars[rt->env.rt_tempo_index].newest();
        last_tempo = t->is_undef() ? -1.0 : t->get_double();
        if (last_tempo > 0.0) local_tempo = last_tempo;
        return;
    }
    case TEMPO_DYNAMIC:
        local_tempo = get_local_tempo(last_pos, -1.0);
        last_tempo = local_tempo;
        return;
    default:
        last_tempo = local_tempo;
    }
}

void CadTimer::attach_tempo_vars() {
    if (!has_expression_tempo() || !tempo_vars.empty()) return;
    if (sync_vm) {
        rt->env.attach(sync_vm, this, TEMPO);
        tempo_vars.push_back(sync_vm);
    }
    if (scope_source != SCOPE_EXPRESSION || !tempo_expr) return;
    VarSet vars;
    tempo_expr->get_variables(vars);
    SavedContext saved(*rt);
    set_context();
    for (const Var* v : vars) {
        var_management* vm = v->thisVM();
        if (!vm) continue;
        rt->env.attach(vm, this, TEMPO);
        tempo_vars.push_back(vm);
    }
}

void CadTimer::detach_tempo_vars() {
    for (var_management* vm : tempo_vars)
        vm->detach(this, TEMPO);
    tempo_vars.clear();
}

void CadTimer::schedule_loose(double delay, duration_type unit) {
    if (unit == DURATION_SECONDS) {
        pending_type = SCHED_ABSOLUTE;
        sched->insertAbsoluteTimer(this, delay);
        return;
    }
    switch (tempo_kind) {
    case TEMPO_FOLLOWED:
        pending_type = SCHED_RELATIVE;
        sched->insertRelativeTimer(this, delay);
        return;
    case TEMPO_CONSTANT: {
        const double s = 60.0 / local_tempo * delay;
        pending_type = SCHED_ABSOLUTE;
        sched->insertAbsoluteTimer(this, std::isfinite(s) && s >= 0.0 ? s : kNever);
        return;
    }
    default: {
        const double s = beats_in_seconds(delay, date - delay, -1.0, -1.0);
        pending_type = SCHED_LOCAL;
        sched->insertLocalTempoTimer(this, std::isfinite(s) ? s : kNever);
    }
    }
}
