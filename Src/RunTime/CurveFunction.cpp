#include "RunTime/CurveFunction.hpp"

#include "Base/Console.hpp"
#include "Exp/Interpolation.hpp"
#include "Exp/Reference.hpp"
#include "Exp/ValueKinds.hpp"
#include "Tree/Curve.hpp"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <sstream>

namespace {

// The columns of a breakpoint value: 1 for a number, the size of a tab of
// numbers, 0 for anything else (said).
std::size_t columns_of(const Value& v) {
    if (v->is_numeric()) return 1;
    if (!v->is_tab()) {
        error("Curve: bad breakpoint specification (breakpoint specification is a %s)", v->kind_name());
        return 0;
    }
    for (const Value& element : *value_cast<TabValue>(*v).val) {
        if (element->is_numeric()) continue;
        error("Curve: vectorized: non numeric element in tab");
        return 0;
    }
    return value_cast<TabValue>(*v).val->size();
}

void append_columns(const Value& v, std::vector<float>& out) {
    if (v->is_numeric()) {
        out.push_back(static_cast<float>(v->get_double()));
        return;
    }
    for (const Value& element : *value_cast<TabValue>(*v).val)
        out.push_back(static_cast<float>(element->get_double()));
}

// A delay in `unit`, converted at `tempo` when written in the other one.
double delay_in(const CadDuration& delay, duration_type unit, double tempo) {
    const double d = delay.eval();
    if (delay.unit == unit) return d;
    return unit == DURATION_BEATS ? d * tempo / 60.0 : d * 60.0 / tempo;
}

interpolate_type type_of(const CurveBreakpoint& p) {
    if (!p.dynamic_type) return p.type;
    const interpolate_type t = to_interpol(*p.dynamic_type->eval());
    return t == INTERPOLATE_NONE ? INTERPOLATE_LINEAR : t;
}

// Every component of a NIM that drives a curve has the same segments.
bool same_delays(const NewInterpolatedMap& nim) {
    const ScalarInterpolatedMap& first = nim.components.front();
    for (std::size_t i = 1; i < nim.components.size(); ++i) {
        const ScalarInterpolatedMap& c = nim.components[i];
        const bool same =
            c.abscissae == first.abscissae &&
            std::equal(
                c.segments.begin(), c.segments.end(), first.segments.begin(), first.segments.end(),
                [](const SimpleScalarNim& a, const SimpleScalarNim& b) { return a.duration == b.duration; });
        if (same) continue;
        error("NIM in DataCurve: non uniform delay not yet implemented [nim13c] (%i %i %d %d)", 0,
              static_cast<int>(i), static_cast<int>(first.segments.size()),
              static_cast<int>(c.segments.size()));
        std::ostringstream text;
        nim.show_body(text);
        error("NIM en cause: %s", text.str().c_str());
        return false;
    }
    return true;
}

// A value computed in single precision, as the double that prints as the
// float does: 0.9f reads 0.9, not 0.899999976158142. No allocation.
double widen(float f) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, f).ptr;
    double d = f;
    std::from_chars(text, end, d);
    return d;
}

} // namespace

bool CurveFunction::build(const SeqContFunction& f, duration_type unit, double tempo) {
    for (const auto& v : f.variables)
        variables.push_back(v.get());
    if (!f.check_sizes() || f.points.empty()) return false;
    std::vector<Value> point;
    for (std::size_t i = 0; i < f.points.size(); ++i) {
        const CurveBreakpoint& p = f.points[i];
        const double d = i == 0 ? 0.0 : delay_in(p.delay, unit, tempo);
        if (i > 0 && !(d > 0.0)) {
            error("Curve: bad duration");
            return false;
        }
        point.clear();
        for (const ExpPtr& e : p.values)
            point.push_back(e->eval());
        if (!add_point(point)) return false;
        dates.push_back(i == 0 ? 0.0 : dates.back() + d);
        types.push_back(type_of(p));
    }
    join_points();
    return true;
}

void CurveFunction::join_points() {
    changes.assign(values.size(), 0.0f);
    for (std::size_t i = 0; i + width < values.size(); ++i)
        changes[i] = values[i + width] - values[i];
}

bool CurveFunction::add_point(const std::vector<Value>& point) {
    if (dims.empty() && !add_dimensions(point)) return false;
    for (std::size_t j = 0; j < point.size(); ++j) {
        const std::size_t n = columns_of(point[j]);
        if (n == 0) return false;
        if (n != dims[j]) {
            error("Vectorized curve: dimension mismatch");
            return false;
        }
        append_columns(point[j], values);
    }
    return true;
}

bool CurveFunction::add_dimensions(const std::vector<Value>& point) {
    for (const Value& v : point) {
        const std::size_t n = columns_of(v);
        if (n == 0) return false;
        dims.push_back(n);
        width += n;
    }
    return true;
}

float CurveFunction::value_at(const curve_state& state, double x, std::size_t column) const {
    const std::size_t s = state.segment;
    const float b = values[s * width + column];
    if (s + 1 >= dates.size()) return b;
    const float c = changes[s * width + column];
    return SimpleContFunction::eval(static_cast<float>(x - dates[s]), types[s], b, c,
                                    static_cast<float>(dates[s + 1] - dates[s]));
}

void CurveFunction::eval(curve_state& state, double x) const {
    while (state.segment + 2 < dates.size() && dates[state.segment + 1] <= x)
        state.segment += 1;
    if (x >= length()) state.segment = dates.size() - 1;
    std::size_t column = 0;
    for (std::size_t j = 0; j < variables.size(); ++j) {
        if (dims[j] == 1) {
            variables[j]->set_reference(float_value(widen(value_at(state, x, column))));
        } else {
            tab_t elements;
            elements.reserve(dims[j]);
            for (std::size_t k = 0; k < dims[j]; ++k)
                elements.push_back(float_value(widen(value_at(state, x, column + k))));
            variables[j]->set_reference(tab_value(std::move(elements)));
        }
        column += dims[j];
    }
}

// A NIM's components share their abscissae; each segment keeps its own start
// and change, so that the curve jumps where the NIM does.
bool CurveFunction::build(const Reference& variable, const NewInterpolatedMap& nim) {
    variables.push_back(&variable);
    if (nim.empty()) {
        error("NIM in DataCurve: empty NIM [nim13b]");
        return false;
    }
    const ScalarInterpolatedMap& first = nim.components.front();
    if (!same_delays(nim)) return false;
    dims.push_back(nim.is_vectorial ? nim.dimension() : 1);
    width = dims.front();
    const std::size_t n = first.segments.size();
    for (std::size_t s = 0; s <= n; ++s) {
        dates.push_back(s < n ? first.abscissae[s] - first.abscissae[0]
                              : dates.back() + first.segments[n - 1].duration);
        types.push_back(s < n ? first.segments[s].type : INTERPOLATE_LINEAR);
        for (const ScalarInterpolatedMap& c : nim.components) {
            values.push_back(static_cast<float>(s < n ? c.segments[s].start : c.segments[n - 1].end()));
            changes.push_back(static_cast<float>(s < n ? c.segments[s].change : 0.0));
        }
    }
    return true;
}
