#include "RunTime/exec.hpp"

#include "Exp/Environment.hpp"
#include "RunTime/Firing.hpp"
#include "RunTime/Runtime.hpp"
#include "Tree/Bloc.hpp"

#include <algorithm>

SavedContext::SavedContext(Runtime& runtime)
    : rt(runtime)
    , exe(runtime.get_exe())
    , envs(runtime.get_envs()) {}

SavedContext::~SavedContext() {
    rt.set_exe_context(exe, envs);
}

exec_group* exec_group::create(Runtime& rt, Gfwd& group, double date, double delay, duration_type unit,
                               cadTimer_mode mode, const std::vector<bool>& enabled) {
    auto* g = new exec_group(rt, group, date, delay, unit, mode, enabled);
    if (g->dead_on_arrival || (g->finished && g->running == 0 && !g->has_children())) {
        delete g;
        return nullptr;
    }
    g->run_first = 1;
    return g;
}

exec_group::exec_group(Runtime& runtime, Gfwd& g, double date, double delay, duration_type unit,
                       cadTimer_mode mode, const std::vector<bool>& selected)
    : CadTimer(runtime, g, date, g.until.get(), delay, unit)
    , group(&g)
    , enabled(selected.empty() ? std::vector<bool>(g.actions.size(), true) : selected) {
    run_first = 0;
    if (dead_on_arrival || finished) return;
    running += 1;
    real_beat_position(date);
    build_env();
    {
        SavedContext saved(*rt);
        set_context();
        double v = 0.0;
        duration_type u = DURATION_BEATS;
        next_child_delay(v, u);
        if (v < 0 || mode == MODE_LATE) {
            late_mode = v < 0;
            schedule_late(v, u);
        } else {
            schedule(v, u);
        }
    }
    running -= 1;
}

exec_group::~exec_group() {
    delete own_env;
}

void exec_group::build_env() {
    if (!group->env) return;
    own_env = new Environment(*group->env);
    stack.push_back(own_env);
}

// The delay of child `step`, less what the group is late; a child in the
// past gives a negative delay, and the lateness left carries to the next.
// `date` moves on by the child's written delay, late or not.
void exec_group::next_child_delay(double& v, duration_type& u) {
    const Action& child = *group->actions[step];
    u = child.delay.unit;
    const double written = enabled[step] ? child.delay.eval() : 0.0;
    v = written;
    if (late != 0.0) {
        double l = late;
        if (late_unit != u)
            l = u == DURATION_BEATS ? seconds_in_beats(l, date, -1.0, -1.0)
                                    : beats_in_seconds(l, date, -1.0, -1.0);
        v = written - l;
        late = v < 0 ? -v : 0.0;
        late_unit = u;
    }
    if (u == DURATION_BEATS) {
        date += written;
    } else {
        delay_in_beats = seconds_in_beats(written, date, -1.0, -1.0);
        date += delay_in_beats;
    }
}

bool exec_group::compute_next_delay(double& d, duration_type& unit) {
    if (stop_run()) return false;
    step += 1;
    if (step >= group->actions.size()) {
        terminate();
        return false;
    }
    set_context();
    next_child_delay(d, unit);
    return true;
}

void exec_group::callback(var_management*) {
    run_steps(false);
}
void exec_group::callback_late(var_management*) {
    run_steps(true);
}

// One step per turn: the frame of a callback, the child, the next delay. A
// delay of zero stays in this instant; a past one goes on in late mode.
void exec_group::run_steps(bool late_steps) {
    for (;;) {
        stop_waiting();
        start_run();
        if (end_duration() || end_until()) {
            stop_run();
            return;
        }
        set_context();
        Action& child = *group->actions[step];
        if (enabled[step]) {
            if (late_steps)
                Fire_late(*rt, child, date, late, late_unit);
            else
                Fire(*rt, child, date, 0.0, DURATION_BEATS);
        }
        if (finished) {
            stop_run();
            return;
        }
        double d = 0.0;
        duration_type unit = DURATION_BEATS;
        if (!compute_next_delay(d, unit)) return;
        if (late_steps ? !late_step_continues(d, unit) : !step_continues(d, unit)) return;
    }
}

// After a step in time: the next child now (a zero delay), later, or late.
bool exec_group::step_continues(double d, duration_type unit) {
    if (d == 0.0) return true;
    if (d > 0.0) {
        schedule(d, unit);
        return false;
    }
    late_mode = true;
    schedule_late(d, unit);
    return false;
}

// After a late step: the children whose dates are past follow at once; the
// first one in the future is scheduled for what remains of its delay.
bool exec_group::late_step_continues(double d, duration_type unit) {
    if (d < 0.0) {
        late_mode = true;
        return true;
    }
    if (late_mode) {
        late_mode = false;
        schedule(d, unit);
        return false;
    }
    if (d <= SEC_EPSILON || rnow() > date) return true;
    schedule_late(d, unit);
    return false;
}

bool exec_group::tight_step() const {
    if (CadTimer::tight_step()) return true;
    if (step >= group->actions.size()) return false;
    const Action& child = *group->actions[step];
    return child.tight || child.ante || child.post;
}

const Action* exec_group::anchoring_action() const {
    if (CadTimer::tight_step() || step >= group->actions.size()) return bloc;
    return group->actions[step].get();
}

void exec_group::cancel_action(const std::string& label) {
    for (std::size_t i = 0; i < group->actions.size(); ++i)
        if (group->actions[i]->get_label() == label) enabled[i] = false;
}

// ---- groups run in the instance that fires them ----

namespace {

bool undelayed(const Action& a) {
    return !a.delay.expr && a.delay.value_ == 0.0;
}

} // namespace

const Gfwd* runs_inline(const Action& a) {
    if (!a.hidden || !a.is_bloc()) return nullptr;
    const auto* g = dynamic_cast<const Gfwd*>(&a);
    if (!g || g->env || g->until || g->during || g->during_count || g->at_kill) return nullptr;
    if (!std::all_of(g->actions.begin(), g->actions.end(), [](const ActionPtr& c) { return undelayed(*c); }))
        return nullptr;
    return g;
}

void CadTimer::fire_inline(const Gfwd& group, const std::vector<bool>& enabled, bool late) {
    for (std::size_t i = 0; i < group.actions.size(); ++i) {
        if (!enabled.empty() && !enabled[i]) continue;
        if (late)
            Fire_late(*rt, *group.actions[i], date, 0.0, DURATION_BEATS);
        else
            Fire(*rt, *group.actions[i], date, 0.0, DURATION_BEATS);
        if (finished) return;
        set_context();
    }
}
