// The payload of a "nim" value: a function of one real variable defined
// piece by piece, scalar or one function per component. This holds what the
// value layer needs (application, printing, comparison, size); building a NIM
// from its text form and the easing formulas belong to the interpolation
// library, which extends `interpolate_type` and `SimpleScalarNim::eval`.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <vector>

class TaggedValue;

// The easing of a segment. Every family name alone means its "in" variant.
enum interpolate_type : std::int32_t {
    INTERPOLATE_NONE = 0,
    INTERPOLATE_LINEAR = 1,
    INTERPOLATE_BACK_IN = 2,
    INTERPOLATE_BACK_OUT = 3,
    INTERPOLATE_BACK_IN_OUT = 4,
    INTERPOLATE_BOUNCE_IN = 5,
    INTERPOLATE_BOUNCE_OUT = 6,
    INTERPOLATE_BOUNCE_IN_OUT = 7,
    INTERPOLATE_CUBIC_IN = 8,
    INTERPOLATE_CUBIC_OUT = 9,
    INTERPOLATE_CUBIC_IN_OUT = 10,
    INTERPOLATE_CIRC_IN = 11,
    INTERPOLATE_CIRC_OUT = 12,
    INTERPOLATE_CIRC_IN_OUT = 13,
    INTERPOLATE_ELASTIC_IN = 14,
    INTERPOLATE_ELASTIC_OUT = 15,
    INTERPOLATE_ELASTIC_IN_OUT = 16,
    INTERPOLATE_EXP_IN = 17,
    INTERPOLATE_EXP_OUT = 18,
    INTERPOLATE_EXP_IN_OUT = 19,
    INTERPOLATE_QUAD_IN = 20,
    INTERPOLATE_QUAD_OUT = 21,
    INTERPOLATE_QUAD_IN_OUT = 22,
    INTERPOLATE_QUART_IN = 23,
    INTERPOLATE_QUART_OUT = 24,
    INTERPOLATE_QUART_IN_OUT = 25,
    INTERPOLATE_QUINT_IN = 26,
    INTERPOLATE_QUINT_OUT = 27,
    INTERPOLATE_QUINT_IN_OUT = 28,
    INTERPOLATE_SINE_IN = 29,
    INTERPOLATE_SINE_OUT = 30,
    INTERPOLATE_SINE_IN_OUT = 31,
    INTERPOLATE_POLY = 32,
    INTERPOLATE_LAST = INTERPOLATE_POLY,
};

// The eased value at `t` from the start of a segment of length `d` that goes
// from `b` to `b + c`: `b` before the start, `b + c` from its end on. The
// `poly` type needs its coefficients (SimpleScalarNim) and is linear here; an
// unknown type is an internal error and gives 0. Instantiated for float (the
// curve path) and double (interpolated maps).
template <class T>
T ease(interpolate_type type, T t, T b, T c, T d);

// One segment, starting at its abscissa.
struct SimpleScalarNim {
    interpolate_type type = INTERPOLATE_LINEAR;
    double duration = 1.0;
    double start = 0.0;
    double change = 0.0; // end minus start
    double c3 = 0.0, c2 = 0.0, c1 = 0.0;

    double end() const { return start + change; }
    // The value at `t` from the segment's start, along its easing.
    double eval(double t) const;
};

class ScalarInterpolatedMap {
public:
    std::vector<double> abscissae; // sorted, the start of each segment
    std::vector<SimpleScalarNim> segments;

    // Appends a segment from the end of the map (or from `x0` on an empty one).
    void add_last(interpolate_type type, double duration, double start, double end, double x0 = 0.0);
    // Prepends a segment that ends where the map starts (at `x0` on an empty
    // one).
    void add_first(interpolate_type type, double duration, double start, double end, double x0 = 0.0);
    // The value where the map starts and where it ends (0 when empty).
    double first_value() const;
    double last_value() const;
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

    // Extends every component by a segment of `duration` before its start
    // or after its end, from `start` to `end`; without `start`, the segment
    // joins the map (it ends at the map's first value, or starts at its
    // last one). An empty map becomes a scalar one.
    void add_first(interpolate_type type, double duration, double start, double end);
    void add_first(interpolate_type type, double duration, double end);
    void add_last(interpolate_type type, double duration, double start, double end);
    void add_last(interpolate_type type, double duration, double end);
    // The same from values: a number for every component or a tab with one
    // per component, and a type name (or a tab of names). False, with the
    // error said, when they do not fit the map.
    bool add_last(const TaggedValue& duration, const TaggedValue& end, const TaggedValue& type);
    int _compare(const NewInterpolatedMap& other) const;
    void show_body(std::ostream& out) const;
};
