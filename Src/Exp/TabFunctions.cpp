// Building and taking tabs apart: ranges, head and tail, concatenation,
// reversal, growing and shrinking in place, and the functions that carry
// another function over a tab (map, scan, reduce).
#include "Base/Console.hpp"
#include "Exp/Library.hpp"
#include "Exp/LibraryInstall.hpp"
#include "Exp/TabLibrary.hpp"

#include <algorithm>

namespace {

Value iota(const LibraryCall& call) {
    if (call.count() != 1) {
        error("Bad arguments number in @iota call (1 expected, %d provided) [t1]", call.count());
        return undef_value();
    }
    long n = 0;
    if (!whole_number(call[0], n) || n < 0) {
        error("Bad argument in function %s (got %s): a positive int is expected [t4]", call.name(),
              show_text(call[0]).c_str());
        return undef_value();
    }
    if (!length_fits(call, n)) return undef_value();
    tab_t out;
    out.reserve(static_cast<std::size_t>(n));
    for (long i = 0; i < n; ++i)
        out.push_back(int_value(i));
    return make_tab(std::move(out));
}

Value car(const LibraryCall& call) {
    if (!arity_is(call, 1) || !tab_arg(call, 0)) return undef_value();
    const tab_t& t = tab_of(call[0]);
    return t.empty() ? undef_value() : t.front();
}

Value cdr(const LibraryCall& call) {
    if (!arity_is(call, 1) || !tab_arg(call, 0)) return undef_value();
    const tab_t& t = tab_of(call[0]);
    return make_tab(t.empty() ? tab_t{} : tab_t(t.begin() + 1, t.end()));
}

Value last(const LibraryCall& call) {
    if (!arity_is(call, 1) || !tab_arg(call, 0)) return undef_value();
    const tab_t& t = tab_of(call[0]);
    return t.empty() ? undef_value() : t.back();
}

Value cons(const LibraryCall& call) {
    if (!arity_is(call, 2) || !tab_arg(call, 1)) return undef_value();
    tab_t out{call.args[0]};
    const tab_t& t = tab_of(call[1]);
    out.insert(out.end(), t.begin(), t.end());
    return make_tab(std::move(out));
}

Value concat(const LibraryCall& call) {
    if (!arity_is(call, 2)) return undef_value();
    if (!call[0].is_tab() || !call[1].is_tab()) {
        error("Bad argument concat: vectors are expected");
        return undef_value();
    }
    tab_t out = tab_of(call[0]);
    const tab_t& more = tab_of(call[1]);
    out.insert(out.end(), more.begin(), more.end());
    return make_tab(std::move(out));
}

Value reverse(const LibraryCall& call) {
    if (!arity_is(call, 1)) return undef_value();
    if (call[0].is_string()) {
        std::string s = call[0].get_string();
        std::reverse(s.begin(), s.end());
        return string_value(s);
    }
    if (!tab_or_string_arg(call, 0)) return undef_value();
    tab_t out = tab_of(call[0]);
    std::reverse(out.begin(), out.end());
    return make_tab(std::move(out));
}

Value explode(const LibraryCall& call) {
    if (!arity_is(call, 1)) return undef_value();
    if (!call[0].is_string()) {
        error("Bad argument in function %s (got %s): a string is expected [t28]", call.name(),
              call[0].kind_name());
        return undef_value();
    }
    tab_t out;
    for (const char c : call[0].get_string())
        out.push_back(string_value(std::string(1, c)));
    return make_tab(std::move(out));
}

// ---- in place: every sharer of the tab sees the change ----

Value push_back(const LibraryCall& call) {
    if (!arity_is(call, 2) || !tab_arg(call, 0)) return undef_value();
    mutable_tab(call[0]).push_back(call.args[1]);
    return call.args[0];
}

Value push_front(const LibraryCall& call) {
    if (!arity_is(call, 2) || !tab_arg(call, 0)) return undef_value();
    tab_t& t = mutable_tab(call[0]);
    t.insert(t.begin(), call.args[1]);
    return call.args[0];
}

// New slots are undef.
Value resize(const LibraryCall& call) {
    if (!arity_is(call, 2) || !tab_arg(call, 0)) return undef_value();
    long n = 0;
    if (!count_arg(call, 1, n, false) || !length_fits(call, n)) return undef_value();
    mutable_tab(call[0]).resize(static_cast<std::size_t>(n));
    return call.args[0];
}

Value remove_duplicate(const LibraryCall& call) {
    if (!arity_is(call, 1) || !tab_arg(call, 0)) return undef_value();
    tab_t out;
    for (const Value& e : tab_of(call[0]))
        if (std::none_of(out.begin(), out.end(), [&](const Value& seen) { return vcompare(seen, e) == 0; }))
            out.push_back(e);
    return make_tab(std::move(out));
}

// ---- carrying a function over a tab ----

Value map_on_tab(const LibraryCall& call) {
    if (!arity_is(call, 2)) return undef_value();
    if (!call[0].is_funct()) {
        error("Bad argument type in function call %s: expect a funct got a %s [t7]", call.name(),
              call[0].kind_name());
        return undef_value();
    }
    if (!call[1].is_tab()) {
        error("Bad argument type in function call %s: expect a tab, got a %s [t8]", call.name(),
              call[1].kind_name());
        return undef_value();
    }
    tab_t out;
    out.reserve(tab_of(call[1]).size());
    for (const Value& e : tab_of(call[1]))
        out.push_back(call_value(call[0], {e}));
    return make_tab(std::move(out));
}

// The fold of reduce and scan: f(f(t0, t1), t2)...; `steps` keeps each
// partial result when given. A scalar folds to itself, an empty tab to undef.
bool fold_checks(const LibraryCall& call) {
    if (call.count() != 2) {
        error("Bad arguments number in function call %s (2 expected, %d provided) [T12]", call.name(),
              call.count());
        return false;
    }
    if (!call[0].is_funct()) {
        error("Bad argument type in function call %s: expect a funct got a %s [T13]", call.name(),
              call[0].kind_name());
        return false;
    }
    return true;
}

Value fold(const LibraryCall& call, tab_t* steps) {
    if (!call[1].is_tab()) return call.args[1];
    const tab_t& t = tab_of(call[1]);
    if (t.empty()) return undef_value();
    Value acc = t.front();
    if (steps) steps->push_back(acc);
    for (std::size_t i = 1; i < t.size(); ++i) {
        acc = call_value(call[0], {acc, t[i]});
        if (steps) steps->push_back(acc);
    }
    return acc;
}

Value reduce(const LibraryCall& call) {
    return fold_checks(call) ? fold(call, nullptr) : undef_value();
}

Value scan(const LibraryCall& call) {
    if (!fold_checks(call)) return undef_value();
    if (!call[1].is_tab()) return make_tab({call.args[1]});
    tab_t steps;
    fold(call, &steps);
    return make_tab(std::move(steps));
}

} // namespace

void install_predefined_tab_function(GlobalEnvironment& env) {
    new LibraryFunction("@iota", 1, iota, &env);
    new LibraryFunction("@car", 1, car, &env);
    new LibraryFunction("@cdr", 1, cdr, &env);
    new LibraryFunction("@last", 1, last, &env);
    new LibraryFunction("@cons", 2, cons, &env);
    new LibraryFunction("@concat", 2, concat, &env);
    new LibraryFunction("@reverse", 1, reverse, &env);
    new LibraryFunction("@explode", 1, explode, &env);
    new LibraryFunction("@push_back", 2, push_back, &env, false);
    new LibraryFunction("@push_front", 2, push_front, &env, false);
    new LibraryFunction("@resize", 2, resize, &env, false);
    new LibraryFunction("@remove_duplicate", 1, remove_duplicate, &env);
    new LibraryFunction("@map", 2, map_on_tab, &env, false);
    new LibraryFunction("@scan", 2, scan, &env, false);
    new LibraryFunction("@reduce", 2, reduce, &env, false);
}
