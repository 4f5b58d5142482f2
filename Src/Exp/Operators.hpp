// Constants and operators in expression trees.
#pragma once

#include "Exp/Values.hpp"

// A constant with a shared payload, folded at score time. Each read gives a
// deep copy, so an action that updates its copy never changes the score.
class ScoreConstant : public LocalizedExpression {
public:
    ScoreConstant(const Value& v, const yy::location* loc = nullptr)
        : LocalizedExpression(loc)
        , value(v) {}
    Value value;

    ExpPtr clone() const override { return std::make_unique<ScoreConstant>(*this); }
    Value eval() const override { return value->deep_copy(); }
    ScoreEval eval_in_score() const override;
    bool auto_delimited() const override { return true; }
    void show(std::ostream& out, int) const override { value->show(out); }
    int etag() const override;
    int compare_with(const Expression* other) const override;
};

class UnaryExpression : public NonConstantExpression {
public:
    UnaryExpression(e_monop op, ExpPtr operand, const yy::location* loc = nullptr);
    UnaryExpression(const UnaryExpression& other);
    UnaryExpression& operator=(const UnaryExpression&) = delete;

    e_monop op;
    ExpPtr operand;

    ExpPtr clone() const override { return std::make_unique<UnaryExpression>(*this); }
    Value eval() const override;
    ScoreEval eval_in_score() const override;
    ExpPtr adjust_parameter(const UserFunction* f, const std::vector<std::string>& parameters) const override;
    void for_each_child(ChildVisitor visit) const override { visit(*operand); }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;
};

class BinaryExpression : public NonConstantExpression {
public:
    BinaryExpression(e_binop op, ExpPtr left, ExpPtr right, const yy::location* loc = nullptr);
    BinaryExpression(const BinaryExpression& other);
    BinaryExpression& operator=(const BinaryExpression&) = delete;

    e_binop op;
    ExpPtr left;
    ExpPtr right;

    // `left op right`, evaluating `right` only when the operator needs it.
    static Value combine(e_binop op, const TaggedValue& left, const Expression& right);
    // The same with a right operand already known.
    static Value combine_values(e_binop op, const TaggedValue& left, const TaggedValue& right);

    ExpPtr clone() const override { return std::make_unique<BinaryExpression>(*this); }
    Value eval() const override;
    ScoreEval eval_in_score() const override;
    ExpPtr adjust_parameter(const UserFunction* f, const std::vector<std::string>& parameters) const override;
    void for_each_child(ChildVisitor visit) const override;
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;
};

class IfExpression : public NonConstantExpression {
public:
    IfExpression(ExpPtr condition, ExpPtr then_part, ExpPtr else_part, const yy::location* loc = nullptr);
    IfExpression(const IfExpression& other);
    IfExpression& operator=(const IfExpression&) = delete;

    ExpPtr condition;
    ExpPtr then_part;
    ExpPtr else_part;

    ExpPtr clone() const override { return std::make_unique<IfExpression>(*this); }
    Value eval() const override;
    ScoreEval eval_in_score() const override;
    ExpPtr adjust_parameter(const UserFunction* f, const std::vector<std::string>& parameters) const override;
    void for_each_child(ChildVisitor visit) const override;
    bool auto_delimited() const override { return true; }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;
};

int binop_precedence(e_binop op);
