#include "Tree/Assignments.hpp"

#include "Exp/Environment.hpp"
#include "Exp/Expression.hpp"
#include "Base/Console.hpp"

#include <ostream>

Assignment::Assignment(BuildContext* ctx, Expression* v, const CadDuration* d, AttributeList* attl,
                       const yy::location* loc)
    : AtomicAction(ctx, "", d, attl, loc, "assign")
    , value(v) {}

Assignment::~Assignment() {
    delete value;
}

void Assignment::show_head(std::ostream& out) const {
    out << ' ';
    show_target(out);
    out << " := ";
    if (value) value->show(out, 0);
}

AssignmentAction::AssignmentAction(BuildContext* ctx, Var* t, Expression* v, const CadDuration* d,
                                   AttributeList* attl, const yy::location* loc)
    : Assignment(ctx, v, d, attl, loc)
    , target(t) {}

AssignmentAction::~AssignmentAction() {
    delete target;
}

void AssignmentAction::show_target(std::ostream& out) const {
    if (target)
        target->show(out, 0);
    else
        out << '_';
}

std::vector<Expression*> AssignmentAction::own_expressions() const {
    return {target, value};
}

VarParamAssignmentAction::VarParamAssignmentAction(BuildContext* ctx, VarParameter* t, Expression* v,
                                                   AttributeList* attl, const yy::location* loc)
    : Assignment(ctx, v, nullptr, attl, loc)
    , target(t) {}

VarParamAssignmentAction::~VarParamAssignmentAction() {
    delete target;
}

void VarParamAssignmentAction::show_target(std::ostream& out) const {
    target->show(out, 0);
}

std::vector<Expression*> VarParamAssignmentAction::own_expressions() const {
    return {target, value};
}

LocalAssignment::LocalAssignment(BuildContext* ctx, Expression* o, const std::string& f, Expression* v,
                                 AttributeList* attl, const yy::location* loc)
    : Assignment(ctx, v, nullptr, attl, loc)
    , object(o)
    , field(f) {}

LocalAssignment::~LocalAssignment() {
    delete object;
}

void LocalAssignment::show_target(std::ostream& out) const {
    object->show(out, 0);
    out << '.' << field;
}

TabAssignment::TabAssignment(BuildContext* ctx, Expression* t, ExpressionList i, Expression* v,
                             AttributeList* attl, const yy::location* loc)
    : Assignment(ctx, v, nullptr, attl, loc)
    , tab(t)
    , indices(std::move(i)) {}

TabAssignment::~TabAssignment() {
    delete tab;
}

void TabAssignment::show_target(std::ostream& out) const {
    tab->show(out, 0);
    out << '[';
    show_expressions(out, indices, ", ");
    out << ']';
}

std::vector<Expression*> TabAssignment::own_expressions() const {
    std::vector<Expression*> all{tab, value};
    append_views(all, indices);
    return all;
}

// ---- let ----

namespace {

Action* not_assignable(Expression* target, Expression* value, AttributeList* attributes) {
    error("Parse error: expression is not assignable '%s'", target ? target->show().c_str() : "");
    delete target;
    delete value;
    delete_attributes(attributes);
    return nullptr;
}

} // namespace

Action* make_let_assignment(BuildContext* ctx, Expression* target, Expression* value,
                            AttributeList* attributes, const yy::location* loc) {
    if (!target) return not_assignable(target, value, attributes);
    if (target->is_a_var_param())
        return new VarParamAssignmentAction(ctx, static_cast<VarParameter*>(target), value, attributes,
                                            loc);
    if (const Var* var = target->is_a_variable(); var && target->dot_access_name().empty())
        return new AssignmentAction(ctx, const_cast<Var*>(var), value, nullptr, attributes, loc);
    if (const ExpressionList* indices = target->tab_access_indices()) {
        Expression* tab = target->head_access()->clone().release();
        ExpressionList copied = clone_list(*indices);
        delete target;
        return new TabAssignment(ctx, tab, std::move(copied), value, attributes, loc);
    }
    if (const std::string field = target->dot_access_name(); !field.empty()) {
        Expression* object = target->head_access() ? target->head_access()->clone().release() : nullptr;
        delete target;
        if (!object)
            return new AssignmentAction(ctx, new Var(ctx->eval, field, loc), value, nullptr, attributes, loc);
        return new LocalAssignment(ctx, object, field, value, attributes, loc);
    }
    return not_assignable(target, value, attributes);
}

// ---- declarations ----

ActionDeclaration::ActionDeclaration(BuildContext* ctx, std::vector<Var*> v, std::vector<int> h,
                                     const yy::location* loc, const char* base)
    : Action(ctx, "", nullptr, nullptr, loc, base)
    , vars(std::move(v))
    , histories(std::move(h)) {
    histories.resize(vars.size(), -1);
}

ActionDeclaration::~ActionDeclaration() {
    for (Var* v : vars)
        delete v;
}

void ActionDeclaration::show_head(std::ostream& out) const {
    for (size_t i = 0; i < vars.size(); ++i) {
        out << (i ? ", " : " ");
        if (histories[i] >= 0) out << histories[i] << ':';
        out << vars[i]->name;
    }
}

std::vector<Expression*> ActionDeclaration::own_expressions() const {
    return {vars.begin(), vars.end()};
}

// A global declaration defines its variables in the global environment,
// with the history asked, whatever the scope it is written in.
void GlobalDec::set_env(Environment* env, const std::list<std::string>&, int) {
    Environment* global = env ? env->global() : nullptr;
    if (!global) return;
    for (size_t i = 0; i < vars.size(); ++i) {
        global->define_var(vars[i]->name, histories[i], undef_value());
        vars[i]->set_env(global, {}, GLOBAL_SCOPE_LEVEL);
    }
}

TempoDec::TempoDec(BuildContext* ctx, Var* var, double t, double s, const yy::location* loc)
    : ActionDeclaration(ctx, {var}, {-1}, loc, "tempovar")
    , tempo(t)
    , step(s) {}

void TempoDec::show_head(std::ostream& out) const {
    out << ' ' << vars.front()->name << '(' << tempo << ", " << step << ')';
}

void TempoDec::set_env(Environment* env, const std::list<std::string>& locals, int level) {
    Var* var = vars.front();
    const bool unbound = var->vm_index == Var::NO_INDEX;
    ActionDeclaration::set_env(env, locals, level);
    if (!unbound || var->vm_index == Var::NO_INDEX) return;
    var_management* vm = env->get_vm(var->name);
    if (!vm) {
        error("Bad internal error in tempovar.");
        post_location();
        return;
    }
    if (vm->tempo_var) return;
    vm->tempo_var = std::make_unique<TempoVar>(env->ctx ? env->ctx->make_tempo_oscillator() : nullptr);
    vm->tempo_var->set_tempo(tempo);
    vm->tempo_var->score_step = step;
}
