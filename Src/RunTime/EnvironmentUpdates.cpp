// Changes from outside the score's own time: a tempo set by the host, the
// signal's energy, variables set by the environment (host, OSC). Each is
// one logical instant of its own.
#include "RunTime/Environment_RunTime.hpp"

#include "Exp/Reference.hpp"
#include "RunTime/CadScheduler.hpp"
#include "Base/Console.hpp"
#include "RunTime/PreCadenzium.hpp"
#include "Tree/Event.hpp"

#include <set>
#include <vector>

namespace {

// Assigns at the instant's date; the reactions run unless the variable
// already changed at this date.
void assign_once_per_date(GlobalEnvironment& env, std::size_t index, double v) {
    var_management& vm = env.vars[index];
    const double previous_date = vm.dates[vm.slot(0)];
    vm.h_insert(float_value(v), env.now, env.rnow);
    if (env.now > previous_date) vm.propagate(false);
}

int current_index(const GlobalEnvironment& env) {
    return env.current_event ? env.current_event->index() : 0;
}

} // namespace

bool GlobalEnvironment::rt_tempo_is_undef() const {
    return unsafe_get_var(rt_tempo_index)->is_undef();
}

bool GlobalEnvironment::score_tempo_is_undef() const {
    return unsafe_get_var(score_tempo_index)->is_undef();
}

bool GlobalEnvironment::get_jump_updated() const {
    const Value& v = unsafe_get_var(jump_updated_index);
    return !v->is_undef() && v->get_bool();
}

void GlobalEnvironment::set_jump_updated(bool on) {
    vars[jump_updated_index].h_insert(bool_value(on), now, rnow);
}

void GlobalEnvironment::updateTempo(double bpm) {
    env_lock();
    if (rt_tempo_is_not_undef() && bpm > 0) {
        start_logical_instant(-1);
        var_management& vm = vars[rt_tempo_index];
        const double previous_date = vm.dates[vm.slot(0)];
        vm.h_insert(float_value(bpm), now, rnow);
        if (t_scheduler* sched = pre ? pre->get_x_sched() : nullptr) sched->UpdateTempo();
        if (now > previous_date) vm.propagate(false);
        end_logical_instant();
    }
    send_messages(true);
}

void GlobalEnvironment::update_energy_var(double v) {
    env_lock();
    start_logical_instant(-1);
    assign_once_per_date(*this, energy_index, v);
    end_logical_instant();
    send_messages(true);
}

void GlobalEnvironment::ExternalUpdateVar(const std::string& name, const TaggedValue& v) {
    if (!is_defined_var(name)) error("Unknown variable '%s' set by the environment.", name.c_str());
    env_lock();
    if (!is_defined_var(name)) define_var(name, -1, undef_value());
    start_logical_instant(-1);
    set_var(Reference::unique_id(name), v);
    end_logical_instant();
    send_messages(true);
}

// ---- several variables at one date ----

void GlobalEnvironment::start_multiple_ExternalUpdateVar() {
    env_lock();
    start_logical_instant(-1);
}

void GlobalEnvironment::multiple_ExternalUpdateVar(std::vector<var_management*>& changed,
                                                   const std::string& name, const TaggedValue& v) {
    set_multiple_var(changed, Reference::unique_id(name), v);
}

void GlobalEnvironment::set_multiple_var(std::vector<var_management*>& changed, unique_identifier uid,
                                         const TaggedValue& v) {
    if (!is_defined_var(uid)) {
        error("Unknown variable '%s' set by the environment.", Reference::uid2string(uid).c_str());
        define_var(uid, -1, undef_value());
    }
    var_management* vm = get_vm(uid);
    vm->h_insert(v, now, rnow);
    changed.push_back(vm);
}

void GlobalEnvironment::end_multiple_ExternalUpdateVar(std::vector<var_management*>& changed) {
    propagate_multiple_var(changed);
    end_logical_instant();
    send_messages(true);
}

// Each observer of any of the variables runs once, in the order of the
// observers (kind, then timer), if a reaction before it has not detached it.
void GlobalEnvironment::propagate_multiple_var(std::vector<var_management*>& changed) {
    std::set<var_observer, cllbck_compare> gathered;
    for (const var_management* vm : changed)
        gathered.insert(vm->observers.begin(), vm->observers.end());
    const std::vector<var_observer> observers(gathered.begin(), gathered.end());
    for (const var_observer& o : observers) {
        for (var_management* vm : changed) {
            if (!vm->observers.count(o)) continue;
            if (pre) pre->notify_var_observer(o.first, o.second, current_index(*this), *vm);
            break;
        }
    }
}
