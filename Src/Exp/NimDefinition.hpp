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
    ~NimPoint();

    std::vector<Expression*> expressions() const;
    void show(std::ostream& out) const;
    int compare_with(const NimPoint& other) const;

    Shape shape = PLAIN;
    int count = 1; // the count of signs of a shape mark
    int dimension = 1;
    Expression* abscissa = nullptr; // distance from the previous point; null is 1.0
    Expression* start = nullptr;    // start value of a discontinuous segment
    Expression* value = nullptr;    // value reached at the point
    Expression* extra = nullptr;    // third expression of the shape forms
    Expression* tween = nullptr;    // easing to the next point; null is "linear"
};

class NimList {
public:
    NimList() = default;
    NimList(const NimList& other);
    NimList& operator=(const NimList&) = delete;
    ~NimList();

    NimList* clone() const { return new NimList(*this); }
    // The expressions present, in the order they are written.
    std::vector<Expression*> expressions() const;
    void show(std::ostream& out) const;
    int compare_with(const NimList& other) const;

    Expression* x0 = nullptr; // start abscissa
    Expression* y0 = nullptr; // start value of a continuous list
    std::vector<NimPoint*> points;
};

class NimDefinition : public NonConstantExpression {
public:
    // Takes the list; null is the empty NIM.
    explicit NimDefinition(NimList* list, const yy::location* loc = nullptr);
    NimDefinition(const NimDefinition& other);
    NimDefinition& operator=(const NimDefinition&) = delete;
    ~NimDefinition() override;

    Expression* clone() const override { return new NimDefinition(*this); }
    Value eval() const override;
    void for_each_child(ChildVisitor visit) const override;
    bool auto_delimited() const override { return true; }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;

    // Reports a bad construction at the definition's place; an empty NIM.
    Value bad_nim() const;

    NimList* list;
};
