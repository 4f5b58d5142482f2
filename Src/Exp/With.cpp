#include "Exp/With.hpp"

#include "Exp/Expression.hpp"

#include <algorithm>
#include <ostream>

LetHelper::LetHelper(const std::vector<std::string>& names, const ExpressionList& written, ExpPtr body)
    : UserFunction("lethelper", names, std::move(body)) {
    exprs.reserve(written.size());
    for (const ExpPtr& e : written)
        exprs.push_back(e->adjust_parameter(this, parameters));
}

Value LetHelper::letapply() const {
    std::vector<Value> frame(static_cast<size_t>(arity));
    const std::vector<Value>* saved = current_args;
    current_args = &frame;
    for (size_t i = 0; i < exprs.size(); ++i)
        frame[i] = exprs[i]->eval();
    Value result = body ? body->eval() : undef_value();
    current_args = saved;
    return result;
}

WithExpression::WithExpression(std::vector<Binding> bindings, ExpPtr body, const yy::location* loc)
    : NonConstantExpression(loc)
    , written_body(std::move(body)) {
    for (auto& [var, e] : bindings) {
        names.push_back(var->name);
        written.push_back(std::move(e));
    }
    build_helper();
}

WithExpression::WithExpression(std::vector<std::string> n, ExpressionList w, ExpPtr body,
                               const yy::location* loc)
    : NonConstantExpression(loc)
    , names(std::move(n))
    , written(std::move(w))
    , written_body(std::move(body)) {
    build_helper();
}

WithExpression::WithExpression(const WithExpression& other)
    : NonConstantExpression(other)
    , names(other.names)
    , written(clone_list(other.written))
    , written_body(other.written_body->clone()) {
    build_helper();
}

void WithExpression::build_helper() {
    helper = std::make_unique<LetHelper>(names, written, written_body->clone());
}

// The names bound here hide the parameters of the enclosing function.
ExpPtr WithExpression::adjust_parameter(const UserFunction* f,
                                        const std::vector<std::string>& parameters) const {
    std::vector<std::string> visible = parameters;
    for (std::string& p : visible)
        if (std::find(names.begin(), names.end(), p) != names.end()) p.clear();
    ExpressionList adjusted;
    for (const ExpPtr& e : written)
        adjusted.push_back(e->adjust_parameter(f, visible));
    // The constructor that takes the names is private: no make_unique.
    return ExpPtr(
        new WithExpression(names, std::move(adjusted), written_body->adjust_parameter(f, visible), location));
}

void WithExpression::get_variables(VarSet& out) const {
    VarSet inner;
    for (const ExpPtr& e : written)
        e->get_variables(inner);
    written_body->get_variables(inner);
    for (const Var* v : inner)
        if (std::find(names.begin(), names.end(), v->name) == names.end()) out.insert(v);
}

// The written trees are children too: they are what copies are made from.
void WithExpression::for_each_child(ChildVisitor visit) const {
    visit_each(visit, written);
    visit(*written_body);
    visit_each(visit, helper->exprs);
    visit_if_any(visit, helper->body.get());
}

void WithExpression::set_env(Environment* env, const std::list<std::string>& locals, int level) const {
    for (const ExpPtr& e : helper->exprs)
        e->set_env(env, locals, level);
    if (helper->body) helper->body->set_env(env, locals, level);
}

void WithExpression::show(std::ostream& out, int precedence) const {
    if (precedence > 0) out << '(';
    out << "with ";
    for (size_t i = 0; i < names.size(); ++i) {
        if (i) out << " and ";
        out << names[i] << " := ";
        written[i]->show(out, 0);
    }
    out << " in ";
    written_body->show(out, 0);
    if (precedence > 0) out << ')';
}

int WithExpression::etag() const {
    static const int tag = new_etag();
    return tag;
}

int WithExpression::compare_with(const Expression* other) const {
    const auto* o = static_cast<const WithExpression*>(other);
    if (names != o->names) return names < o->names ? -1 : 1;
    if (const int c = compare_lists(written, o->written)) return c;
    return compare_nodes(written_body.get(), o->written_body.get());
}
