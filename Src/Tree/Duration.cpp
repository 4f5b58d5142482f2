#include "Tree/Duration.hpp"

#include "Exp/Expression.hpp"
#include "Base/Console.hpp"

#include <cmath>
#include <sstream>

namespace {

// A constant number folds into the literal; a constant tab stays an
// expression (a loop's period may be a tab of periods); a constant of another
// kind is reported and kept as an expression (it fails when evaluated).
bool fold_literal(ExpPtr& e, double& value) {
    ScoreEval known = e->eval_in_score();
    if (known.variability != VARIABILITY_STATIC || known.value->is_tab()) return false;
    if (!known.value->is_numeric()) {
        error("Duration is not a number: '%s' evaluates to '%s'", e->show().c_str(),
              show_text(known.value).c_str());
        return false;
    }
    value = known.value->get_double();
    e.reset();
    return true;
}

} // namespace

CadDuration::CadDuration(ExpPtr e, duration_type u)
    : expr(std::move(e))
    , unit(u) {
    if (expr) fold_literal(expr, value_);
}

CadDuration::CadDuration(double v, duration_type u)
    : unit(u)
    , value_(v) {}

CadDuration::CadDuration(const CadDuration& other)
    : expr(clone_or_null(other.expr))
    , unit(other.unit)
    , value_(other.value_) {}

CadDuration& CadDuration::operator=(const CadDuration& other) {
    if (this == &other) return *this;
    expr = clone_or_null(other.expr);
    unit = other.unit;
    value_ = other.value_;
    return *this;
}

CadDuration::~CadDuration() = default;

ExpPtr CadDuration::value() const {
    return expr ? expr->clone() : std::make_unique<FloatValue>(value_);
}

double CadDuration::eval() const {
    if (!expr) return value_;
    Value v = expr->eval();
    if (v->is_numeric()) return v->get_double();
    error("Bad duration %s", expr->show().c_str());
    return std::nan("");
}

Value CadDuration::extended_eval() const {
    return expr ? expr->eval() : float_value(value_);
}

bool CadDuration::eval_in_score(double& out) const {
    if (!expr) {
        out = value_;
        return true;
    }
    ScoreEval known = expr->eval_in_score();
    if (known.variability != VARIABILITY_STATIC || !known.value->is_numeric()) return false;
    out = known.value->get_double();
    return true;
}

bool CadDuration::is_less_than_epsilon() const {
    const double d = eval();
    return !std::isnan(d) && d <= BEAT_EPSILON;
}

bool CadDuration::is_constant() const {
    double ignored;
    return eval_in_score(ignored);
}

bool CadDuration::is_statically_less_than_epsilon() const {
    double d;
    return eval_in_score(d) && d <= BEAT_EPSILON;
}

void CadDuration::set_ambiant_action(const Action* action) {
    if (expr) expr->set_ambiant_action(action);
}

void CadDuration::set_env(Environment* env, const std::list<std::string>& locals, int level) const {
    if (expr) expr->set_env(env, locals, level);
}

void CadDuration::adjust_parameter(const UserFunction* f, const std::vector<std::string>& parameters) {
    if (!expr) return;
    expr = expr->adjust_parameter(f, parameters);
}

void CadDuration::get_variables(VarSet& out) const {
    if (expr) expr->get_variables(out);
}

bool CadDuration::comparable(const CadDuration& o) const {
    double a, b;
    if (!eval_in_score(a) || !o.eval_in_score(b)) return false;
    if (unit == o.unit) return true;
    return std::fabs(a) <= BEAT_EPSILON && std::fabs(b) <= BEAT_EPSILON;
}

template <class Cmp>
bool CadDuration::compare_with(const CadDuration& o, Cmp cmp) const {
    double a, b;
    if (!comparable(o) || !eval_in_score(a) || !o.eval_in_score(b)) return false;
    return cmp(a, b);
}

bool CadDuration::operator<(const CadDuration& o) const {
    return compare_with(o, [](double a, double b) { return a < b; });
}
bool CadDuration::operator<=(const CadDuration& o) const {
    return compare_with(o, [](double a, double b) { return a <= b; });
}
bool CadDuration::operator>(const CadDuration& o) const {
    return compare_with(o, [](double a, double b) { return a > b; });
}
bool CadDuration::operator>=(const CadDuration& o) const {
    return compare_with(o, [](double a, double b) { return a >= b; });
}
bool CadDuration::operator==(const CadDuration& o) const {
    return compare_with(o, [](double a, double b) { return a == b; });
}
bool CadDuration::operator!=(const CadDuration& o) const {
    return compare_with(o, [](double a, double b) { return a != b; });
}

void CadDuration::incr_delay(const CadDuration& o) {
    if (unit != o.unit) {
        error("Cannot sum two delays with different types: %s and %s", show().c_str(), o.show().c_str());
        return;
    }
    if (expr) {
        const yy::location* loc = expr->scloc();
        expr = std::make_unique<BinaryExpression>(OP_PLUS, std::move(expr), o.value(), loc);
        return;
    }
    if (o.expr) {
        expr = std::make_unique<BinaryExpression>(OP_PLUS, std::make_unique<FloatValue>(value_),
                                                  o.expr->clone(), o.expr->scloc());
        value_ = 0.0;
        return;
    }
    value_ += o.value_;
}

void CadDuration::show(std::ostream& out) const {
    if (!expr) {
        out << value_ << (unit == DURATION_SECONDS ? "s" : "");
        return;
    }
    expr->show(out, 1000);
    if (unit == DURATION_SECONDS) out << " s";
}

std::string CadDuration::show() const {
    std::ostringstream out;
    show(out);
    return out.str();
}

std::ostream& operator<<(std::ostream& out, const CadDuration& d) {
    d.show(out);
    return out;
}

bool is_zero_delay(const CadDuration* d) {
    return !d || d->is_statically_less_than_epsilon();
}
