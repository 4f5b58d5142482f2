#include "Exp/Var.hpp"

#include "Exp/Environment.hpp"
#include "Exp/Function.hpp"
#include "Base/Console.hpp"
#include "Exp/EvalContext.hpp"

#include <algorithm>
#include <cmath>
#include <ostream>

namespace {

bool is_clock_variable(const std::string& name) {
    return name == NOW_VAR || name == RNOW_VAR || name == RCNOW_VAR;
}

// The history length that a static `[n#]:` asks for, or -1.
int static_history_length(const Expression* index) {
    if (!index) return -1;
    const ScoreEval known = index->eval_in_score();
    if (known.variability != VARIABILITY_STATIC || !known.value->is_numeric()) return -1;
    return static_cast<int>(std::max(0L, known.value->get_int()));
}

} // namespace

Var::Var(EvalContext* engine, const std::string& var_name, const yy::location* loc)
    : Reference(engine, var_name, loc) {}

Var::Var(EvalContext* engine, const std::string& var_name, ExpPtr index, const yy::location* loc)
    : Reference(engine, var_name, loc)
    , history_index(std::move(index)) {}

Var::Var(EvalContext* engine, const std::string& var_name, ExpPtr date, duration_type unit,
         const yy::location* loc)
    : Reference(engine, var_name, loc)
    , history_date(std::move(date))
    , history_unit(unit) {}

Var::Var(const Var& other)
    : Reference(other)
    , vm_index(other.vm_index)
    , depth(other.depth)
    , dynamic(other.dynamic)
    , is_resolved(other.is_resolved)
    , history_index(clone_or_null(other.history_index))
    , history_date(clone_or_null(other.history_date))
    , history_unit(other.history_unit) {}

Environment* Var::my_env() const {
    if (!ctx) return nullptr;
    if (depth < 0) return ctx->global_env();
    std::vector<Environment*>* stack = &ctx->env_stack();
    if (!stack || stack->size() <= static_cast<std::size_t>(depth)) {
        error("Undefined dynamic variable '%s' in current envs [DE1]", name.c_str());
        return ctx->global_env();
    }
    return (*stack)[stack->size() - 1 - static_cast<std::size_t>(depth)];
}

var_management* Var::thisVM() const {
    if (dynamic) {
        Environment* env = my_dynamic_env(ctx, uid);
        if (!env) {
            error("Undefined dynamic variable '%s' in current envs [DE2]", name.c_str());
            return nullptr;
        }
        return env->get_vm(uid);
    }
    if (vm_index == NO_INDEX) return nullptr;
    Environment* env = my_env();
    return env ? env->get_vm(vm_index) : nullptr;
}

double Var::history_delay() const {
    const Value d = history_date->eval();
    if (d->is_numeric()) return d->get_double();
    error("Bad duration %s", show_text(*d).c_str());
    return std::nan("");
}

Value Var::eval() const {
    var_management* vm = thisVM();
    if (!vm) return undef_value();
    Environment* env = vm->env;
    if (history_index) {
        if (!vm->initialised())
            return env->get_unitialized_var(*vm, static_cast<int>(eval_int(history_index.get())), true,
                                            location);
        return vm->last(static_cast<int>(eval_int(history_index.get())));
    }
    if (history_date) return env->get_var(*vm, history_delay(), history_unit, location);
    if (!vm->initialised()) return env->get_unitialized_var(*vm, 0, true, location);
    return vm->newest();
}

// Only the tempo is known at score time, at its initial value.
ScoreEval Var::eval_in_score() const {
    if (name == RT_TEMPO_VAR) return {VARIABILITY_SCORE_TIME, float_value(60.0)};
    return {VARIABILITY_DYNAMIC, undef_value()};
}

void Var::set_var(const TaggedValue& v) const {
    if (dynamic) {
        Environment* env = my_dynamic_env(ctx, uid);
        if (env)
            env->set_var(uid, v);
        else
            error("Undefined dynamic variable '%s' in current envs [DE2]", name.c_str());
        return;
    }
    if (vm_index != NO_INDEX) {
        if (Environment* env = my_env()) env->set_var(vm_index, v);
        return;
    }
    error("Cannot assign special var '%s'", name.c_str());
    report_location("bad assignment", location);
}

void Var::for_each_child(ChildVisitor visit) const {
    visit_if_any(visit, history_index.get());
    visit_if_any(visit, history_date.get());
}

void Var::set_env(Environment* env, const std::list<std::string>& locals, int level) const {
    Expression::set_env(env, locals, level);
    if (vm_index != NO_INDEX || dynamic || !env) return;
    if (history_index && is_clock_variable(name)) {
        error("Error: variable %s cannot be delayed: delay ignored", name.c_str());
        report_location("", location);
        history_index.reset();
    }
    const int history = static_history_length(history_index.get());
    if (level < 0) {
        vm_index = env->define_var(uid, history, undef_value());
        depth = -1;
        return;
    }
    if (std::find(locals.begin(), locals.end(), name) == locals.end()) return;
    vm_index = env->define_var(uid, history, undef_value());
    depth = level;
}

