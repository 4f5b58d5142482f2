// Dates of assignments and whole histories as values.
#include "Exp/Environment.hpp"
#include "Exp/Var.hpp"
#include "Base/Console.hpp"
#include "Exp/EvalContext.hpp"

#include <ostream>

DateVar::DateVar(VarPtr v, duration_type date_unit, const yy::location* loc)
    : NonConstantExpression(loc)
    , var(std::move(v))
    , unit(date_unit) {}

DateVar::DateVar(const DateVar& other)
    : NonConstantExpression(other)
    , var(clone_or_null(other.var))
    , unit(other.unit) {}

Value DateVar::eval() const {
    const std::string& name = var->name;
    if (name == NOW_VAR || name == RNOW_VAR || name == RCNOW_VAR) {
        Environment* global = var->ctx ? var->ctx->global_env() : nullptr;
        return global ? global->get_date_var(name, nullptr, unit) : undef_value();
    }
    const var_management* vm = var->thisVM();
    if (!vm) {
        error("Date of variable %s is undefined", name.c_str());
        return undef_value();
    }
    if (var->history_date) return vm->env->get_date_var(*vm, var->history_delay(), var->history_unit, unit);
    return vm->env->get_date_var(*vm, var->history_index.get(), unit);
}

void DateVar::show(std::ostream& out, int) const {
    out << (unit == DURATION_BEATS ? "@rdate(" : "@date(");
    var->show(out, 0);
    out << ")";
}

int DateVar::etag() const {
    static const int tag = new_etag();
    return tag;
}

int DateVar::compare_with(const Expression* other) const {
    const auto* o = static_cast<const DateVar*>(other);
    if (unit != o->unit) return unit - o->unit;
    return compare_nodes(var.get(), o->var.get());
}

VarHistories::VarHistories(VarPtr v, Which what, bool map_form, const yy::location* loc)
    : NonConstantExpression(loc)
    , var(std::move(v))
    , which(what)
    , as_map(map_form) {}

VarHistories::VarHistories(const VarHistories& other)
    : NonConstantExpression(other)
    , var(clone_or_null(other.var))
    , which(other.which)
    , as_map(other.as_map) {}

Value VarHistories::eval() const {
    const var_management* vm = var->thisVM();
    if (!vm) return undef_value();
    using Builder = Value (*)(const var_management&);
    static const Builder tabs[] = {make_history_val_tab, make_history_date_tab, make_history_rdate_tab};
    static const Builder maps[] = {make_history_val_map, make_history_date_map, make_history_rdate_map};
    return (as_map ? maps : tabs)[which](*vm);
}

void VarHistories::show(std::ostream& out, int) const {
    static const char* const suffix[] = {"(", "_date(", "_rdate("};
    out << (as_map ? "@map_history" : "@tab_history") << suffix[which];
    var->show(out, 0);
    out << ")";
}

int VarHistories::etag() const {
    static const int tag = new_etag();
    return tag;
}

int VarHistories::compare_with(const Expression* other) const {
    const auto* o = static_cast<const VarHistories*>(other);
    if (which != o->which) return which - o->which;
    if (as_map != o->as_map) return as_map - o->as_map;
    return compare_nodes(var.get(), o->var.get());
}

namespace {

// A slot holds history when it was assigned (it has a date) or holds the
// initial value.
bool holds_history(const var_management& vm, int past) {
    const std::size_t s = vm.slot(past);
    return vm.dates[s] >= 0 || !vm.values[s]->is_undef();
}

// Calls `visit(past)` for each slot with history, oldest first.
template <class Visit>
void each_slot_oldest_first(const var_management& vm, Visit visit) {
    if (!vm.initialised()) return;
    for (int past = static_cast<int>(vm.size()) - 1; past >= 0; --past)
        if (holds_history(vm, past)) visit(past);
}

Value dates_tab(const var_management& vm, const std::vector<double>& dates) {
    tab_t out;
    each_slot_oldest_first(vm, [&](int past) { out.push_back(float_value(dates[vm.slot(past)])); });
    return tab_value(std::move(out));
}

Value by_date_map(const var_management& vm, const std::vector<double>& dates) {
    auto out = make_counted<map_t>();
    each_slot_oldest_first(
        vm, [&](int past) { (*out)[float_value(dates[vm.slot(past)])] = vm.values[vm.slot(past)]; });
    return Value::make<MapValue>(std::move(out));
}

} // namespace

Value make_history_val_tab(const var_management& vm) {
    tab_t out;
    each_slot_oldest_first(vm, [&](int past) { out.push_back(vm.values[vm.slot(past)]); });
    return tab_value(std::move(out));
}

Value make_history_date_tab(const var_management& vm) {
    return dates_tab(vm, vm.dates);
}

Value make_history_rdate_tab(const var_management& vm) {
    return dates_tab(vm, vm.rdates);
}

Value make_history_val_map(const var_management& vm) {
    auto out = make_counted<map_t>();
    each_slot_oldest_first(vm, [&](int past) { (*out)[int_value(past)] = vm.values[vm.slot(past)]; });
    return Value::make<MapValue>(std::move(out));
}

Value make_history_date_map(const var_management& vm) {
    return by_date_map(vm, vm.dates);
}

Value make_history_rdate_map(const var_management& vm) {
    return by_date_map(vm, vm.rdates);
}
