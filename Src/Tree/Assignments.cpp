#include "Tree/Assignments.hpp"

#include "Exp/Environment.hpp"
#include "Exp/Expression.hpp"
#include "Base/Console.hpp"

#include <ostream>

Assignment::Assignment(BuildContext* ctx, ExpPtr v, const CadDuration* d, AttributeList attl,
                       const yy::location* loc)
    : AtomicAction(ctx, "", d, std::move(attl), loc, "assign")
    , value(std::move(v)) {}

void Assignment::show_head(std::ostream& out) const {
    out << ' ';
    show_target(out);
    out << " := ";
    if (value) value->show(out, 0);
}

AssignmentAction::AssignmentAction(BuildContext* ctx, VarPtr t, ExpPtr v, const CadDuration* d,
                                   AttributeList attl, const yy::location* loc)
    : Assignment(ctx, std::move(v), d, std::move(attl), loc)
    , target(std::move(t)) {}

void AssignmentAction::show_target(std::ostream& out) const {
    if (target)
        target->show(out, 0);
    else
        out << '_';
}

std::vector<Expression*> AssignmentAction::own_expressions() const {
    return {target.get(), value.get()};
}

VarParamAssignmentAction::VarParamAssignmentAction(BuildContext* ctx, std::unique_ptr<VarParameter> t,
                                                   ExpPtr v, AttributeList attl, const yy::location* loc)
    : Assignment(ctx, std::move(v), nullptr, std::move(attl), loc)
    , target(std::move(t)) {}

void VarParamAssignmentAction::show_target(std::ostream& out) const {
    target->show(out, 0);
}

std::vector<Expression*> VarParamAssignmentAction::own_expressions() const {
    return {target.get(), value.get()};
}

LocalAssignment::LocalAssignment(BuildContext* ctx, ExpPtr o, const std::string& f, ExpPtr v,
                                 AttributeList attl, const yy::location* loc)
    : Assignment(ctx, std::move(v), nullptr, std::move(attl), loc)
    , object(std::move(o))
    , field(f) {}

void LocalAssignment::show_target(std::ostream& out) const {
    object->show(out, 0);
    out << '.' << field;
}

TabAssignment::TabAssignment(BuildContext* ctx, ExpPtr t, ExpressionList i, ExpPtr v, AttributeList attl,
                             const yy::location* loc)
    : Assignment(ctx, std::move(v), nullptr, std::move(attl), loc)
    , tab(std::move(t))
    , indices(std::move(i)) {}

void TabAssignment::show_target(std::ostream& out) const {
    tab->show(out, 0);
    out << '[';
    show_expressions(out, indices, ", ");
    out << ']';
}

std::vector<Expression*> TabAssignment::own_expressions() const {
    std::vector<Expression*> all{tab.get(), value.get()};
    append_views(all, indices);
    return all;
}

// ---- let ----

namespace {

ActionPtr not_assignable(const Expression* target) {
    error("Parse error: expression is not assignable '%s'", target ? target->show().c_str() : "");
    return nullptr;
}

} // namespace

// A variable (a `VarParameter` included) is the target itself: its class
// says so through is_a_var_param and is_a_variable, which give the node.
ActionPtr make_let_assignment(BuildContext* ctx, ExpPtr target, ExpPtr value, AttributeList attributes,
                              const yy::location* loc) {
    if (!target) return not_assignable(target.get());
    if (target->is_a_var_param())
        return std::make_unique<VarParamAssignmentAction>(ctx, adopt_as<VarParameter>(std::move(target)),
                                                          std::move(value), std::move(attributes), loc);
    if (target->is_a_variable() && target->dot_access_name().empty())
        return std::make_unique<AssignmentAction>(ctx, adopt_as<Var>(std::move(target)), std::move(value),
                                                  nullptr, std::move(attributes), loc);
    if (const ExpressionList* indices = target->tab_access_indices())
        return std::make_unique<TabAssignment>(ctx, target->head_access()->clone(), clone_list(*indices),
                                               std::move(value), std::move(attributes), loc);
    if (const std::string field = target->dot_access_name(); !field.empty()) {
        if (!target->head_access())
            return std::make_unique<AssignmentAction>(ctx, std::make_unique<Var>(ctx->eval, field, loc),
                                                      std::move(value), nullptr, std::move(attributes), loc);
        return std::make_unique<LocalAssignment>(ctx, target->head_access()->clone(), field, std::move(value),
                                                 std::move(attributes), loc);
    }
    return not_assignable(target.get());
}

// ---- declarations ----

ActionDeclaration::ActionDeclaration(BuildContext* ctx, std::vector<VarPtr> v, std::vector<int> h,
                                     const yy::location* loc, const char* base)
    : Action(ctx, "", nullptr, {}, loc, base)
    , vars(std::move(v))
    , histories(std::move(h)) {
    histories.resize(vars.size(), -1);
}

void ActionDeclaration::show_head(std::ostream& out) const {
    for (size_t i = 0; i < vars.size(); ++i) {
        out << (i ? ", " : " ");
        if (histories[i] >= 0) out << histories[i] << ':';
        out << vars[i]->name;
    }
}

std::vector<Expression*> ActionDeclaration::own_expressions() const {
    std::vector<Expression*> all;
    append_views(all, vars);
    return all;
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

namespace {

std::vector<VarPtr> one_var(VarPtr var) {
    std::vector<VarPtr> list;
    list.push_back(std::move(var));
    return list;
}

} // namespace

TempoDec::TempoDec(BuildContext* ctx, VarPtr var, double t, double s, const yy::location* loc)
    : ActionDeclaration(ctx, one_var(std::move(var)), {-1}, loc, "tempovar")
    , tempo(t)
    , step(s) {}

void TempoDec::show_head(std::ostream& out) const {
    out << ' ' << vars.front()->name << '(' << tempo << ", " << step << ')';
}

void TempoDec::set_env(Environment* env, const std::list<std::string>& locals, int level) {
    Var* var = vars.front().get();
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
