#include "Exp/Expression.hpp"

#include "Exp/Environment.hpp"
#include "Exp/Function.hpp"
#include "Base/Console.hpp"
#include "Exp/EvalContext.hpp"

#include <atomic>
#include <sstream>
#include <typeinfo>

int Expression::new_etag() {
    static std::atomic<int> next{1};
    return next++;
}

Value Expression::eval_with_current_pos(double) const {
    return eval();
}

ScoreEval Expression::eval_in_score() const {
    return {VARIABILITY_DYNAMIC, undef_value()};
}

ExpPtr Expression::adjust_parameter(const UserFunction*, const std::vector<std::string>&) const {
    return clone();
}

void Expression::for_each_child(ChildVisitor) const {}

void Expression::get_variables(VarSet& out) const {
    for_each_child([&](Expression& child) { child.get_variables(out); });
}

void Expression::change_var_name(const std::string& from, const std::string& to) {
    for_each_child([&](Expression& child) { child.change_var_name(from, to); });
}

void Expression::set_env(Environment* env, const std::list<std::string>& locals, int level) const {
    for_each_child([&](Expression& child) { child.set_env(env, locals, level); });
}

void Expression::set_ambiant_action(const Action* action) {
    for_each_child([&](Expression& child) { child.set_ambiant_action(action); });
}

void Expression::set_parent(Bloc* parent) {
    for_each_child([&](Expression& child) { child.set_parent(parent); });
}

int Expression::compare(const Expression& o) const {
    if (etag() != o.etag()) return etag() - o.etag();
    return compare_with(&o);
}

ExpPtr Expression::reduce_static() const {
    ScoreEval known = eval_in_score();
    if (known.variability != VARIABILITY_STATIC) return nullptr;
    if (known.value->garbageable()) return std::make_unique<ScoreConstant>(known.value, scloc());
    return known.value->clone();
}

int Expression::variability() const {
    return eval_in_score().variability;
}

void Expression::finalize(Expression* e, EvalContext* ctx) {
    if (!e || !ctx) return;
    e->set_env(ctx->global_env(), {}, GLOBAL_SCOPE_LEVEL);
}

ExpPtr Expression::make_is_undef(EvalContext* ctx, ExpPtr e, const yy::location* loc) {
    const Var* var = e ? e->is_a_variable() : nullptr;
    if (var && typeid(*var) == typeid(Var)) return std::make_unique<TestVariableUnitialized>(*var);
    Value f = get_functional_value_from_name(ctx, "@is_undef", loc);
    return std::make_unique<CallExpression>(f->clone(), expression_list(std::move(e)),
                                            ctx ? ctx->global_env() : nullptr, loc);
}

void Expression::report_failed_evaluation() const {
    std::ostringstream text;
    show(text, 0);
    post("Error evaluating '%s'", text.str().c_str());
    if (scloc()) post_location("", scloc());
}

ExpressionList clone_list(const ExpressionList& list) {
    ExpressionList copy;
    copy.reserve(list.size());
    for (const ExpPtr& e : list)
        copy.push_back(clone_or_null(e));
    return copy;
}

void visit_if_any(const ChildVisitor& visit, Expression* e) {
    if (e) visit(*e);
}

void visit_each(const ChildVisitor& visit, const ExpressionList& list) {
    for (const ExpPtr& e : list)
        visit(*e);
}

void visit_each(const ChildVisitor& visit, const std::vector<Expression*>& list) {
    for (Expression* e : list)
        visit(*e);
}

int compare_nodes(const Expression* a, const Expression* b) {
    if (!a || !b) return (a != nullptr) - (b != nullptr);
    return a->compare(*b);
}

int compare_lists(const ExpressionList& a, const ExpressionList& b) {
    if (a.size() != b.size()) return a.size() > b.size() ? 1 : -1;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (const int c = compare_nodes(a[i].get(), b[i].get())) return c;
    return 0;
}

ExpPtr reduce_static(ExpPtr e) {
    if (!e) {
        if (scoped_error_count() == 0) error("syntax error (unlocalized, please report)");
        return std::make_unique<UndefValue>();
    }
    ExpPtr folded = e->reduce_static();
    return folded ? std::move(folded) : std::move(e);
}

ExpPtr make_neg(ExpPtr e) {
    const TaggedValue* v = e ? e->is_value() : nullptr;
    if (v && v->is_int()) return std::make_unique<IntValue>(-v->get_int());
    if (v && v->is_double()) return std::make_unique<FloatValue>(0.0 - v->get_double());
    const yy::location* loc = e ? e->scloc() : nullptr;
    return std::make_unique<UnaryExpression>(OP_NEG, std::move(e), loc);
}
