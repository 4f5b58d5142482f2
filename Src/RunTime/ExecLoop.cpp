// A running loop. Each iteration fires an instance of the body at the loop's
// date, then reads the period and moves the date on by it. A period of zero
// runs the next iteration in the same instant, at most 10,000 times in a
// row.
#include "RunTime/exec.hpp"

#include "Base/Console.hpp"
#include "Exp/ValueKinds.hpp"
#include "RunTime/Runtime.hpp"
#include "Tree/Compound.hpp"

#include <cmath>

namespace {

constexpr int iteration_budget = 10000;

double zero_period(duration_type unit) {
    return unit == DURATION_SECONDS ? SEC_EPSILON : BEAT_EPSILON;
}

} // namespace

void exec_loop::start(Runtime& rt, Lfwd& loop, double date, cadTimer_mode mode) {
    auto* l = new exec_loop(rt, loop, date);
    if (l->ended_at_start()) return;
    l->first_step(mode);
}

exec_loop::exec_loop(Runtime& runtime, Lfwd& loop, double date)
    : CadTimer(runtime, loop, date, loop.until.get(), 0.0, DURATION_BEATS)
    , lfwd(&loop)
    , enabled(loop.body->actions.size(), true) {}

void exec_loop::callback(var_management*) {
    SavedContext saved(*rt);
    run_iterations(false);
}

void exec_loop::callback_late(var_management*) {
    SavedContext saved(*rt);
    run_iterations(true);
}

void exec_loop::run_iterations(bool late) {
    for (int budget = iteration_budget;;) {
        stop_waiting();
        start_run();
        set_context();
        if (end_duration() || end_until()) {
            stop_run();
            return;
        }
        fire_body(late);
        if (finished) {
            stop_run();
            return;
        }
        double d = 0.0;
        if (!compute_next_delay(d)) return;
        iteration += 1;
        if (d < zero_period(lfwd->period.unit) && --budget == 0) {
            error("More than 10000 iteration in a loop with a 0. period. Terminate loop!");
            terminate();
            return;
        }
        if (!next_now(d, late)) return;
    }
}

// A body without delays runs in the loop's instance; any other is an
// instance of its own, a child of the loop.
void exec_loop::fire_body(bool late) {
    Gfwd& body = *lfwd->body;
    if (body.actions.empty()) return;
    if (runs_inline(body)) {
        fire_inline(body, enabled, late);
        return;
    }
    exec_group::create(*rt, body, date, 0.0, DURATION_BEATS, late ? MODE_LATE : MODE_NORMAL, enabled);
}

// The period is read in the loop's context, after the iteration that it
// follows; a tab of periods is read in turn.
bool exec_loop::compute_next_delay(double& d) {
    set_context();
    if (stop_run()) return false;
    if (!period_value(lfwd->period.extended_eval(), d) || std::isnan(d)) {
        terminate();
        return false;
    }
    if (lfwd->period.unit == DURATION_SECONDS) {
        delay_in_beats = seconds_in_beats(d, date, -1.0, -1.0);
        date += delay_in_beats;
    } else {
        date += d;
    }
    return true;
}

// A bad period ends the loop: it dies with its last iteration.
bool exec_loop::period_value(const Value& v, double& d) const {
    if (v->is_numeric()) {
        d = v->get_double();
        return true;
    }
    if (v->is_tab() && !value_cast<TabValue>(*v).val->empty()) {
        const tab_t& periods = *value_cast<TabValue>(*v).val;
        const Value& p = periods[iteration % periods.size()];
        if (p->is_numeric()) {
            d = p->get_double();
            return true;
        }
        error("Bad period in loop (expect a tab of numeric, got a '%s'", show_text(v).c_str());
    } else {
        error("Bad period in loop (expect a numeric or a tab of numeric, got a '%s'", show_text(v).c_str());
    }
    post_location("bad period", lfwd->location.get());
    return false;
}

// A next iteration in the future waits for its date; one due now (a zero
// period, or a late one already past) follows in this instant.
bool exec_loop::next_now(double d, bool late) {
    const duration_type unit = lfwd->period.unit;
    if (late && date - rnow() > BEAT_EPSILON) {
        schedule(date - rnow(), DURATION_BEATS);
        return false;
    }
    if (late || d < zero_period(unit)) return true;
    schedule(d, unit);
    return false;
}

// The child is dropped from the running iterations and from the later ones.
void exec_loop::cancel_action(const std::string& label) {
    for (std::size_t i = 0; i < lfwd->body->actions.size(); ++i)
        if (lfwd->body->actions[i]->get_label() == label) enabled[i] = false;
    for (CadTimer* child : fill_active_childs())
        if (rt->active(child)) child->cancel_action(label);
}
