// The formulas of the easing types. `t` runs from 0 to `d` along a segment
// from `b` to `b + c`; `u` is t / d and, for the in-out types, `w` is
// t / (d / 2), the two halves meeting at w = 1. The constants are exact as
// written so that float and double evaluations agree to their precision.
#include "Base/Console.hpp"
#include "Exp/Nim.hpp"

#include <cmath>
#include <numbers>

namespace {

template <class T>
struct Segment {
    T t, b, c, d;
    T u() const { return t / d; }
    T w() const { return t / (d / T(2)); }
};

template <class T>
T pow2(T x) {
    return std::exp2(x);
}

// ---- back: a pull away from the target before going ----

template <class T>
T back_in(const Segment<T>& s) {
    const T u = s.u();
    return s.c * u * u * (T(2.70158) * u - T(1.70158)) + s.b;
}

template <class T>
T back_out(const Segment<T>& s) {
    const T v = s.u() - T(1);
    return s.c * (v * v * (T(2.70158) * v + T(1.70158)) + T(1)) + s.b;
}

template <class T>
T back_in_out(const Segment<T>& s) {
    const T w = s.w();
    if (w < T(1)) return s.c / T(2) * w * w * (T(3.5949095) * w - T(2.5949095)) + s.b;
    const T v = w - T(2);
    return s.c / T(2) * (v * v * (T(3.5949095) * v + T(2.5949095)) + T(2)) + s.b;
}

// ---- bounce: four parabolas, the breaks at 1/2.75 and its multiples ----

template <class T>
T bounce_out(T t, T d, T scale, T offset) {
    const T u = t / d;
    if (u < T(0.36363636363636365)) return scale * T(7.5625) * u * u + offset;
    if (u < T(0.7272727272727273)) {
        const T v = u - T(0.5454545454545454);
        return scale * (T(7.5625) * v * v + T(0.75)) + offset;
    }
    if (u < T(0.9090909090909091)) {
        const T v = u - T(0.8181818181818182);
        return scale * (T(7.5625) * v * v + T(0.9375)) + offset;
    }
    const T v = u - T(0.9545454545454546);
    return scale * (T(7.5625) * v * v + T(0.984375)) + offset;
}

template <class T>
T bounce_in(T t, T d, T c, T b) {
    return c - bounce_out(d - t, d, c, T(0)) + b;
}

template <class T>
T bounce_in_out(const Segment<T>& s) {
    if (s.t < s.d / T(2)) return bounce_in(s.t * T(2), s.d, s.c, T(0)) * T(0.5) + s.b;
    return bounce_out(s.t * T(2) - s.d, s.d, s.c, T(0)) * T(0.5) + s.c / T(2) + s.b;
}

// ---- powers: quad, cubic, quart, quint ----

template <class T>
T power(T x, int n) {
    T r = T(1);
    for (int i = 0; i < n; ++i)
        r *= x;
    return r;
}

template <class T>
T power_in(const Segment<T>& s, int n) {
    return s.c * power(s.u(), n) + s.b;
}

// Odd powers come back from below, even ones from above.
template <class T>
T power_out(const Segment<T>& s, int n) {
    const T v = s.u() - T(1);
    if (n % 2) return s.c * (power(v, n) + T(1)) + s.b;
    return -s.c * (power(v, n) - T(1)) + s.b;
}

template <class T>
T power_in_out(const Segment<T>& s, int n) {
    const T w = s.w();
    if (w < T(1)) return s.c / T(2) * power(w, n) + s.b;
    const T v = w - T(2);
    if (n % 2) return s.c / T(2) * (power(v, n) + T(2)) + s.b;
    return -s.c / T(2) * (power(v, n) - T(2)) + s.b;
}

template <class T>
T quad_out(const Segment<T>& s) {
    const T u = s.u();
    return -s.c * u * (u - T(2)) + s.b;
}

template <class T>
T quad_in_out(const Segment<T>& s) {
    const T w = s.w();
    if (w < T(1)) return s.c / T(2) * w * w + s.b;
    return -s.c / T(2) * ((w - T(1)) * (w - T(3)) - T(1)) + s.b;
}

// ---- circ ----

template <class T>
T circ_in(const Segment<T>& s) {
    const T u = s.u();
    return -s.c * (std::sqrt(T(1) - u * u) - T(1)) + s.b;
}

template <class T>
T circ_out(const Segment<T>& s) {
    const T v = s.u() - T(1);
    return s.c * std::sqrt(T(1) - v * v) + s.b;
}

template <class T>
T circ_in_out(const Segment<T>& s) {
    const T w = s.w();
    if (w < T(1)) return s.c / T(2) * (T(1) - std::sqrt(T(1) - w * w)) + s.b;
    const T v = w - T(2);
    return s.c / T(2) * (std::sqrt(T(1) - v * v) + T(1)) + s.b;
}

// ---- elastic: a decaying sine of period p ----

template <class T>
T wave(T x, T d, T p) {
    return std::sin((x * d - p / T(4)) * T(2) * std::numbers::pi_v<T> / p);
}

template <class T>
T elastic_in(const Segment<T>& s) {
    const T v = s.u() - T(1), p = T(0.3) * s.d;
    return s.b - s.c * pow2(T(10) * v) * wave(v, s.d, p);
}

template <class T>
T elastic_out(const Segment<T>& s) {
    const T u = s.u(), p = T(0.3) * s.d;
    return s.c * pow2(T(-10) * u) * wave(u, s.d, p) + s.c + s.b;
}

template <class T>
T elastic_in_out(const Segment<T>& s) {
    const T v = s.w() - T(1), p = T(0.45) * s.d;
    if (v < T(0)) return T(-0.5) * s.c * pow2(T(10) * v) * wave(v, s.d, p) + s.b;
    return T(0.5) * s.c * pow2(T(-10) * v) * wave(v, s.d, p) + s.c + s.b;
}

// ---- exp ----

template <class T>
T exp_in(const Segment<T>& s) {
    return s.c * pow2(T(10) * (s.u() - T(1))) + s.b;
}

template <class T>
T exp_out(const Segment<T>& s) {
    return s.c * (T(1) - pow2(T(-10) * s.t / s.d)) + s.b;
}

template <class T>
T exp_in_out(const Segment<T>& s) {
    const T v = s.w() - T(1);
    if (v < T(0)) return s.c / T(2) * pow2(T(10) * v) + s.b;
    return s.c / T(2) * (T(2) - pow2(T(-10) * v)) + s.b;
}

// ---- sine ----

template <class T>
T sine_in(const Segment<T>& s) {
    return s.c - s.c * std::cos(s.u() * std::numbers::pi_v<T> / T(2)) + s.b;
}

template <class T>
T sine_out(const Segment<T>& s) {
    return s.c * std::sin(s.u() * std::numbers::pi_v<T> / T(2)) + s.b;
}

template <class T>
T sine_in_out(const Segment<T>& s) {
    return -s.c / T(2) * (std::cos(std::numbers::pi_v<T> * s.t / s.d) - T(1)) + s.b;
}

bool is_exp_or_elastic(interpolate_type type) {
    return (type >= INTERPOLATE_ELASTIC_IN && type <= INTERPOLATE_EXP_IN_OUT);
}

template <class T>
T inside(interpolate_type type, const Segment<T>& s) {
    switch (type) {
    case INTERPOLATE_LINEAR:
    case INTERPOLATE_POLY:
        return s.c * s.t / s.d + s.b;
    case INTERPOLATE_BACK_IN:
        return back_in(s);
    case INTERPOLATE_BACK_OUT:
        return back_out(s);
    case INTERPOLATE_BACK_IN_OUT:
        return back_in_out(s);
    case INTERPOLATE_BOUNCE_IN:
        return bounce_in(s.t, s.d, s.c, s.b);
    case INTERPOLATE_BOUNCE_OUT:
        return bounce_out(s.t, s.d, s.c, s.b);
    case INTERPOLATE_BOUNCE_IN_OUT:
        return bounce_in_out(s);
    case INTERPOLATE_CUBIC_IN:
        return power_in(s, 3);
    case INTERPOLATE_CUBIC_OUT:
        return power_out(s, 3);
    case INTERPOLATE_CUBIC_IN_OUT:
        return power_in_out(s, 3);
    case INTERPOLATE_CIRC_IN:
        return circ_in(s);
    case INTERPOLATE_CIRC_OUT:
        return circ_out(s);
    case INTERPOLATE_CIRC_IN_OUT:
        return circ_in_out(s);
    case INTERPOLATE_ELASTIC_IN:
        return elastic_in(s);
    case INTERPOLATE_ELASTIC_OUT:
        return elastic_out(s);
    case INTERPOLATE_ELASTIC_IN_OUT:
        return elastic_in_out(s);
    case INTERPOLATE_EXP_IN:
        return exp_in(s);
    case INTERPOLATE_EXP_OUT:
        return exp_out(s);
    case INTERPOLATE_EXP_IN_OUT:
        return exp_in_out(s);
    case INTERPOLATE_QUAD_IN:
        return power_in(s, 2);
    case INTERPOLATE_QUAD_OUT:
        return quad_out(s);
    case INTERPOLATE_QUAD_IN_OUT:
        return quad_in_out(s);
    case INTERPOLATE_QUART_IN:
        return power_in(s, 4);
    case INTERPOLATE_QUART_OUT:
        return power_out(s, 4);
    case INTERPOLATE_QUART_IN_OUT:
        return power_in_out(s, 4);
    case INTERPOLATE_QUINT_IN:
        return power_in(s, 5);
    case INTERPOLATE_QUINT_OUT:
        return power_out(s, 5);
    case INTERPOLATE_QUINT_IN_OUT:
        return power_in_out(s, 5);
    case INTERPOLATE_SINE_IN:
        return sine_in(s);
    case INTERPOLATE_SINE_OUT:
        return sine_out(s);
    case INTERPOLATE_SINE_IN_OUT:
        return sine_in_out(s);
    case INTERPOLATE_NONE:
        break;
    }
    CAD_INTERNAL_ERROR("unknown interpolation type");
    return T(0);
}

} // namespace

// The ends are decided before any formula: a segment of no length jumps,
// and exp and elastic land on their ends without their 2^-10 remainder.
template <class T>
T ease(interpolate_type type, T t, T b, T c, T d) {
    if (t <= T(0)) return b;
    if (t >= d) return b + c;
    if (is_exp_or_elastic(type) && t / d == T(1)) return b + c;
    return inside(type, Segment<T>{t, b, c, d});
}

template float ease<float>(interpolate_type, float, float, float, float);
template double ease<double>(interpolate_type, double, double, double, double);

double SimpleScalarNim::eval(double t) const {
    if (type != INTERPOLATE_POLY || t <= 0.0 || t >= duration) return ease(type, t, start, change, duration);
    return ((c3 * t + c2) * t + c1) * t + start;
}
