// Integrals of interpolated maps. An imap is the piecewise linear function
// through its breakpoints, extended beyond them along its first and last
// segments, as its application computes it.
#include "Base/Console.hpp"
#include "Exp/Library.hpp"
#include "Exp/LibraryInstall.hpp"
#include "Exp/TabLibrary.hpp"

#include <cmath>
#include <iterator>

namespace {

using Point = imap_t::const_iterator;

double line(Point a, Point b, double x) {
    if (b->first == a->first) return a->second;
    return a->second + (b->second - a->second) * (x - a->first) / (b->first - a->first);
}

double value_at(const imap_t& m, double x) {
    if (m.size() == 1) return m.begin()->second;
    auto upper = m.upper_bound(x);
    if (upper == m.begin()) ++upper;
    if (upper == m.end()) --upper;
    return line(std::prev(upper), upper, x);
}

// The integral from a to b (b below a gives the opposite), exact for the
// piecewise linear function: trapezoids between a, the breakpoints
// inside, and b.
double integral(const imap_t& m, double a, double b) {
    if (b < a) return -integral(m, b, a);
    double sum = 0.0, x = a, y = value_at(m, a);
    for (auto it = m.upper_bound(a); it != m.end() && it->first < b; ++it) {
        sum += (it->first - x) * (y + it->second) / 2.0;
        x = it->first;
        y = it->second;
    }
    return sum + (b - x) * (y + value_at(m, b)) / 2.0;
}

bool unary_imap(const LibraryCall& call) {
    if (!arity_is(call, 1)) return false;
    if (call[0].is_imap() && !imap_of(call[0]).empty()) return true;
    error("Bad argument in %s call: expect an InterpolatedMap, got a %s", call.name(), call[0].kind_name());
    return false;
}

// @integrate(m): the imap of the integral of m from its first breakpoint,
// at each breakpoint.
Value integrate(const LibraryCall& call) {
    if (!unary_imap(call)) return undef_value();
    const imap_t& m = imap_of(call[0]);
    auto out = make_counted<imap_t>();
    double sum = 0.0;
    for (auto it = m.begin(); it != m.end(); ++it) {
        if (it != m.begin()) sum += integral(m, std::prev(it)->first, it->first);
        (*out)[it->first] = sum;
    }
    return Value::make<InterpolatedMapValue>(std::move(out));
}

// @map_normalize(m): m scaled so that its integral over its breakpoints is 1.
Value map_normalize(const LibraryCall& call) {
    if (!unary_imap(call)) return undef_value();
    const imap_t& m = imap_of(call[0]);
    const double total = integral(m, m.begin()->first, m.rbegin()->first);
    if (total == 0.0 || !std::isfinite(total)) {
        error("Bad argument in %s call: the integral of the map is %g, it cannot be normalised [m8]",
              call.name(), total);
        return undef_value();
    }
    auto out = make_counted<imap_t>();
    for (const auto& [x, y] : m)
        (*out)[x] = y / total;
    return Value::make<InterpolatedMapValue>(std::move(out));
}

bool bounded_checks(const LibraryCall& call, const char* count_format, double& a, double& b) {
    if (call.count() != 3) {
        error(count_format, call.name(), call.count());
        return false;
    }
    if (!call[0].is_imap() || imap_of(call[0]).empty()) {
        error("Bad argument %s expect an interpolated map, not a '%s'", call.name(), call[0].kind_name());
        return false;
    }
    return number_arg(call, 1, a) && number_arg(call, 2, b);
}

// @bounded_integrate(m, a, b): the integral of m from a to b.
Value bounded_integrate(const LibraryCall& call) {
    double a = 0, b = 0;
    if (!bounded_checks(call, "Bad arguments number in @bounded_inegrate function call %s (%d provided) [m4]",
                        a, b))
        return undef_value();
    return float_value(integral(imap_of(call[0]), a, b));
}

// Where, from x0, the integral over one linear piece from (x0, y0) with
// slope `s` reaches r: the least root of y0 t + s t^2 / 2 = r in [0, length].
bool reach_in_piece(double y0, double s, double r, double length, double& t) {
    if (s == 0.0) {
        if (y0 == 0.0) return r == 0.0 && (t = 0.0, true);
        t = r / y0;
        return t >= 0.0 && t <= length;
    }
    const double d = y0 * y0 + 2.0 * s * r;
    if (d < 0.0) return false;
    for (const double root : {(-y0 + std::sqrt(d)) / s, (-y0 - std::sqrt(d)) / s})
        if (root >= 0.0 && root <= length && (t = root, true)) return true;
    return false;
}

// @bounded_integrate_inv(m, a, v): the first x at or after a where the
// integral of m from a reaches v, searched piece by piece up to the last
// breakpoint; undef when it is not reached there.
Value bounded_integrate_inv(const LibraryCall& call) {
    double a = 0, v = 0;
    if (!bounded_checks(call, "Bad arguments number in @bounded_inegrate function call %s (%d provided)  [m5]", a,
                        v))
        return undef_value();
    const imap_t& m = imap_of(call[0]);
    double x0 = a, acc = 0.0;
    for (auto it = m.upper_bound(a); it != m.end(); ++it) {
        const double x1 = it->first, y0 = value_at(m, x0), y1 = it->second;
        const double slope = (y1 - y0) / (x1 - x0);
        double t = 0.0;
        if (reach_in_piece(y0, slope, v - acc, x1 - x0, t)) return float_value(x0 + t);
        acc += (x1 - x0) * (y0 + y1) / 2.0;
        x0 = x1;
    }
    return v == acc ? float_value(x0) : undef_value();
}

} // namespace

void install_imap_functions(GlobalEnvironment& env) {
    new LibraryFunction("@integrate", 1, integrate, &env);
    new LibraryFunction("@bounded_integrate", 3, bounded_integrate, &env);
    new LibraryFunction("@bounded_integrate_inv", 3, bounded_integrate_inv, &env);
    new LibraryFunction("@map_normalize", 1, map_normalize, &env);
}
