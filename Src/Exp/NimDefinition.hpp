// "nim { ... }": the text form of an interpolated map, a list of
// breakpoints kept as expressions.
#pragma once

#include "Exp/Values.hpp"

#include <vector>

// One breakpoint as written.
class NimPoint {
public:
    // How a point is written: a plain point (with or without its own start
    // value), or one of the shape marks of the short forms.
    enum Shape { PLAIN = 0, PLUS = 1, MINUS = 2, TIMES = 3, BACKSLASH = 4, EQUAL = 5 };

    NimPoint() = default;
    NimPoint(const NimPoint& other);
    NimPoint& operator=(const NimPoint&) = delete;

    // The five expressions, absent ones null.
    std::vector<Expression*> expressions() const;
    void show(std::ostream& out) const;
    int compare_with(const NimPoint& other) const;

    Shape shape = PLAIN;
    int count = 1; // the count of signs of a shape mark
    int dimension = 1;
    ExpPtr abscissa; // distance from the previous point; null is 1.0
    ExpPtr start;    // start value of a discontinuous segment
    ExpPtr value;    // value reached at the point
    ExpPtr extra;    // third expression of the shape forms
    ExpPtr tween;    // easing to the next point; null is "linear"
};

class NimList {
public:
    NimList() = default;
    NimList(const NimList& other);
    NimList& operator=(const NimList&) = delete;

    std::unique_ptr<NimList> clone() const { return std::make_unique<NimList>(*this); }
    // The expressions present, in the order they are written.
    std::vector<Expression*> expressions() const;
    void show(std::ostream& out) const;
    int compare_with(const NimList& other) const;

    ExpPtr x0; // start abscissa
    ExpPtr y0; // start value of a continuous list
    std::vector<std::unique_ptr<NimPoint>> points;
};

class NimDefinition : public NonConstantExpression {
public:
    // Takes the list; null is the empty NIM.
    explicit NimDefinition(std::unique_ptr<NimList> list, const yy::location* loc = nullptr);
    NimDefinition(const NimDefinition& other);
    NimDefinition& operator=(const NimDefinition&) = delete;

    ExpPtr clone() const override { return std::make_unique<NimDefinition>(*this); }
    Value eval() const override;
    void for_each_child(ChildVisitor visit) const override;
    bool auto_delimited() const override { return true; }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;

    // Reports a bad construction at the definition's place; an empty NIM.
    Value bad_nim() const;

    std::unique_ptr<NimList> list;
};
