// Functions over values of any kind: size and emptiness, the absolute value,
// the least and greatest of two values, copies, kind tests, and the least and
// greatest values and keys of tabs, maps and nims.
#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/FunctionHelpers.hpp"
#include "Exp/Library.hpp"
#include "Exp/LibraryInstall.hpp"
#include "Exp/Nim.hpp"

#include <cstdint>
#include <limits>

namespace {

// The size of a value, or -1 (reported) for a kind without one.
long size_of(const TaggedValue& x) {
    if (x.is_tab()) return static_cast<long>(tab_of(x).size());
    if (x.is_map()) return static_cast<long>(map_of(x).size());
    if (x.is_imap()) return static_cast<long>(imap_of(x).size());
    if (x.is_nim()) {
        const auto& n = value_cast<NimValue>(x);
        return n.val ? static_cast<long>(n.val->dimension()) : 0;
    }
    if (x.is_string()) return static_cast<long>(x.get_string().size());
    error("Argument type not handled in @size %s", x.kind_name());
    CAD_INTERNAL_ERROR("@size of a " + std::string(x.kind_name()));
    return -1;
}

Value size(const LibraryCall& call) {
    if (call.count() != 1) {
        error("Bad arguments number in @size function call (%d provided)", call.count());
        return undef_value();
    }
    const long n = size_of(call[0]);
    return n < 0 ? undef_value() : int_value(n);
}

Value empty(const LibraryCall& call) {
    if (call.count() != 1) {
        error("Bad arguments number in @empty function call (%d provided)", call.count());
        return undef_value();
    }
    const long n = size_of(call[0]);
    return n < 0 ? undef_value() : bool_value(n == 0);
}

// An int stays an int, but the least int has no opposite in 32 bits: its
// absolute value is given as a float rather than as itself.
Value abs_of(const TaggedValue& x) {
    if (x.is_int()) {
        const long v = x.get_int();
        if (v == std::numeric_limits<std::int32_t>::min()) return float_value(-static_cast<double>(v));
        return int_value(v < 0 ? -v : v);
    }
    if (x.is_double()) return float_value(std::fabs(x.get_double()));
    error("Bad argument type in @abs %s", x.kind_name());
    return undef_value();
}

Value abs(const LibraryCall& call) {
    if (call.count() != 1) {
        error("Bad arguments number in size function call (%d provided, 1 expected)", call.count());
        return undef_value();
    }
    const TaggedValue& x = call[0];
    if (x.is_tab()) {
        tab_t out;
        out.reserve(tab_of(x).size());
        for (const Value& e : tab_of(x))
            out.push_back(abs_of(*e));
        return make_tab(std::move(out));
    }
    if (x.is_map()) {
        map_t out;
        for (const auto& [k, v] : map_of(x))
            out.emplace(k, abs_of(*v));
        return make_map(std::move(out));
    }
    return abs_of(x);
}

// `vcompare` is positive when its first argument is the lesser.
Value min(const LibraryCall& call) {
    if (call.count() != 2) {
        error("Bad arguments number in @min function call (%d provided)", call.count());
        return undef_value();
    }
    return vcompare(call[1], call[0]) > 0 ? call.args[1] : call.args[0];
}

Value max(const LibraryCall& call) {
    if (call.count() != 2) {
        error("Bad arguments number in @max function call (%d provided)", call.count());
        return undef_value();
    }
    return vcompare(call[0], call[1]) > 0 ? call.args[1] : call.args[0];
}

Value copy(const LibraryCall& call) {
    if (call.count() != 1) {
        error("Bad arguments number in copy function call (%d provided)", call.count());
        return undef_value();
    }
    return call[0].deep_copy();
}

Value is_defined(const LibraryCall& call) {
    if (call.count() != 2) {
        error("Bad arguments number in function call %s (2 expected, %d provided) [baf13]", call.name(),
              call.count());
        return undef_value();
    }
    if (!call[0].is_map()) {
        error("Bad argument 1 type in function %s (got %s)", call.name(), call[0].kind_name());
        return undef_value();
    }
    return bool_value(map_of(call[0]).count(call.args[1]) != 0);
}

// ---- least and greatest ----

// The least (`greatest` false) or greatest element of a run of values.
template <class It, class Get>
Value extreme(It first, It last, bool greatest, Get get) {
    if (first == last) return undef_value();
    It best = first;
    for (It it = std::next(first); it != last; ++it) {
        const int c = vcompare(get(*best), get(*it)); // positive: best is the lesser
        if (greatest ? c > 0 : c < 0) best = it;
    }
    return get(*best);
}

const Value& itself(const Value& v) {
    return v;
}
const Value& value_part(const map_t::value_type& e) {
    return e.second;
}

Value tab_min_val(const TabValue& t) {
    return t.val ? extreme(t.val->begin(), t.val->end(), false, itself) : undef_value();
}
Value tab_max_val(const TabValue& t) {
    return t.val ? extreme(t.val->begin(), t.val->end(), true, itself) : undef_value();
}
Value map_min_val(const MapValue& m) {
    return extreme(m.val->begin(), m.val->end(), false, value_part);
}
Value map_max_val(const MapValue& m) {
    return extreme(m.val->begin(), m.val->end(), true, value_part);
}
Value map_min_key(const MapValue& m) {
    return m.val->empty() ? undef_value() : m.val->begin()->first;
}
Value map_max_key(const MapValue& m) {
    return m.val->empty() ? undef_value() : m.val->rbegin()->first;
}

// The breakpoints of a nim: the first abscissa and the end of the last
// segment of its first component.
Value nim_min_key(const NimValue& n) {
    if (!n.val || n.val->empty()) return undef_value();
    return float_value(n.val->components.front().abscissae.front());
}
Value nim_max_key(const NimValue& n) {
    if (!n.val || n.val->empty()) return undef_value();
    const ScalarInterpolatedMap& c = n.val->components.front();
    return float_value(c.abscissae.back() + c.segments.back().duration);
}

// In place: every sharer of the tab or map sees it emptied.
Value clear_tab(const TabValue& t) {
    if (t.val) t.val->clear();
    return Value(t);
}
Value clear_map(const MapValue& m) {
    m.val->clear();
    return Value(m);
}

struct KindTest {
    const char* name;
    bool (*test)(const TaggedValue&);
};

const KindTest kind_tests[] = {
    {"@is_undef", [](const TaggedValue& x) { return x.is_undef(); }},
    {"@is_bool", [](const TaggedValue& x) { return x.is_bool(); }},
    {"@is_int", [](const TaggedValue& x) { return x.is_int(); }},
    {"@is_float", [](const TaggedValue& x) { return x.is_double(); }},
    {"@is_numeric", [](const TaggedValue& x) { return x.is_numeric(); }},
    {"@is_string", [](const TaggedValue& x) { return x.is_string(); }},
    {"@is_symbol", [](const TaggedValue& x) { return x.is_symbol(); }},
    {"@is_map", [](const TaggedValue& x) { return x.is_map(); }},
    {"@is_tab", [](const TaggedValue& x) { return x.is_tab(); }},
    {"@is_nim", [](const TaggedValue& x) { return x.is_nim(); }},
    {"@is_interpolatedmap", [](const TaggedValue& x) { return x.is_imap(); }},
    {"@is_fct", [](const TaggedValue& x) { return x.is_fct(); }},
    {"@is_function", [](const TaggedValue& x) { return x.is_funct(); }},
    {"@is_proc", [](const TaggedValue& x) { return x.is_proc(); }},
    {"@is_exec", [](const TaggedValue& x) { return x.is_exe(); }},
};

} // namespace

void install_kind_functions(GlobalEnvironment& env) {
    new LibraryFunction("@size", 1, size, &env);
    new LibraryFunction("@empty", 1, empty, &env);
    new LibraryFunction("@abs", 1, abs, &env);
    new LibraryFunction("@min", 2, min, &env);
    new LibraryFunction("@max", 2, max, &env);
    new LibraryFunction("@copy", 1, copy, &env);
    new LibraryFunction("@is_defined", 2, is_defined, &env);
    for (const KindTest& k : kind_tests)
        new NonListablePredicate(k.name, k.test, &env);
    new OverloadMapTab("@min_val", map_min_val, tab_min_val, &env);
    new OverloadMapTab("@max_val", map_max_val, tab_max_val, &env);
    new OverloadMapTab("@clear", clear_map, clear_tab, &env, false);
    new OverloadMapNim("@min_key", map_min_key, nim_min_key, &env);
    new OverloadMapNim("@max_key", map_max_key, nim_max_key, &env);
}
