// From the text of a NIM to its value. Each point's expressions are
// evaluated in order; any of them may be a tab, which makes the NIM a vector
// of that size, and a number stands for the same number in every component.
// A point with its own start value begins a segment there (the NIM jumps);
// without one, the segment starts where the previous one ended.
#include "Base/Console.hpp"
#include "Exp/Interpolation.hpp"
#include "Exp/NimDefinition.hpp"
#include "Exp/ValueKinds.hpp"

#include <algorithm>

namespace {

// The numbers of one written expression: one, or a tab's elements.
struct Column {
    std::vector<double> numbers;
    double at(std::size_t i) const { return numbers.size() == 1 ? numbers.front() : numbers[i]; }
};

// A point after evaluation. The start is empty when the point has none.
struct RealNimPoint {
    Column abscissa, start, value;
    std::vector<interpolate_type> tween;
};

// What is said of an abscissa, or of a value, that is not a number.
struct Codes {
    const char* bad;   // neither a number nor a tab
    const char* inner; // a tab with something else than numbers
    const char* inner_text;
};
const Codes abscissa_codes{"nim3", "nim2",
                           "Nim definition: non numeric value is some vector argument (%s) [%s]"};
const Codes value_codes{"nim9", "nim8", "Nim definition: argument must be numeric in vector (got %s) [%s]"};

bool numbers_of(const Value& v, Column& out, const Codes& codes) {
    if (v->is_numeric()) {
        out.numbers.assign(1, v->get_double());
        return true;
    }
    if (!v->is_tab() || value_cast<TabValue>(*v).val->empty()) {
        error("Nim definition: argument must be numeric or vector (got %s) [%s]", show_text(v).c_str(),
              codes.bad);
        return false;
    }
    for (const Value& e : *value_cast<TabValue>(*v).val) {
        if (!e->is_numeric()) {
            error(codes.inner_text, show_text(e).c_str(), codes.inner);
            return false;
        }
        out.numbers.push_back(e->get_double());
    }
    return true;
}

bool types_of(const Expression* e, std::vector<interpolate_type>& out) {
    if (!e) {
        out.assign(1, INTERPOLATE_LINEAR);
        return true;
    }
    const Value v = e->eval();
    if (v->is_string_or_symb()) {
        out.assign(1, to_interpol(*v));
        return out.front() != INTERPOLATE_NONE;
    }
    if (v->is_tab() && !value_cast<TabValue>(*v).val->empty()) {
        for (const Value& name : *value_cast<TabValue>(*v).val) {
            if (!name->is_string_or_symb()) break;
            out.push_back(to_interpol(*name));
            if (out.back() == INTERPOLATE_NONE) return false;
        }
        if (out.size() == value_cast<TabValue>(*v).val->size()) return true;
    }
    error("Nim definition: bad interpolation type (recquire string, got %s) [nim5]", show_text(v).c_str());
    return false;
}

bool evaluate(const NimPoint& p, RealNimPoint& out) {
    if (p.shape != NimPoint::PLAIN) {
        error("Nim definition: the short forms of breakpoints (+, -, *, \\, =) are not supported");
        return false;
    }
    if (p.abscissa && !numbers_of(p.abscissa->eval(), out.abscissa, abscissa_codes)) return false;
    if (!p.abscissa) out.abscissa.numbers.assign(1, 1.0);
    if (p.start && !numbers_of(p.start->eval(), out.start, value_codes)) return false;
    if (!p.value || !numbers_of(p.value->eval(), out.value, value_codes)) return false;
    return types_of(p.tween.get(), out.tween);
}

// The size of the widest tab; every other column has that size or one.
bool dimension_of(const std::vector<const Column*>& columns, std::size_t& dim) {
    dim = 1;
    for (const Column* c : columns)
        dim = std::max(dim, c->numbers.size());
    for (const Column* c : columns) {
        if (c->numbers.empty() || c->numbers.size() == 1 || c->numbers.size() == dim) continue;
        error("Nim definition: heterogeneous size in vectorized definition (%d and %d) [nim1]",
              static_cast<int>(c->numbers.size()), static_cast<int>(dim));
        return false;
    }
    return true;
}

bool check_types(const std::vector<RealNimPoint>& points, std::size_t dim) {
    for (const RealNimPoint& p : points) {
        if (p.tween.size() == 1 || p.tween.size() == dim) continue;
        error("Nim definition: heterogeneous size in vectorized definition of the interpolation type (%d and "
              "%d) "
              "[nim4]",
              static_cast<int>(p.tween.size()), static_cast<int>(dim));
        return false;
    }
    return true;
}

bool check_duration(double d) {
    if (d == 0.0) {
        error("Nim definition: bad zero duration [nim6b]");
        return false;
    }
    if (d > 0.0) return true;
    error("NIM: duration between breakpoints must be positive [nim17]");
    return false;
}

// Component `i`: its segments one after the other from (x0, y0).
bool build_component(const Column& x0, const Column* y0, const std::vector<RealNimPoint>& points,
                     std::size_t i, ScalarInterpolatedMap& out) {
    double x = x0.at(i);
    double previous = y0 ? y0->at(i) : 0.0;
    for (const RealNimPoint& p : points) {
        const double d = p.abscissa.at(i);
        if (!check_duration(d)) return false;
        const double from = p.start.numbers.empty() ? previous : p.start.at(i);
        const interpolate_type type = p.tween.size() == 1 ? p.tween.front() : p.tween[i];
        out.add_last(type, d, from, p.value.at(i), x);
        x += d;
        previous = p.value.at(i);
    }
    return true;
}

} // namespace

