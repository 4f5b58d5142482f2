#include "Exp/NimDefinition.hpp"

#include "Base/Console.hpp"
#include "Exp/Expression.hpp"
#include "Exp/Nim.hpp"
#include "Exp/Operators.hpp"

#include <ostream>

namespace {

void show_or_default(std::ostream& out, const Expression* e, const char* otherwise) {
    if (e)
        e->show(out, 0);
    else
        out << otherwise;
}

} // namespace

// ---- NimPoint ----

NimPoint::NimPoint(const NimPoint& o)
    : shape(o.shape)
    , count(o.count)
    , dimension(o.dimension)
    , abscissa(clone_or_null(o.abscissa))
    , start(clone_or_null(o.start))
    , value(clone_or_null(o.value))
    , extra(clone_or_null(o.extra))
    , tween(clone_or_null(o.tween)) {}

std::vector<Expression*> NimPoint::expressions() const {
    return {abscissa.get(), start.get(), value.get(), extra.get(), tween.get()};
}

void NimPoint::show(std::ostream& out) const {
    static const char* const marks[] = {"", "+", "-", "*", "\\", "="};
    if (shape != PLAIN) {
        for (int i = 0; i < count; ++i)
            out << marks[shape];
        // "-(x, y)" and "\\(x, y, z)" are read with y negated: y is written back.
        const Expression* shown = value.get();
        const auto* negation = dynamic_cast<const UnaryExpression*>(shown);
        const bool negated_form = shape == MINUS || (shape == BACKSLASH && extra);
        if (negated_form && negation && negation->op == OP_NEG) shown = negation->operand.get();
        const std::vector<const Expression*> args = {abscissa.get(), shown, extra.get()};
        bool first = true;
        for (const Expression* e : args) {
            if (!e) continue;
            out << (first ? "(" : ", ");
            e->show(out, 0);
            first = false;
        }
        if (!first) out << ')';
        return;
    }
    show_or_default(out, abscissa.get(), "1");
    out << ' ';
    if (start) {
        start->show(out, 0);
        out << ' ';
    }
    show_or_default(out, value.get(), "?");
    out << ' ';
    show_or_default(out, tween.get(), "\"linear\"");
}

int NimPoint::compare_with(const NimPoint& o) const {
    if (shape != o.shape) return shape < o.shape ? -1 : 1;
    if (count != o.count) return count < o.count ? -1 : 1;
    const std::vector<Expression*> mine = expressions(), theirs = o.expressions();
    for (size_t i = 0; i < mine.size(); ++i)
        if (const int c = compare_nodes(mine[i], theirs[i])) return c;
    return 0;
}

// ---- NimList ----

NimList::NimList(const NimList& o)
    : x0(clone_or_null(o.x0))
    , y0(clone_or_null(o.y0)) {
    for (const auto& p : o.points)
        points.push_back(std::make_unique<NimPoint>(*p));
}

std::vector<Expression*> NimList::expressions() const {
    std::vector<Expression*> all{x0.get(), y0.get()};
    for (const auto& p : points) {
        const std::vector<Expression*> more = p->expressions();
        all.insert(all.end(), more.begin(), more.end());
    }
    std::erase(all, nullptr);
    return all;
}

void NimList::show(std::ostream& out) const {
    show_or_default(out, x0.get(), "0");
    if (y0) {
        out << ' ';
        y0->show(out, 0);
    }
    for (const auto& p : points) {
        out << ", ";
        p->show(out);
    }
}

int NimList::compare_with(const NimList& o) const {
    if (const int c = compare_nodes(x0.get(), o.x0.get())) return c;
    if (const int c = compare_nodes(y0.get(), o.y0.get())) return c;
    if (points.size() != o.points.size()) return points.size() < o.points.size() ? -1 : 1;
    for (size_t i = 0; i < points.size(); ++i)
        if (const int c = points[i]->compare_with(*o.points[i])) return c;
    return 0;
}

// ---- NimDefinition ----

NimDefinition::NimDefinition(std::unique_ptr<NimList> l, const yy::location* loc)
    : NonConstantExpression(loc)
    , list(std::move(l)) {}

NimDefinition::NimDefinition(const NimDefinition& o)
    : NonConstantExpression(o)
    , list(o.list ? o.list->clone() : nullptr) {}

Value NimDefinition::bad_nim() const {
    post_location("Bad argument in NIM construction", location);
    return Value::make<NimValue>(make_counted<NewInterpolatedMap>());
}

void NimDefinition::for_each_child(ChildVisitor visit) const {
    if (list) visit_each(visit, list->expressions());
}

void NimDefinition::show(std::ostream& out, int) const {
    out << "NIM {";
    if (list) list->show(out);
    out << '}';
}

int NimDefinition::etag() const {
    static const int tag = new_etag();
    return tag;
}

int NimDefinition::compare_with(const Expression* other) const {
    const auto* o = static_cast<const NimDefinition*>(other);
    if (!list || !o->list) return (list != nullptr) - (o->list != nullptr);
    return list->compare_with(*o->list);
}
