#include "Exp/Operators.hpp"

#include "Exp/Reference.hpp"
#include "Base/Console.hpp"

#include <algorithm>
#include <ostream>

int binop_precedence(e_binop op) {
    switch (op) {
    case OP_OR:
        return 1;
    case OP_AND:
        return 2;
    case OP_EQ:
        return 11;
    case OP_NE:
        return 12;
    case OP_LT:
        return 13;
    case OP_LE:
        return 14;
    case OP_GT:
        return 15;
    case OP_GE:
        return 16;
    case OP_MINUS:
        return 20;
    case OP_PLUS:
        return 21;
    case OP_MOD:
        return 22;
    case OP_DIV:
        return 23;
    case OP_TIMES:
        return 24;
    }
    return 0;
}

ScoreEval ScoreConstant::eval_in_score() const {
    return {VARIABILITY_STATIC, value->deep_copy()};
}

int ScoreConstant::etag() const {
    static const int tag = new_etag();
    return tag;
}

int ScoreConstant::compare_with(const Expression* other) const {
    return vcompare(static_cast<const ScoreConstant*>(other)->value, value);
}

UnaryExpression::UnaryExpression(e_monop o, ExpPtr e, const yy::location* loc)
    : NonConstantExpression(loc)
    , op(o)
    , operand(std::move(e)) {}

UnaryExpression::UnaryExpression(const UnaryExpression& other)
    : NonConstantExpression(other)
    , op(other.op)
    , operand(other.operand->clone()) {}

Value UnaryExpression::eval() const {
    return operand->eval()->execute(op);
}

ScoreEval UnaryExpression::eval_in_score() const {
    ScoreEval known = operand->eval_in_score();
    if (known.variability == VARIABILITY_DYNAMIC) return known;
    return {known.variability, known.value->execute(op)};
}

ExpPtr UnaryExpression::adjust_parameter(const UserFunction* f,
                                         const std::vector<std::string>& params) const {
    return std::make_unique<UnaryExpression>(op, operand->adjust_parameter(f, params), location);
}

// A prefix operator binds tightest: any compound operand gets parentheses.
void UnaryExpression::show(std::ostream& out, int) const {
    out << monop_to_string(op);
    if (operand->auto_delimited()) {
        operand->show(out, 0);
        return;
    }
    out << "(";
    operand->show(out, 0);
    out << ")";
}

int UnaryExpression::etag() const {
    static const int tag = new_etag();
    return tag;
}

int UnaryExpression::compare_with(const Expression* other) const {
    const auto* o = static_cast<const UnaryExpression*>(other);
    if (op != o->op) return op - o->op;
    return compare_nodes(operand.get(), o->operand.get());
}

BinaryExpression::BinaryExpression(e_binop o, ExpPtr l, ExpPtr r, const yy::location* loc)
    : NonConstantExpression(loc)
    , op(o)
    , left(std::move(l))
    , right(std::move(r)) {}

BinaryExpression::BinaryExpression(const BinaryExpression& other)
    : NonConstantExpression(other)
    , op(other.op)
    , left(other.left->clone())
    , right(other.right->clone()) {}

namespace {

// `l op r` for an arithmetic operator; a failure is placed at `r`. The one
// named result lets the value be built where the caller wants it.
Value arithmetic(e_binop op, const TaggedValue& l, const Expression& r) {
    Value result = l.execute(op, r.eval());
    if (result->is_undef()) report_location(binop_to_string(op), r.scloc());
    return result;
}

} // namespace

Value BinaryExpression::combine(e_binop op, const TaggedValue& l, const Expression& r) {
    if (is_arithmetic_op(op)) return arithmetic(op, l, r);
    if (is_relational_op(op)) return execute_rel(op, l, r.eval());
    if (op == OP_AND) return bool_value(l.get_bool() && eval_bool(&r));
    if (op == OP_OR) return bool_value(l.get_bool() || eval_bool(&r));
    CAD_INTERNAL_ERROR("<bad op in execute logical>");
    return undef_value();
}

Value BinaryExpression::combine_values(e_binop op, const TaggedValue& l, const TaggedValue& r) {
    if (is_arithmetic_op(op)) return l.execute(op, r);
    if (is_relational_op(op)) return execute_rel(op, l, r);
    if (op == OP_AND) return bool_value(l.get_bool() && r.get_bool());
    if (op == OP_OR) return bool_value(l.get_bool() || r.get_bool());
    CAD_INTERNAL_ERROR("<bad op in execute logical>");
    return undef_value();
}

