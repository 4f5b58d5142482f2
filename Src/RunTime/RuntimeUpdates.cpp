// Changes from outside the score's own time: the signal's energy, variables
// set by the environment (host, OSC). Each is one logical instant of its
// own.
#include "RunTime/Environment_RunTime.hpp"

#include "Base/Console.hpp"
#include "Exp/Reference.hpp"

#include <algorithm>
#include <vector>

bool Runtime::rt_tempo_is_undef() const {
    return env.unsafe_get_var(env.rt_tempo_index)->is_undef();
}

// $ENERGY changes at most once per date: its reactions run unless the
// variable already changed at this date.
void Runtime::update_energy(double v) {
    lock();
    start_logical_instant(-1);
    var_management& vm = env.vars[env.energy_index];
    const double previous_date = vm.dates[vm.slot(0)];
    vm.h_insert(float_value(v), dates.now, dates.rnow);
    if (dates.now > previous_date) vm.propagate(false);
    end_logical_instant();
    send_messages(true);
}

void Runtime::ExternalUpdateVar(const std::string& name, const TaggedValue& v) {
    if (!env.is_defined_var(name)) error("Unknown variable '%s' set by the environment.", name.c_str());
    lock();
    if (!env.is_defined_var(name)) env.define_var(name, -1, undef_value());
    start_logical_instant(-1);
    env.set_var(Reference::unique_id(name), v);
    end_logical_instant();
    send_messages(true);
}

// ---- several variables at one date ----

void Runtime::start_multiple_ExternalUpdateVar() {
    lock();
    start_logical_instant(-1);
}

void Runtime::set_multiple_var(std::vector<var_management*>& changed, unique_identifier uid,
                               const TaggedValue& v) {
    if (!env.is_defined_var(uid)) {
        error("Unknown variable '%s' set by the environment.", Reference::uid2string(uid).c_str());
        env.define_var(uid, -1, undef_value());
    }
    var_management* vm = env.get_vm(uid);
    vm->h_insert(v, dates.now, dates.rnow);
    changed.push_back(vm);
}

void Runtime::end_multiple_ExternalUpdateVar(std::vector<var_management*>& changed) {
    propagate_multiple_var(changed);
    end_logical_instant();
    send_messages(true);
}

// Each observer of any of the variables runs once, in the order the
// observers were attached, if a reaction before it has not detached it; it
// is told of the first changed variable it observes.
void Runtime::propagate_multiple_var(std::vector<var_management*>& changed) {
    std::vector<var_observer> observers;
    for (const var_management* vm : changed)
        for (const var_observer& o : vm->observers)
            if (std::none_of(observers.begin(), observers.end(), [&](const var_observer& x) { return x.same(o); }))
                observers.push_back(o);
    std::sort(observers.begin(), observers.end(),
              [](const var_observer& a, const var_observer& b) { return a.order < b.order; });
    for (const var_observer& o : observers) {
        for (var_management* vm : changed) {
            if (!vm->is_attached(o)) continue;
            o.observer->var_changed(o.kind, position(), *vm);
            break;
        }
    }
}
