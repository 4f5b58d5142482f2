#include "Exp/Nim.hpp"

#include "Exp/Interpolation.hpp"
#include "Exp/Values.hpp"
#include "Base/Console.hpp"

#include <algorithm>
#include <vector>
#include <ostream>

namespace {

int sign_of(double d) {
    return (d > 0) - (d < 0);
}

int compare_segments(const SimpleScalarNim& a, const SimpleScalarNim& b) {
    if (a.type != b.type) return a.type > b.type ? 1 : -1;
    if (const int c = sign_of(a.duration - b.duration)) return c;
    if (const int c = sign_of(a.start - b.start)) return c;
    return sign_of(a.change - b.change);
}


} // namespace

void ScalarInterpolatedMap::add_last(interpolate_type type, double duration, double start, double end,
                                     double x0) {
    const double at = segments.empty() ? x0 : abscissae.back() + segments.back().duration;
    abscissae.push_back(at);
    segments.push_back(SimpleScalarNim{type, duration, start, end - start});
}

void ScalarInterpolatedMap::add_first(interpolate_type type, double duration, double start, double end,
                                      double x0) {
    const double at = (segments.empty() ? x0 : abscissae.front()) - duration;
    abscissae.insert(abscissae.begin(), at);
    segments.insert(segments.begin(), SimpleScalarNim{type, duration, start, end - start});
}

double ScalarInterpolatedMap::first_value() const {
    return segments.empty() ? 0.0 : segments.front().start;
}

double ScalarInterpolatedMap::last_value() const {
    return segments.empty() ? 0.0 : segments.back().end();
}

double ScalarInterpolatedMap::apply(double x) const {
    if (segments.empty()) return 0.0;
    const auto above = std::upper_bound(abscissae.begin(), abscissae.end(), x);
    if (above == abscissae.end()) {
        const SimpleScalarNim& last = segments.back();
        if (x < abscissae.back() + last.duration) return last.eval(x - abscissae.back());
        return last.end();
    }
    if (above == abscissae.begin()) return segments.front().start;
    const auto i = static_cast<std::size_t>(above - abscissae.begin()) - 1;
    return segments[i].eval(x - abscissae[i]);
}

bool ScalarInterpolatedMap::is_continuous() const {
    for (std::size_t i = 1; i < segments.size(); ++i)
        if (segments[i - 1].end() != segments[i].start) return false;
    return true;
}

int ScalarInterpolatedMap::_compare(const ScalarInterpolatedMap& other) const {
    if (segments.size() != other.segments.size()) return segments.size() > other.segments.size() ? 1 : -1;
    for (std::size_t i = 0; i < segments.size(); ++i) {
        if (const int c = sign_of(abscissae[i] - other.abscissae[i])) return c;
        if (const int c = compare_segments(segments[i], other.segments[i])) return c;
    }
    return 0;
}

void ScalarInterpolatedMap::show_body(std::ostream& out) const {
    if (segments.empty()) return;
    out << abscissae.front() << " " << segments.front().start;
    for (const SimpleScalarNim& s : segments)
        out << ", " << s.duration << " " << s.end() << " " << interpol_to_pr_str(s.type);
}

void NewInterpolatedMap::apply(double x, std::vector<double>& out) const {
    out.clear();
    for (const ScalarInterpolatedMap& c : components)
        out.push_back(c.apply(x));
}

// ---- extension ----

void NewInterpolatedMap::add_first(interpolate_type type, double duration, double start, double end) {
    if (components.empty()) components.resize(1);
    for (ScalarInterpolatedMap& c : components)
        c.add_first(type, duration, start, end);
}

void NewInterpolatedMap::add_first(interpolate_type type, double duration, double start) {
    if (components.empty()) components.resize(1);
    for (ScalarInterpolatedMap& c : components)
        c.add_first(type, duration, start, c.first_value());
}

void NewInterpolatedMap::add_last(interpolate_type type, double duration, double start, double end) {
    if (components.empty()) components.resize(1);
    for (ScalarInterpolatedMap& c : components)
        c.add_last(type, duration, start, end);
}

void NewInterpolatedMap::add_last(interpolate_type type, double duration, double end) {
    if (components.empty()) components.resize(1);
    for (ScalarInterpolatedMap& c : components)
        c.add_last(type, duration, c.last_value(), end);
}

int NewInterpolatedMap::_compare(const NewInterpolatedMap& other) const {
    if (dimension() != other.dimension()) return dimension() > other.dimension() ? 1 : -1;
    for (std::size_t i = 0; i < dimension(); ++i)
        if (const int c = components[i]._compare(other.components[i])) return c;
    return 0;
}

void NewInterpolatedMap::show_body(std::ostream& out) const {
    if (empty()) {
        out << "<< WRONG NIM (no breakpoints) >>";
        return;
    }
    if (!is_vectorial) {
        components.front().show_body(out);
        return;
    }
    const char* separator = "";
    for (const ScalarInterpolatedMap& c : components) {
        out << separator << "TAB[";
        c.show_body(out);
        out << "]";
        separator = ", ";
    }
}

NimValue::CadenziumValue()
    : ValueCore(make_counted<nim_t>()) {}
