// The root of expression trees. A tree is built by the parser, folded at
// score-reading time (`eval_in_score`, `reduce_static`) and evaluated at run
// time (`eval`) in the environment of the action that holds it. Values are
// the leaves (see Values.hpp). A node owns its subexpressions through
// `ExpPtr`; what builds or copies a tree hands it over the same way.
#pragma once

#include "Exp/ExpTypes.hpp"
#include "Exp/FunctionRef.hpp"
#include "Base/Location.hpp"
#include "Base/ASTNode.hpp"

#include <list>
#include <memory>
#include <set>
#include <string>
#include <vector>

class Value;
class TaggedValue;
class Expression;
class Environment;
class UserFunction;
class Var;
class Action;
class Bloc;
class EvalContext;
struct ScoreEval;

// Variables of an expression, each name once.
struct CompareVarPtr {
    bool operator()(const Var* a, const Var* b) const;
};
using VarSet = std::set<const Var*, CompareVarPtr>;
using ExpPtr = std::unique_ptr<Expression>;
// The subexpressions a node owns, in the order they are written.
using ExpressionList = std::vector<ExpPtr>;
using ChildVisitor = FunctionRef<void(Expression&)>;

class Expression : public ASTNode {
public:
    using ASTNode::show;
    ~Expression() override = default;

    // A deep copy of the tree.
    virtual ExpPtr clone() const = 0;
    virtual const yy::location* scloc() const { return nullptr; }
    virtual Value eval() const = 0;
    virtual Value eval_with_current_pos(double position) const;
    virtual ScoreEval eval_in_score() const;
    virtual const TaggedValue* is_value() const { return nullptr; }
    virtual bool is_a_value() const { return false; }
    // A copy of the tree where the names of `parameters` read the arguments of `f`.
    virtual ExpPtr adjust_parameter(const UserFunction* f, const std::vector<std::string>& parameters) const;

    // Calls `visit` on each direct subexpression, in the order they are
    // written. The walks below go down the tree through it; a node overrides
    // a walk only to do something of its own there.
    virtual void for_each_child(ChildVisitor visit) const;
    virtual void get_variables(VarSet& out) const;
    virtual void change_var_name(const std::string& from, const std::string& to);
    // Binds the variables met in the tree; `level` is GLOBAL_SCOPE_LEVEL at the outermost scope.
    virtual void set_env(Environment* env, const std::list<std::string>& locals, int level) const;
    virtual void set_ambiant_action(const Action* action);
    virtual void set_parent(Bloc* parent);

    // For assignment targets `$t[i, j]`: the head and the indices.
    virtual const Expression* head_access() const { return nullptr; }
    virtual std::string dot_access_name() const { return {}; }
    virtual const ExpressionList* tab_access_indices() const { return nullptr; }
    virtual const Var* is_a_variable() const { return nullptr; }
    virtual bool is_a_var_param() const { return false; }
    // Whether `show` needs no parentheses around this node.
    virtual bool auto_delimited() const { return false; }
    virtual void show(std::ostream& out, int precedence) const = 0;
    void show(std::ostream& out) const override { show(out, 0); }
    // One number per class, for structural comparison.
    virtual int etag() const = 0;
    // Structural comparison with a node of the same class: sign of this minus other.
    virtual int compare_with(const Expression* other) const = 0;

    bool operator<(const Expression& o) const { return compare(o) < 0; }
    bool operator<=(const Expression& o) const { return compare(o) <= 0; }
    bool operator>(const Expression& o) const { return compare(o) > 0; }
    bool operator>=(const Expression& o) const { return compare(o) >= 0; }
    bool operator==(const Expression& o) const { return compare(o) == 0; }
    bool operator!=(const Expression& o) const { return compare(o) != 0; }
    int compare(const Expression& o) const;

    // The constant this tree folds to, as a new node, or null when it is not
    // constant (the caller keeps the tree).
    ExpPtr reduce_static() const;
    int variability() const;

    // Defines, globally, every variable that `e` meets.
    static void finalize(Expression* e, EvalContext* ctx);
    static ExpPtr make_is_undef(EvalContext* ctx, ExpPtr e, const yy::location* loc);

    // After an error met in evaluating this expression: prints the
    // expression and where it is written.
    void report_failed_evaluation() const;

    static int new_etag();
};

// An expression that knows where it was written.
class LocalizedExpression : public Expression {
public:
    explicit LocalizedExpression(const yy::location* loc = nullptr)
        : location(loc) {}
    const yy::location* scloc() const override { return location; }
    void set_location(const yy::location* loc) { location = loc; }

protected:
    const yy::location* location; // not owned: locations stay with the reading
};

class NonConstantExpression : public LocalizedExpression {
public:
    using LocalizedExpression::LocalizedExpression;
};

// Helpers for the many recursive operations of composite nodes.

// A deep copy of `node` with its own static type; null for null. Every node
// clones to its own class, so the cast back is safe.
template <class T>
std::unique_ptr<T> clone_or_null(const T* node) {
    if (!node) return nullptr;
    return std::unique_ptr<T>(static_cast<T*>(node->clone().release()));
}
template <class T>
std::unique_ptr<T> clone_or_null(const std::unique_ptr<T>& node) {
    return clone_or_null(node.get());
}
// Takes over a node known to be a `T` (the caller has checked its class).
template <class T>
std::unique_ptr<T> adopt_as(ExpPtr node) {
    return std::unique_ptr<T>(static_cast<T*>(node.release()));
}
ExpressionList clone_list(const ExpressionList& list);
// A list made of the nodes given, in order.
template <class... Nodes>
ExpressionList expression_list(Nodes... nodes) {
    ExpressionList list;
    list.reserve(sizeof...(nodes));
    (list.push_back(std::move(nodes)), ...);
    return list;
}
int compare_nodes(const Expression* a, const Expression* b);
int compare_lists(const ExpressionList& a, const ExpressionList& b);
// For `for_each_child`: a child that may be absent, and a list of children.
void visit_if_any(const ChildVisitor& visit, Expression* e);
void visit_each(const ChildVisitor& visit, const ExpressionList& list);
void visit_each(const ChildVisitor& visit, const std::vector<Expression*>& list);
