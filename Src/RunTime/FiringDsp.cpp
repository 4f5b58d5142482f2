// The actions of the audio graph: patches and the notes of sound nodes.
// They hand their work to the host's graph (DspPort.hpp); a host without
// one says once that this build does not handle DSP.
#include "Base/Location.hpp"
#include "RunTime/DspPort.hpp"
#include "RunTime/Environment_RunTime.hpp"
#include "RunTime/Firing.hpp"
#include "RunTime/HostPort.hpp"
#include "Tree/DspActions.hpp"
#include "Tree/Duration.hpp"

#include <cmath>

namespace {

int int_of(const ExpPtr& e) {
    const Value v = e->eval();
    return v->is_numeric() ? static_cast<int>(std::lround(v->get_double())) : 0;
}

// A note's length in seconds: a length in beats at the tempo followed now.
double seconds_of(Runtime& rt, const CadDuration& d) {
    const double value = d.eval();
    if (!std::isfinite(value) || value <= 0) return 0;
    if (d.unit == DURATION_SECONDS) return value;
    const Value& tempo = rt.env.vars[rt.env.rt_tempo_index].newest();
    const double bpm = tempo->is_numeric() && tempo->get_double() > 0 ? tempo->get_double() : 60.0;
    return value * 60.0 / bpm;
}

} // namespace

DspPort* Firing::dsp_for(Action& a) {
    if (!runs(a) || !condition_holds(a)) return nullptr;
    DspPort* dsp = rt.port.dsp();
    if (!dsp && rt.reported_kinds.insert("dsp").second) {
        error("This version of cadenzium does not handle DSP");
        a.post_location();
    }
    return dsp;
}

void Firing::visit(DspEquation& a) {
    if (DspPort* dsp = dsp_for(a)) dsp->equation(a);
}

void Firing::visit(DspPatch& a) {
    if (DspPort* dsp = dsp_for(a)) dsp->patch(a);
}

void Firing::visit(DspFluidsynthAction& a) {
    DspPort* dsp = dsp_for(a);
    if (!dsp || a.args.size() < 3) return;
    DspNote note;
    note.channel = int_of(a.args[0]);
    note.key = int_of(a.args[1]);
    note.velocity = int_of(a.args[2]);
    note.date = rt.instant().now;
    if (a.duration) note.duration = seconds_of(rt, *a.duration);
    dsp->note(a.node, note, &a);
}

void Runtime::dsp_write(const std::string& name, const TaggedValue& v, const yy::location* where) {
    if (DspPort* dsp = port.dsp()) {
        dsp->control(name, v, where);
        return;
    }
    if (!reported_kinds.insert("dsp").second) return;
    error("This version of cadenzium does not handle DSP");
    post_location("at", where);
}

Value Runtime::dsp_read(const std::string& name, const yy::location* where) const {
    if (DspPort* dsp = port.dsp()) return dsp->control_value(name, where);
    error("Warning: dsp buffer not already allocated");
    post_location("at", where);
    return undef_value();
}