Value BinaryExpression::eval() const {
    return combine(op, left->eval(), *right);
}

// A dynamic left side stops at once, without looking at the right side.
ScoreEval BinaryExpression::eval_in_score() const {
    ScoreEval l = left->eval_in_score();
    if (l.variability == VARIABILITY_DYNAMIC) return l;
    ScoreEval r = right->eval_in_score();
    if (r.variability == VARIABILITY_DYNAMIC) return r;
    return {std::min(l.variability, r.variability), combine_values(op, l.value, r.value)};
}

ExpPtr BinaryExpression::adjust_parameter(const UserFunction* f,
                                          const std::vector<std::string>& params) const {
    return std::make_unique<BinaryExpression>(op, left->adjust_parameter(f, params),
                                              right->adjust_parameter(f, params), location);
}

void BinaryExpression::for_each_child(ChildVisitor visit) const {
    visit(*left);
    visit(*right);
}

// Left-associative operators print their left operand at their own level;
// the others need parentheses around an operand of the same level. The
// operands of `/` always get them: the grammar binds `/` tighter than `*`.
void BinaryExpression::show(std::ostream& out, int precedence) const {
    const int mine = binop_precedence(op);
    const bool left_assoc = op == OP_PLUS || op == OP_MOD || op == OP_TIMES || op == OP_AND || op == OP_OR;
    const int always = 1000;
    const int left_context = op == OP_DIV ? always : (left_assoc ? mine : mine + 1);
    const int right_context = op == OP_DIV ? always : mine + 1;
    const bool parenthesised = precedence > mine;
    if (parenthesised) out << "(";
    left->show(out, left_context);
    out << " " << binop_to_string(op) << " ";
    right->show(out, right_context);
    if (parenthesised) out << ")";
}

int BinaryExpression::etag() const {
    static const int tag = new_etag();
    return tag;
}

int BinaryExpression::compare_with(const Expression* other) const {
    const auto* o = static_cast<const BinaryExpression*>(other);
    if (op != o->op) return op - o->op;
    if (const int c = compare_nodes(left.get(), o->left.get())) return c;
    return compare_nodes(right.get(), o->right.get());
}

IfExpression::IfExpression(ExpPtr c, ExpPtr t, ExpPtr e, const yy::location* loc)
    : NonConstantExpression(loc)
    , condition(std::move(c))
    , then_part(std::move(t))
    , else_part(std::move(e)) {}

IfExpression::IfExpression(const IfExpression& other)
    : NonConstantExpression(other)
    , condition(other.condition->clone())
    , then_part(other.then_part->clone())
    , else_part(other.else_part->clone()) {}

Value IfExpression::eval() const {
    return (eval_bool(condition.get()) ? then_part : else_part)->eval();
}

ScoreEval IfExpression::eval_in_score() const {
    ScoreEval c = condition->eval_in_score();
    if (c.variability == VARIABILITY_DYNAMIC) return c;
    return (c.value->get_bool() ? then_part : else_part)->eval_in_score();
}

ExpPtr IfExpression::adjust_parameter(const UserFunction* f, const std::vector<std::string>& params) const {
    return std::make_unique<IfExpression>(condition->adjust_parameter(f, params),
                                          then_part->adjust_parameter(f, params),
                                          else_part->adjust_parameter(f, params), location);
}

void IfExpression::for_each_child(ChildVisitor visit) const {
    visit(*condition);
    visit(*then_part);
    visit(*else_part);
}

void IfExpression::show(std::ostream& out, int) const {
    out << "(";
    condition->show(out, 0);
    out << " ? ";
    then_part->show(out, 0);
    out << " : ";
    else_part->show(out, 0);
    out << ")";
}

int IfExpression::etag() const {
    static const int tag = new_etag();
    return tag;
}

int IfExpression::compare_with(const Expression* other) const {
    const auto* o = static_cast<const IfExpression*>(other);
    if (const int c = compare_nodes(condition.get(), o->condition.get())) return c;
    if (const int c = compare_nodes(then_part.get(), o->then_part.get())) return c;
    return compare_nodes(else_part.get(), o->else_part.get());
}
