// A running reaction. It observes every variable its condition reads and is
// told within the instant that assigns one; it fires its body when the
// condition holds, once per instant and position, however many of its
// variables that instant assigns.
#include "RunTime/exec.hpp"

#include "Exp/Environment.hpp"
#include "Exp/Var.hpp"
#include "RunTime/Firing.hpp"
#include "RunTime/Runtime.hpp"
#include "Tree/Compound.hpp"
#include "Tree/Score.hpp"

void exec_when::start(Runtime& rt, WhenAction& when, double date, bool immediate) {
    auto* w = new exec_when(rt, when, date);
    if (w->ended_at_start()) return;
    {
        SavedContext saved(rt);
        w->set_context();
        w->attach_condition_vars();
    }
    if (immediate) w->callback(nullptr);
}

exec_when::exec_when(Runtime& runtime, WhenAction& w, double date)
    : CadTimer(runtime, w, date, w.until.get(), 0.0, DURATION_BEATS)
    , when(&w) {}

// The variables are found in the environments of this instance: a local
// variable of an enclosing group is that instance's own.
void exec_when::attach_condition_vars() {
    for (const Var* v : when->watched) {
        var_management* vm = v->thisVM();
        if (!vm) continue;
        rt->env.attach(vm, this, CLBK);
        waited_vars.insert(vm);
    }
    awaited_event = wait_index;
}

void exec_when::callback(var_management*) {
    SavedContext saved(*rt);
    date = rnow();
    start_run();
    set_context();
    if (end_duration() || end_until()) {
        stop_run();
        return;
    }
    if (eval_bool(when->condition.get()) && !refractory()) {
        remember_firing();
        if (when->body) Fire(*rt, *when->body, date, 0.0, DURATION_BEATS);
    }
    stop_run();
}

bool exec_when::refractory() {
    const InstantDates& d = rt->instant();
    return last_instant == d.count && last_index >= d.index && d.now <= last_now && d.rnow <= last_rnow;
}

void exec_when::remember_firing() {
    const InstantDates& d = rt->instant();
    last_instant = d.count;
    last_index = d.index;
    last_now = d.now;
    last_rnow = d.rnow;
}

void exec_when::UpdatePosition(int pos) {
    if (!rt->score || rt->score->events.empty()) {
        wait_index = 0;
        return;
    }
    wait_index = pos;
    callback(nullptr);
}
