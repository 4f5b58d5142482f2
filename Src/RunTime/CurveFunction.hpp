// What a running curve plays on one list of variables: the breakpoints
// evaluated once, when the curve starts, into numbers. A point's value may
// be a tab: each element is a column of its own, and the variable gets a tab.
// Sampling walks forward through the segments; for scalar variables it
// allocates nothing.
#pragma once

#include "Exp/ExpTypes.hpp"
#include "Exp/Nim.hpp"
#include "Exp/Values.hpp"

#include <cstddef>
#include <vector>

class NewInterpolatedMap;
class Reference;
class SeqContFunction;
class TaggedValue;

// One segment of a curve, as the curve path evaluates it: in single
// precision, from `b` to `b + c` over `d`.
struct SimpleContFunction {
    static float eval(float t, interpolate_type type, float b, float c, float d) {
        return ease<float>(type, t, b, c, d);
    }
};

// Where a curve's sampling stands in one function.
struct curve_state {
    std::size_t segment = 0;
};

class CurveFunction {
public:
    // Evaluates the points of `f` in the context in force. Delays in the
    // other unit than `unit` are converted at `tempo` (BPM). False, with the
    // error said, when a point is bad.
    bool build(const SeqContFunction& f, duration_type unit, double tempo);
    // The breakpoints of a NIM on one variable, its abscissae in beats.
    bool build(const Reference& variable, const NewInterpolatedMap& nim);

    // From the first point to the last, in the curve's unit.
    double length() const { return dates.empty() ? 0.0 : dates.back(); }
    // Assigns each variable its value `x` after the first point.
    void eval(curve_state& state, double x) const;

private:
    bool add_point(const std::vector<Value>& point);
    bool add_dimensions(const std::vector<Value>& point);
    // The changes of a curve whose segments join its points.
    void join_points();
    float value_at(const curve_state& state, double x, std::size_t column) const;

    std::vector<const Reference*> variables;
    // Columns of each variable: 1 for a number, a tab's size.
    std::vector<std::size_t> dims;
    std::size_t width = 0;
    // Date of each point, easing from it to the next, its values by point
    // (values[point * width + column]) and the change of each column along
    // the segment that starts there (a NIM may jump between segments).
    std::vector<double> dates;
    std::vector<interpolate_type> types;
    std::vector<float> values;
    std::vector<float> changes;
};
