// A running curve. Its breakpoints are evaluated once, when it starts; each
// step then samples every function at the curve's time, fires the step
// action, and schedules the next step a grain later. The grain has a floor
// of 1 ms, so that a curve cannot flood the host's scheduler.
#include "RunTime/exec.hpp"

#include "Base/Console.hpp"
#include "Exp/DotExpression.hpp"
#include "Exp/ValueKinds.hpp"
#include "RunTime/DspPort.hpp"
#include "RunTime/Firing.hpp"
#include "RunTime/Runtime.hpp"
#include "Tree/Curve.hpp"

#include <algorithm>
#include <cmath>

namespace {

constexpr double grain_floor_seconds = 0.001;

// The curve's time runs in the unit of its first delay between points.
duration_type unit_of(const Curve& c) {
    for (const SeqContFunction& f : c.functions)
        if (f.points.size() > 1) return f.points[1].delay.unit;
    return DURATION_BEATS;
}

// A curve moves a variable of the audio graph only when it is a control:
// any other is refused before the first step, rather than at every one.
bool dsp_targets_hold(Runtime& rt, const Curve& c) {
    DspPort* dsp = rt.port.dsp();
    if (!dsp) return true;
    for (const SeqContFunction& f : c.functions)
        for (const auto& v : f.variables)
            if (dynamic_cast<const DspVar*>(v.get()) && !dsp->curve_target(v->name, v->scloc())) return false;
    return true;
}

} // namespace

void exec_curve::start(Runtime& rt, Curve& curve, double date, cadTimer_mode mode) {
    auto* c = new exec_curve(rt, curve, date);
    if (c->ended_at_start()) return;
    bool built = false;
    {
        SavedContext saved(rt);
        c->set_context();
        built = c->build();
    }
    if (!built) {
        c->terminate();
        return;
    }
    c->first_step(mode);
}

exec_curve::exec_curve(Runtime& runtime, Curve& c, double date)
    : CadTimer(runtime, c, date, c.until.get(), 0.0, DURATION_BEATS)
    , curve(&c)
    , unit(unit_of(c)) {
    start_run(); // the tempo of reference, for delays written in the other unit
    running -= 1;
}

bool exec_curve::build() {
    if (dynamic_cast<DataCurve*>(curve)) return build_from_nim();
    if (!dsp_targets_hold(*rt, *curve)) return false;
    curves.resize(curve->functions.size());
    for (std::size_t i = 0; i < curves.size(); ++i)
        if (!curves[i].build(curve->functions[i], unit, local_tempo)) return false;
    states.assign(curves.size(), curve_state{});
    for (const CurveFunction& f : curves)
        duration = std::max(duration, f.length());
    return true;
}

void exec_curve::callback(var_management*) {
    SavedContext saved(*rt);
    step(true);
}

// A curve that starts late begins where it must be by now, without the
// step action for the time it missed.
void exec_curve::callback_late(var_management*) {
    SavedContext saved(*rt);
    const double behind = std::max(0.0, rnow() - date);
    const double missed = unit == DURATION_BEATS ? behind : beats_in_seconds(behind, date, -1.0, -1.0);
    elapsed = std::min(duration, missed);
    date += behind;
    step(false);
}

void exec_curve::step(bool in_time) {
    stop_waiting();
    start_run();
    set_context();
    if (end_duration() || end_until()) {
        stop_run();
        return;
    }
    sample();
    if (in_time) fire_step_action();
    if (finished) {
        stop_run();
        return;
    }
    if (duration - elapsed <= 0.0) {
        stop_run();
        terminate();
        return;
    }
    if (stop_run()) return;
    set_context();
    schedule_next_step();
}

void exec_curve::sample() {
    for (std::size_t i = 0; i < curves.size(); ++i)
        curves[i].eval(states[i], elapsed);
}

void exec_curve::fire_step_action() {
    Action* a = curve->step_action;
    if (!a) return;
    const Gfwd* g = runs_inline(*a);
    if (!g) {
        Fire(*rt, *a, date, 0.0, DURATION_BEATS);
        return;
    }
    if (condition_holds(*g)) fire_inline(*g, {});
}

void exec_curve::schedule_next_step() {
    const double remaining = duration - elapsed;
    const double s = next_step(remaining);
    elapsed = s >= remaining ? duration : elapsed + s;
    if (unit == DURATION_BEATS) {
        date += s;
    } else {
        delay_in_beats = seconds_in_beats(s, date, -1.0, -1.0);
        date += delay_in_beats;
    }
    schedule(s, unit);
}

double exec_curve::next_step(double remaining) {
    double g = curve->grain.eval();
    if (!(g > 0.0)) {
        error("Warning: exec_curve::callback strange time step %f", g);
        g = 0.0;
    }
    double s = 0.0;
    if (curve->grain.unit == DURATION_SECONDS) {
        g = grain_in_seconds(g);
        s = unit == DURATION_SECONDS ? g : seconds_in_beats(g, date, -1.0, -1.0);
    } else {
        g = grain_in_beats(g);
        s = unit == DURATION_BEATS ? g : beats_in_seconds(g, date, -1.0, -1.0);
    }
    // What would be left after this step is too little for one more.
    const double epsilon = unit == DURATION_BEATS ? BEAT_EPSILON : SEC_EPSILON;
    return remaining - s < epsilon ? remaining : s;
}

double exec_curve::grain_in_seconds(double g) {
    if (g >= grain_floor_seconds) return g;
    if (rt->grain_warnings.should_say())
        error("Warning: Curve: grain too small: %f s increased to %f s", g, grain_floor_seconds);
    return grain_floor_seconds;
}

// The floor of a grain in beats is 0.06 / tempo beats.
double exec_curve::grain_in_beats(double g) {
    const double s = beats_in_seconds(g, date, -1.0, -1.0);
    if (s >= grain_floor_seconds) return g;
    const double raised = 0.06 / local_tempo;
    if (rt->relative_grain_warnings.should_say())
        error("Warning: Curve: relative grain too small: %f corresponding to %f s : grain increased to %f s",
              g, s, beats_in_seconds(raised, date, -1.0, -1.0));
    return raised;
}

// The points of a NIM, evaluated now; one variable takes its values.
bool exec_curve::build_from_nim() {
    auto& data = static_cast<DataCurve&>(*curve);
    const Value source = data.source->eval();
    if (!source->is_nim()) {
        error("Curve: the source of a curve on a NIM is not a NIM (got a %s)", source->kind_name());
        return false;
    }
    if (data.variables.size() != 1) {
        error("NIM in DataCurve: several iteration variables: Not Yet Implemented  [nim13a]");
        return false;
    }
    unit = DURATION_BEATS;
    curves.resize(1);
    if (!curves[0].build(*data.variables[0], *value_cast<NimValue>(*source).val)) return false;
    states.assign(1, curve_state{});
    duration = curves[0].length();
    return true;
}
