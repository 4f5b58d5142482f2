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

    Expression* clone() const override { return new ScoreConstant(*this); }
    Value eval() const override { return value->deep_copy(); }
    ScoreEval eval_in_score() const override;
    bool auto_delimited() const override { return true; }
    void show(std::ostream& out, int) const override { value->show(out); }
    int etag() const override;
    int compare_with(const Expression* other) const override;
};

class UnaryExpression : public NonConstantExpression {
public:
    UnaryExpression(e_monop op, Expression* operand, const yy::location* loc = nullptr);
    UnaryExpression(const UnaryExpression& other);
    UnaryExpression& operator=(const UnaryExpression&) = delete;
    ~UnaryExpression() override { delete operand; }

    e_monop op;
    Expression* operand;

    Expression* clone() const override { return new UnaryExpression(*this); }
    Value eval() const override;
    ScoreEval eval_in_score() const override;
    Expression* adjust_parameter(const UserFunction* f,
                                 const std::vector<std::string>& parameters) const override;
    void for_each_child(ChildVisitor visit) const override { visit(*operand); }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;
};

class BinaryExpression : public NonConstantExpression {
public:
    BinaryExpression(e_binop op, Expression* left, Expression* right, const yy::location* loc = nullptr);
    BinaryExpression(const BinaryExpression& other);
    BinaryExpression& operator=(const BinaryExpression&) = delete;
    ~BinaryExpression() override;

    e_binop op;
    Expression* left;
    Expression* right;

    // `left op right`, evaluating `right` only when the operator needs it.
    static Value combine(e_binop op, const TaggedValue& left, const Expression& right);
    // The same with a right operand already known.
    static Value combine_values(e_binop op, const TaggedValue& left, const TaggedValue& right);

    Expression* clone() const override { return new BinaryExpression(*this); }
    Value eval() const override;
    ScoreEval eval_in_score() const override;
    Expression* adjust_parameter(const UserFunction* f,
                                 const std::vector<std::string>& parameters) const override;
    void for_each_child(ChildVisitor visit) const override;
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;
};

class IfExpression : public NonConstantExpression {
public:
    IfExpression(Expression* condition, Expression* then_part, Expression* else_part,
                 const yy::location* loc = nullptr);
    IfExpression(const IfExpression& other);
    IfExpression& operator=(const IfExpression&) = delete;
    ~IfExpression() override;

    Expression* condition;
    Expression* then_part;
    Expression* else_part;

    Expression* clone() const override { return new IfExpression(*this); }
    Value eval() const override;
    ScoreEval eval_in_score() const override;
    Expression* adjust_parameter(const UserFunction* f,
                                 const std::vector<std::string>& parameters) const override;
    void for_each_child(ChildVisitor visit) const override;
    bool auto_delimited() const override { return true; }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;
};

int binop_precedence(e_binop op);
