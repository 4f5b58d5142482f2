// Application of values to arguments: tab indexing, map lookup,
// interpolation, functions and closures.
#include "Exp/Function.hpp"
#include "Exp/Nim.hpp"
#include "Exp/Values.hpp"
#include "Base/Console.hpp"

#include <cmath>
#include <iterator>

namespace {

Value cannot_apply(const TaggedValue& v, const char* headline, const char* detail) {
    error("%s %s\nError: bad type in %s application: cannot apply a '%s'\n\tExpect a function, got: '%s'",
          headline, v.kind_name(), detail, v.kind_name(), show_text(v).c_str());
    return undef_value();
}

Value wrong_count(const char* format, std::size_t n) {
    error(format, static_cast<int>(n));
    return undef_value();
}

double interpolate(const imap_t::const_iterator& a, const imap_t::const_iterator& b, double x) {
    return a->second + (b->second - a->second) / (b->first - a->first) * (x - a->first);
}

// Piecewise linear through the keys, the end segments extended.
double interpolate_imap(const imap_t& m, double x) {
    if (m.size() == 1) return m.begin()->second;
    auto upper = m.lower_bound(x);
    if (upper != m.end() && upper->first == x) return upper->second;
    if (upper == m.begin()) return interpolate(m.begin(), std::next(m.begin()), x);
    if (upper == m.end()) return interpolate(std::prev(m.end(), 2), std::prev(m.end()), x);
    return interpolate(std::prev(upper), upper, x);
}

Value apply_nim_number(const nim_t& nim, double x) {
    if (nim.empty()) {
        error("Bad NIM scalar application");
        return float_value(0.0);
    }
    if (!nim.is_vectorial) return float_value(nim.components.front().apply(x));
    tab_t out;
    for (const ScalarInterpolatedMap& c : nim.components)
        out.push_back(float_value(c.apply(x)));
    return tab_value(std::move(out));
}

Value apply_nim_tab(const nim_t& nim, const tab_t& xs) {
    if (xs.size() != nim.dimension()) {
        error("Bad argument for a vectorized NIM application: dimension differs (%d and %d)",
              static_cast<int>(xs.size()), static_cast<int>(nim.dimension()));
        return undef_value();
    }
    tab_t out;
    for (std::size_t i = 0; i < xs.size(); ++i) {
        if (!xs[i]->is_numeric()) {
            error("Bad argument for a NIM application: not a numeric argument (%s)",
                  show_text(*xs[i]).c_str());
            out.push_back(undef_value());
            continue;
        }
        out.push_back(float_value(nim.components[i].apply(xs[i]->get_double())));
    }
    return tab_value(std::move(out));
}

} // namespace

Value TaggedValue::apply(const TaggedValue&) const {
    return cannot_apply(*this, "Bad type in unary function application: cannot apply a", "unary");
}

Value TaggedValue::apply(const std::vector<Value>&) const {
    return cannot_apply(*this, "Bad type in function application: cannot apply a", "fct");
}

Value TabValue::apply(const TaggedValue& index) const {
    return at(index, nullptr);
}

// A non-numeric index gives undef silently; a float index is truncated.
Value TabValue::at(const TaggedValue& index, const Expression* site) const {
    if (!index.is_numeric()) return undef_value();
    const long i = index.get_int();
    const auto n = static_cast<long>(size());
    if (i < 0 || i >= n) {
        error("Tab index out of bound (index=%d, size=%d)", static_cast<int>(i), static_cast<int>(n));
        if (site) site->report_failed_evaluation();
        return undef_value();
    }
    return (*val)[static_cast<std::size_t>(i)];
}

Value MapValue::apply(const TaggedValue& key) const {
    if (!val) return undef_value();
    const auto found = val->find(key);
    return found == val->end() ? undef_value() : found->second;
}

Value MapValue::apply(const std::vector<Value>& args) const {
    if (args.size() == 1) return apply(args.front());
    return wrong_count("Bad arguments number in map call (1 expected and %d provided)", args.size());
}

Value InterpolatedMapValue::apply(const TaggedValue& x) const {
    if (!x.is_numeric()) {
        error("Error: bad argument for an interpolated map, expect a float, got a '%s", x.kind_name());
        return undef_value();
    }
    const double at = x.get_double();
    if (std::isnan(at)) return float_value(0.0);
    if (!val || val->empty()) return undef_value();
    return float_value(interpolate_imap(*val, at));
}

Value InterpolatedMapValue::apply(const std::vector<Value>& args) const {
    if (args.size() == 1) return apply(args.front());
    return wrong_count("Bad arguments number in InterPolatedMap call (1 expected and %d provided)",
                       args.size());
}

Value NimValue::apply(const TaggedValue& x) const {
    static const nim_t empty;
    const nim_t& nim = val ? *val : empty;
    if (x.is_numeric()) return apply_nim_number(nim, x.get_double());
    if (x.is_tab()) {
        const TabValue& t = value_cast<TabValue>(x);
        return t.val ? apply_nim_tab(nim, *t.val) : apply_nim_tab(nim, {});
    }
    error("Bad argument for a NIM, expect a numeric or a tab, got a '%s", x.kind_name());
    return undef_value();
}

Value NimValue::apply(const std::vector<Value>& args) const {
    if (args.size() == 1) return apply(args.front());
    error("Bad arguments number in NIM call (1 expected and %d provided)", static_cast<int>(args.size()));
    return float_value(0.0);
}

Value FctValue::apply(const TaggedValue& arg) const {
    return apply(std::vector<Value>{Value(arg)});
}

Value FctValue::apply(const std::vector<Value>& args) const {
    return val ? val->apply(args) : undef_value();
}

Value PafValue::apply(const TaggedValue& arg) const {
    return apply(std::vector<Value>{Value(arg)});
}

Value PafValue::apply(const std::vector<Value>& args) const {
    return val ? val->apply(args) : undef_value();
}
