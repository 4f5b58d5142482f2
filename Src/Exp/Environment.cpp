#include "Exp/Environment.hpp"

#include "Exp/Reference.hpp"
#include "Base/Console.hpp"
#include "Exp/EvalContext.hpp"

#include <sstream>

namespace {

constexpr int default_history_slots = 11;

const char* name_of(unique_identifier uid) {
    return Reference::uid2string(uid).c_str();
}

} // namespace

Environment::Environment(EvalContext* context)
    : ctx(context) {}

Environment::Environment(const Environment& other)
    : vars(other.vars)
    , index_of(other.index_of)
    , ctx(other.ctx) {
    for (var_management& vm : vars)
        vm.env = this;
}

std::size_t Environment::define_var(unique_identifier uid, int history, const TaggedValue& initial) {
    const std::size_t slots = history < 0 ? default_history_slots : static_cast<std::size_t>(history) + 1;
    const auto found = index_of.find(uid);
    if (found != index_of.end()) {
        var_management& vm = vars[found->second];
        if (history >= 0) vm.increase(slots, undef_value());
        if (!initial.is_undef()) vm.h_insert(initial, 0.0, 0.0);
        return found->second;
    }
    const std::size_t position = vars.size();
    vars.emplace_back();
    vars.back().create(this, position, uid, slots, initial);
    index_of[uid] = position;
    return position;
}

std::size_t Environment::define_var(const std::string& name, int history, const TaggedValue& initial) {
    return define_var(Reference::unique_id(name), history, initial);
}

void Environment::set_var(std::size_t index, const TaggedValue& v) {
    if (index >= vars.size()) {
        error("Internal Error: undefined index variable (%d).", static_cast<int>(index));
        return;
    }
    var_management& vm = vars[index];
    vm.h_insert(v, get_global_now(), get_global_rnow());
    vm.propagate(false);
}

void Environment::set_var(unique_identifier uid, const TaggedValue& v) {
    const auto found = index_of.find(uid);
    if (found == index_of.end()) {
        error("Undefined variable '%s' (b).", name_of(uid));
        return;
    }
    set_var(found->second, v);
}

Value Environment::get_var(unique_identifier uid, int past) {
    const auto found = index_of.find(uid);
    if (found == index_of.end()) {
        if (past == 0)
            error("Variable %s is unknown. Please report (a)", name_of(uid));
        else
            error("Variable [%d]:%s is unknown. Please report (b)", past, name_of(uid));
        return string_value("unknown variable: " + Reference::uid2string(uid));
    }
    return vars[found->second].last(past);
}

int Environment::past_slot_at(const var_management& vm, double d, duration_type unit) const {
    if (!(d >= 0)) return -1;
    const bool beats = unit == DURATION_BEATS;
    const double now = beats ? get_global_rnow() : get_global_now();
    const std::vector<double>& dates = beats ? vm.rdates : vm.dates;
    for (std::size_t i = 0; i < vm.size(); ++i)
        if (dates[vm.slot(static_cast<int>(i))] <= now - d + 0.0001) return static_cast<int>(i);
    return -1;
}

// The value in force d ago; when there is none, a message and the current value.
Value Environment::get_var(const var_management& vm, double d, duration_type unit, const yy::location* where) {
    const int past = past_slot_at(vm, d, unit);
    if (past >= 0 && !vm.last(past)->is_undef()) return vm.last(past);
    if (unit == DURATION_BEATS)
        error("Value [%f]:%s is undefined", d, vm.name().c_str());
    else
        error("Value [%fs]:%s is undefined", d, vm.name().c_str());
    if (!vm.initialised()) return get_unitialized_var(vm, 0, true, where);
    return vm.newest();
}

Value Environment::get_var(unique_identifier uid, double d, duration_type unit) {
    const var_management* vm = get_vm(uid);
    if (!vm) return get_var(uid, 0);
    return get_var(*vm, d, unit);
}

Value Environment::get_date_var(const var_management& vm, const Expression* past, duration_type unit) {
    const long n = past ? eval_int(past) : 0;
    const bool in_range = n >= 0 && static_cast<std::size_t>(n) < vm.size();
    const double date =
        in_range ? (unit == DURATION_BEATS ? vm.rdates : vm.dates)[vm.slot(static_cast<int>(n))] : -1.0;
    if (date < 0) {
        error("Date of variable %d%s is undefined", static_cast<int>(n), vm.name().c_str());
        return undef_value();
    }
    return float_value(date);
}

Value Environment::get_date_var(const std::string& name, const Expression* past, duration_type unit) {
    if (name == NOW_VAR || name == RNOW_VAR || name == RCNOW_VAR)
        return float_value(unit == DURATION_BEATS ? get_global_rnow() : get_global_now());
    const var_management* vm = get_vm(name);
    if (!vm) {
        error("Date of variable %s is undefined", name.c_str());
        return undef_value();
    }
    return get_date_var(*vm, past, unit);
}

Value Environment::get_date_var(const var_management& vm, double d, duration_type unit,
                                duration_type date_unit) {
    const int past = past_slot_at(vm, d, unit);
    if (past < 0) {
        if (unit == DURATION_SECONDS)
            error("Variable [%fs]:%s is not initialized", d, vm.name().c_str());
        else
            error("Dates of variable [%f]:%s is not initialized", d, vm.name().c_str());
        return undef_value();
    }
    const double date = (date_unit == DURATION_BEATS ? vm.rdates : vm.dates)[vm.slot(past)];
    if (date < 0) {
        error("Date of variable %s undefined", vm.name().c_str());
        return undef_value();
    }
    return float_value(date);
}

