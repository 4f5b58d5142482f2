#include "Tree/ActionAttributes.hpp"

#include "Exp/Expression.hpp"
#include "Tree/Action.hpp"
#include "Tree/Duration.hpp"

#include <ostream>

namespace {

void collect_list(const ExpressionList* list, std::vector<Expression*>& out) {
    if (!list) return;
    for (const ExpPtr& e : *list)
        out.push_back(e.get());
}

// A list of closed expressions, as "{a, b}" reads them.
void show_closed_list(std::ostream& out, const ExpressionList& list) {
    out << '{';
    for (size_t i = 0; i < list.size(); ++i) {
        if (i) out << ", ";
        if (list[i]) list[i]->show(out, 1000);
    }
    out << '}';
}

} // namespace

void StrategyAttribute::show(std::ostream& out) const {
    out << keyword();
    if (!events) return;
    out << " := ";
    show_closed_list(out, *events);
}

void TargetAttribute::show(std::ostream& out) const {
    out << keyword() << ' ';
    if (events) {
        show_closed_list(out, *events);
    } else if (duration) {
        out << '[' << *duration << ']';
    } else if (logic) {
        out << '[' << *logic << "#]";
    } else if (period && phase) {
        out << '(' << *period << " %% " << *phase << ')';
    }
}

void ExpressionAttribute::show(std::ostream& out) const {
    out << keyword() << ' ';
    if (expression) expression->show(out, 0);
}

void CondAttribute::show(std::ostream& out) const {
    out << keyword();
    if (expression) expression->show(out, 0);
    out << ')';
}

void EventsTempo::show(std::ostream& out) const {
    out << keyword();
    if (events) show_closed_list(out, *events);
    out << '}';
}

SyncVarAttribute::SyncVarAttribute(std::unique_ptr<Var> v)
    : var(std::move(v)) {}

SyncVarAttribute::~SyncVarAttribute() = default;

void SyncVarAttribute::show(std::ostream& out) const {
    out << keyword() << ' ';
    if (var) var->show(out, 0);
}

void GrainAttribute::show(std::ostream& out) const {
    out << keyword() << ' ';
    if (grain) out << *grain;
}

void BsymAttribute::show(std::ostream& out) const {
    out << keyword() << ' ' << symbol;
}

HeldActionAttribute::HeldActionAttribute(std::unique_ptr<Action> a)
    : action(std::move(a)) {}

HeldActionAttribute::~HeldActionAttribute() = default;

// The held action prints on its own lines, one level deeper.
void HeldActionAttribute::show(std::ostream& out) const {
    out << keyword() << " {\n";
    if (action) {
        ShowNesting nested(out);
        action->show(out);
    }
    show_indent(out);
    out << '}';
}

// ---- the expressions held ----

void StrategyAttribute::collect_expressions(std::vector<Expression*>& out) const {
    collect_list(events.get(), out);
}

void TargetAttribute::collect_expressions(std::vector<Expression*>& out) const {
    collect_list(events.get(), out);
    for (Expression* e : {duration ? duration->expr.get() : nullptr, logic.get(), period.get(), phase.get()})
        if (e) out.push_back(e);
}

void EventsTempo::collect_expressions(std::vector<Expression*>& out) const {
    collect_list(events.get(), out);
}

void SyncVarAttribute::collect_expressions(std::vector<Expression*>& out) const {
    if (var) out.push_back(var.get());
}

void GrainAttribute::collect_expressions(std::vector<Expression*>& out) const {
    if (grain && grain->expr) out.push_back(grain->expr.get());
}

std::vector<Expression*> attribute_expressions(const AttributeList& attributes) {
    std::vector<Expression*> out;
    for (const AttrPtr& a : attributes)
        a->collect_expressions(out);
    std::erase(out, nullptr);
    return out;
}
