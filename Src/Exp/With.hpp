// "with $x := e1 and $y := e2 in body": local bindings in an expression. The
// bindings are the parameters of a hidden function, evaluated in order (a
// binding may read those before it), then the body.
#pragma once

#include "Exp/Function.hpp"
#include "Exp/Var.hpp"

#include <utility>

class LetHelper : public UserFunction {
public:
    // Closes `exprs` and `body` over `names` (the trees are consumed).
    LetHelper(const std::vector<std::string>& names, const ExpressionList& exprs, ExpPtr body);

    // Binds each name in order, then evaluates the body.
    Value letapply() const;

    ExpressionList exprs;
};

class WithExpression : public NonConstantExpression {
public:
    using Binding = std::pair<std::unique_ptr<Var>, ExpPtr>;
    // Takes the variables (only their names are kept), their expressions and the body.
    WithExpression(std::vector<Binding> bindings, ExpPtr body, const yy::location* loc = nullptr);
    WithExpression(const WithExpression& other);
    WithExpression& operator=(const WithExpression&) = delete;

    ExpPtr clone() const override { return std::make_unique<WithExpression>(*this); }
    Value eval() const override { return helper->letapply(); }
    ExpPtr adjust_parameter(const UserFunction* f, const std::vector<std::string>& parameters) const override;
    // The trees as written, then their closed form in the helper.
    void for_each_child(ChildVisitor visit) const override;
    // Those of the written trees, but the names bound here.
    void get_variables(VarSet& out) const override;
    // Only the closed form is evaluated: in the written trees the bound
    // names would be taken for variables of the environment.
    void set_env(Environment* env, const std::list<std::string>& locals, int level) const override;
    bool auto_delimited() const override { return false; }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;

    // The bindings and the body as written; the helper holds their closed form.
    std::vector<std::string> names;
    ExpressionList written;
    ExpPtr written_body;
    std::unique_ptr<LetHelper> helper;

private:
    WithExpression(std::vector<std::string> names, ExpressionList written, ExpPtr body,
                   const yy::location* loc);
    void build_helper();
};