// A NIM whose first point has no start value of its own begins at y0.
Value NimDefinition::eval() const {
    if (!list) return Value::make<NimValue>(make_counted<NewInterpolatedMap>());
    if (list->points.empty()) {
        error("Bad Nim construction (?) [nim10]");
        CAD_INTERNAL_ERROR("empty NIM list");
        return bad_nim();
    }
    Column x0, y0;
    if (list->x0 && !numbers_of(list->x0->eval(), x0, abscissa_codes)) return bad_nim();
    if (!list->x0) x0.numbers.assign(1, 0.0);
    if (list->y0 && !numbers_of(list->y0->eval(), y0, value_codes)) return bad_nim();
    std::vector<RealNimPoint> points(list->points.size());
    std::vector<const Column*> columns{&x0, &y0};
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (!evaluate(*list->points[i], points[i])) return bad_nim();
        columns.insert(columns.end(), {&points[i].abscissa, &points[i].start, &points[i].value});
    }
    std::size_t dim = 1;
    if (!dimension_of(columns, dim) || !check_types(points, dim)) return bad_nim();
    auto nim = make_counted<NewInterpolatedMap>();
    nim->components.resize(dim);
    nim->is_vectorial =
        std::any_of(columns.begin(), columns.end(), [](const Column* c) { return c->numbers.size() > 1; });
    for (std::size_t i = 0; i < dim; ++i)
        if (!build_component(x0, list->y0 ? &y0 : nullptr, points, i, nim->components[i])) return bad_nim();
    return Value::make<NimValue>(std::move(nim));
}

// ---- extension from values (@push_back) ----

namespace {

// The part of `v` for component `i` of `dim`: a number for all, or a tab of
// `dim` numbers.
bool part_of(const TaggedValue& v, std::size_t i, std::size_t dim, double& out) {
    if (v.is_numeric()) {
        out = v.get_double();
        return true;
    }
    if (!v.is_tab()) return false;
    const tab_t& t = *static_cast<const TabValue&>(v).val;
    if (t.size() != dim || !t[i]->is_numeric()) return false;
    out = t[i]->get_double();
    return true;
}

bool type_part(const TaggedValue& v, std::size_t i, std::size_t dim, interpolate_type& out) {
    if (v.is_string_or_symb()) {
        out = to_interpol(v);
        return out != INTERPOLATE_NONE;
    }
    if (!v.is_tab()) return false;
    const tab_t& t = *static_cast<const TabValue&>(v).val;
    if (t.size() != dim || !t[i]->is_string_or_symb()) return false;
    out = to_interpol(*t[i]);
    return out != INTERPOLATE_NONE;
}

} // namespace

// Every part is checked before the map changes: a bad one leaves it whole.
bool NewInterpolatedMap::add_last(const TaggedValue& duration, const TaggedValue& end, const TaggedValue& type) {
    if (components.empty()) components.resize(1);
    const std::size_t dim = components.size();
    std::vector<double> durations(dim), ends(dim);
    std::vector<interpolate_type> types(dim);
    for (std::size_t i = 0; i < dim; ++i) {
        if (!part_of(duration, i, dim, durations[i]) || !part_of(end, i, dim, ends[i])) {
            error("Nim definition: argument must be numeric or vector (got %s) [nim9]",
                  show_text(part_of(duration, i, dim, durations[i]) ? end : duration).c_str());
            return false;
        }
        if (!type_part(type, i, dim, types[i])) {
            error("Nim definition: bad interpolation type (recquire string, got %s) [nim6]", show_text(type).c_str());
            return false;
        }
        if (!check_duration(durations[i])) return false;
    }
    for (std::size_t i = 0; i < dim; ++i)
        components[i].add_last(types[i], durations[i], components[i].last_value(), ends[i]);
    return true;
}