ExpPtr Var::adjust_parameter(const UserFunction* f, const std::vector<std::string>& parameters) const {
    const auto found = std::find(parameters.begin(), parameters.end(), name);
    if (found == parameters.end()) return clone();
    return std::make_unique<Parameter>(*this, f, static_cast<std::size_t>(found - parameters.begin()));
}

void Var::get_variables(VarSet& out) const {
    out.insert(this);
    Expression::get_variables(out);
}

void Var::change_var_name(const std::string& from, const std::string& to) {
    Expression::change_var_name(from, to);
    if (name != from) return;
    name = to;
    uid = unique_id(to);
    vm_index = NO_INDEX;
}

void Var::show(std::ostream& out, int) const {
    if (history_index) {
        out << "[";
        history_index->show(out, 0);
        out << "#]:";
    } else if (history_date) {
        out << "[";
        history_date->show(out, 0);
        // Score text keeps the number apart from its unit: "3s" would read as a float.
        if (history_unit == DURATION_SECONDS) out << (show_as_score_text(out) ? " s" : "s");
        out << "]:";
    }
    out << name;
}

int Var::etag() const {
    static const int tag = new_etag();
    return tag;
}

int Var::compare_with(const Expression* other) const {
    const auto* o = static_cast<const Var*>(other);
    if (const int c = name.compare(o->name)) return c;
    if (const int c = compare_nodes(history_index.get(), o->history_index.get())) return c;
    if (const int c = compare_nodes(history_date.get(), o->history_date.get())) return c;
    return history_unit - o->history_unit;
}

bool CompareVarPtr::operator()(const Var* a, const Var* b) const {
    return a->name < b->name;
}

VarParameter::VarParameter(const Var& var, PARAM p)
    : Var(var)
    , param(p) {}

Value VarParameter::eval() const {
    var_management* vm = thisVM();
    return vm ? vm->get_param(param) : undef_value();
}

void VarParameter::set_var(const TaggedValue& v) const {
    if (var_management* vm = thisVM()) vm->set_vm_param(param, v);
}

void VarParameter::show(std::ostream& out, int precedence) const {
    static const char* const words[] = {"tempo", "period", "position", "rnow", "rcnow"};
    Var::show(out, precedence);
    out << "." << words[param];
}

int VarParameter::etag() const {
    static const int tag = new_etag();
    return tag;
}

ExpPtr MakeVarParameter(EvalContext*, ExpPtr expression, const std::string& word, const yy::location* loc) {
    static const std::pair<const char*, PARAM> words[] = {
        {"tempo", PARAM_TEMPO},       {"frequency", PARAM_TEMPO}, {"period", PARAM_PERIOD},
        {"position", PARAM_POSITION}, {"rnow", PARAM_RNOW},       {"rcnow", PARAM_RCNOW}};
    const Var* var = expression ? expression->is_a_variable() : nullptr;
    if (!var) {
        error("Only variable expected in var.tempo_parameter");
        report_location("", loc);
        return std::make_unique<UndefValue>();
    }
    for (const auto& [w, param] : words)
        if (word == w) return std::make_unique<VarParameter>(*var, param);
    error("Error in construction 'expression . identifier' : unrecognized identifier '%s'", word.c_str());
    report_location("", loc);
    return std::make_unique<UndefValue>();
}

Parameter::Parameter(const Var& var, const UserFunction* f, std::size_t pos)
    : Var(var)
    , function(f)
    , position(pos) {}

Value Parameter::eval() const {
    static const std::vector<Value> no_frame;
    const std::vector<Value>& frame = function && function->current_args ? *function->current_args : no_frame;
    return frame.at(position);
}

int Parameter::etag() const {
    static const int tag = new_etag();
    return tag;
}

Value TestVariableUnitialized::eval() const {
    const var_management* vm = thisVM();
    if (!vm || vm->last_event_index < 0) return bool_value(true);
    return bool_value(vm->newest()->is_undef());
}

ScoreEval TestVariableUnitialized::eval_in_score() const {
    return {VARIABILITY_DYNAMIC, undef_value()};
}

void TestVariableUnitialized::show(std::ostream& out, int) const {
    out << "@is_undef(";
    Var::show(out, 0);
    out << ")";
}

int TestVariableUnitialized::etag() const {
    static const int tag = new_etag();
    return tag;
}

namespace {

Value myself(const SpecialVariable& v) {
    return v.ctx ? v.ctx->ambient_exe(v.ambient) : exe_value(0);
}

const std::pair<const char*, SpecialVariable::Compute> special_variables[] = {{"$MYSELF", myself}};

} // namespace

SpecialVariable::SpecialVariable(EvalContext* engine, const std::string& var_name, Compute fn,
                                 const yy::location* loc)
    : Var(engine, var_name, loc)
    , compute(fn) {}

VarPtr SpecialVariable::make_variable(EvalContext* engine, const std::string& var_name,
                                      const yy::location* loc) {
    for (const auto& [special, fn] : special_variables)
        if (var_name == special) return std::make_unique<SpecialVariable>(engine, var_name, fn, loc);
    return std::make_unique<Var>(engine, var_name, loc);
}

ScoreEval SpecialVariable::eval_in_score() const {
    return {VARIABILITY_DYNAMIC, undef_value()};
}

int SpecialVariable::etag() const {
    static const int tag = new_etag();
    return tag;
}