Value Environment::get_unitialized_var(const var_management& vm, int past, bool warn,
                                       const yy::location* where) {
    const std::string& name = vm.name();
    if (past == 0 && ctx) {
        double position = 0.0, tempo = 0.0;
        if (name == "$action_pos") {
            if (ctx->exe_time(position, tempo)) return float_value(position);
            post("Warning: no action linked to $action_pos variable, $RNOW is returned");
            return float_value(get_global_rnow());
        }
        if (name == "$local_tempo" && ctx->exe_time(position, tempo))
            return float_value(tempo);
        double beat = 0.0;
        if (name.size() > 1 && ctx->label_beat(name.substr(1), beat)) return float_value(beat);
    }
    if (warn) {
        post("Warning: variable '%s' has never been set (not initialized)", name.c_str());
        if (where) post_location("", where);
    }
    return undef_value();
}

var_management* Environment::get_vm(const std::string& name) {
    return get_vm(Reference::unique_id(name));
}

var_management* Environment::get_vm(unique_identifier uid) {
    const auto found = index_of.find(uid);
    return found == index_of.end() ? nullptr : &vars[found->second];
}

var_management* Environment::get_vm(std::size_t index) {
    return index < vars.size() ? &vars[index] : nullptr;
}

const Value& Environment::unsafe_get_var(const std::string& name) {
    const var_management* vm = get_vm(name);
    return vm ? vm->newest() : undef_value();
}

const Value& Environment::unsafe_get_var(unique_identifier uid) {
    const var_management* vm = get_vm(uid);
    return vm ? vm->newest() : undef_value();
}

bool Environment::is_defined_var(const std::string& name) const {
    return index_of.count(Reference::unique_id(name)) != 0;
}

bool Environment::is_defined_var_or_label(const std::string& name) const {
    if (is_defined_var(name)) return true;
    double beat = 0.0;
    return ctx && name.size() > 1 && name[0] == '$' && ctx->label_beat(name.substr(1), beat);
}

void Environment::attach(var_management* vm, VarObserver* observer, VAR_CALLBACK kind) {
    if (!vm) {
        error("internal error: cannot attach variable in some environment");
        return;
    }
    GlobalEnvironment* g = global();
    vm->attach(observer, kind, g ? g->next_attachment() : 0);
}

void Environment::attach(const std::string& name, VarObserver* observer, VAR_CALLBACK kind) {
    attach(get_vm(name), observer, kind);
}

void Environment::detach(var_management* vm, VarObserver* observer, VAR_CALLBACK kind) {
    if (vm) vm->detach(observer, kind);
}

void Environment::detach(const std::string& name, VarObserver* observer, VAR_CALLBACK kind) {
    detach(get_vm(name), observer, kind);
}

GlobalEnvironment* Environment::global() const {
    return ctx ? ctx->global_env() : nullptr;
}

const Value& Environment::global_var(std::size_t GlobalEnvironment::*which) const {
    const GlobalEnvironment* g = global();
    if (!g) return undef_value();
    const std::size_t i = g->*which;
    return i < g->vars.size() ? g->vars[i].newest() : undef_value();
}

int Environment::get_global_index_event() const {
    return ctx ? ctx->instant().index : -1;
}

int Environment::get_global_next_index_event() const {
    return ctx ? ctx->instant().next_index : -1;
}

const Value& Environment::get_global_rt_tempo() const {
    return global_var(&GlobalEnvironment::rt_tempo_index);
}
const Value& Environment::get_global_energy() const {
    return global_var(&GlobalEnvironment::energy_index);
}
const Value& Environment::get_global_jump_updated() const {
    return global_var(&GlobalEnvironment::jump_updated_index);
}
const Value& Environment::get_global_score_tempo() const {
    return global_var(&GlobalEnvironment::score_tempo_index);
}
const Value& Environment::get_global_pitch() const {
    return global_var(&GlobalEnvironment::pitch_index);
}
const Value& Environment::get_global_dur() const {
    return global_var(&GlobalEnvironment::dur_index);
}
const Value& Environment::get_global_beat_pos() const {
    return global_var(&GlobalEnvironment::beat_pos_index);
}
const Value& Environment::get_global_last_event_label() const {
    return global_var(&GlobalEnvironment::last_label_index);
}
const Value& Environment::get_global_approx_ratio() const {
    return global_var(&GlobalEnvironment::approx_ratio_index);
}

double Environment::get_global_now() const {
    return ctx ? ctx->instant().now : 0.0;
}

double Environment::get_global_rnow() const {
    return ctx ? ctx->instant().rnow : 0.0;
}

double Environment::get_global_rcnow() const {
    return ctx ? ctx->instant().rcnow : 0.0;
}

double Environment::get_global_lnow() const {
    return ctx ? static_cast<double>(ctx->instant().count) : 0.0;
}

void Environment::check_no_more_propagation() {
    for (const var_management& vm : vars) {
        if (vm.observers.empty()) continue;
        std::ostringstream text;
        text << "Variable " << vm.name() << " still has observers: ";
        vm.show(text);
        error_text(text.str());
    }
}
