// The payload of a "nim" value: a function of one real variable defined
// piece by piece, scalar or one function per component. This holds what the
// value layer needs (application, printing, comparison, size); building a NIM
// from its text form and the easing formulas belong to the interpolation
// library, which extends `interpolate_type` and `SimpleScalarNim::eval`.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <vector>

enum interpolate_type : std::int32_t { INTERPOLATE_NONE = 0, INTERPOLATE_LINEAR = 1 };

// One segment, starting at its abscissa.
struct SimpleScalarNim {
    interpolate_type type = INTERPOLATE_LINEAR;
    double duration = 1.0;
    double start = 0.0;
    double change = 0.0; // end minus start
    double c3 = 0.0, c2 = 0.0, c1 = 0.0;

    double end() const { return start + change; }
    // The value at `t` from the segment's start; the linear easing is the
    // only one known here.
    double eval(double t) const { return start + change * (t / duration); }
};

class ScalarInterpolatedMap {
public:
    std::vector<double> abscissae; // sorted, the start of each segment
    std::vector<SimpleScalarNim> segments;

    // Appends a segment from the end of the map (or from `x0` on an empty one).
    void add_last(interpolate_type type, double duration, double start, double end, double x0 = 0.0);
    double apply(double x) const;
    bool is_continuous() const;
    int _compare(const ScalarInterpolatedMap& other) const;
    void show_body(std::ostream& out) const;
};

class NewInterpolatedMap {
public:
    std::vector<ScalarInterpolatedMap> components;
    bool is_vectorial = false;

    std::size_t dimension() const { return components.size(); }
    bool empty() const { return components.empty() || components.front().segments.empty(); }
    // The value of each component at x.
    void apply(double x, std::vector<double>& out) const;
    int _compare(const NewInterpolatedMap& other) const;
    void show_body(std::ostream& out) const;
};
