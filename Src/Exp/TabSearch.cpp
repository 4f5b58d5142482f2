// Searching tabs (and the values of maps): membership, counts, positions,
// and the prefix, suffix and subsequence tests on tabs and strings. What is
// looked for is a value, compared by the language's equality, or a
// predicate, a function value called on each element.
#include "Base/Console.hpp"
#include "Exp/Library.hpp"
#include "Exp/LibraryInstall.hpp"
#include "Exp/TabLibrary.hpp"

#include <algorithm>
#include <functional>

namespace {

enum class Mode { member, occurs, count, find };

bool matches(const TaggedValue& what, const Value& element) {
    if (what.is_funct()) return truth(call_value(what, {element}));
    return vcompare(what, element) == 0;
}

// The positions (tab) or keys (map) of the elements that match.
std::vector<Value> matching(const TaggedValue& where, const TaggedValue& what, bool first_only) {
    std::vector<Value> found;
    if (where.is_tab()) {
        const tab_t& t = tab_of(where);
        for (std::size_t i = 0; i < t.size() && !(first_only && !found.empty()); ++i)
            if (matches(what, t[i])) found.push_back(int_value(static_cast<long>(i)));
        return found;
    }
    for (const auto& [key, value] : map_of(where)) {
        if (first_only && !found.empty()) break;
        if (matches(what, value)) found.push_back(key);
    }
    return found;
}

template <Mode mode>
Value occurence(const LibraryCall& call) {
    if (!arity_is(call, 2)) return undef_value();
    if (!call[0].is_tab() && !call[0].is_map()) {
        error("Bad argument in function %s (got %s): a tab or a map is expected [t29]", call.name(),
              call[0].kind_name());
        return undef_value();
    }
    const bool first_only = mode == Mode::member || mode == Mode::find;
    std::vector<Value> found = matching(call[0], call[1], first_only);
    switch (mode) {
    case Mode::member:
        return bool_value(!found.empty());
    case Mode::count:
        return int_value(static_cast<long>(found.size()));
    case Mode::find:
        if (!found.empty()) return found.front();
        return call[0].is_tab() ? int_value(-1) : undef_value();
    case Mode::occurs:
        return make_tab(std::move(found));
    }
    return undef_value();
}

// ---- prefix, suffix, subsequence ----

using Same = std::function<bool(const Value&, const Value&)>;

tab_t as_elements(const TaggedValue& x) {
    if (x.is_tab()) return tab_of(x);
    tab_t out;
    for (const char c : x.get_string())
        out.push_back(string_value(std::string(1, c)));
    return out;
}

bool sequence_checks(const LibraryCall& call) {
    if (!arity_between(call, 2, 3)) return false;
    if (call.count() == 3 && !call[2].is_funct()) {
        error("Bad arguments in function call %s: optional third arg must be a binary function", call.name());
        return false;
    }
    const bool tabs = call[0].is_tab() && call[1].is_tab();
    const bool strings = call[0].is_string() && call[1].is_string();
    if (tabs || strings) return true;
    error("Bad arguments in function call %s: two tabs or two strings are expected (got %s and %s) [t9]",
          call.name(), call[0].kind_name(), call[1].kind_name());
    return false;
}

Same sameness(const LibraryCall& call) {
    if (call.count() == 3) {
        const Value f = call.args[2];
        return [f](const Value& a, const Value& b) { return truth(call_value(f, {a, b})); };
    }
    return [](const Value& a, const Value& b) { return vcompare(a, b) == 0; };
}

// Whether `part` appears in `whole` starting at `at`.
bool appears_at(const tab_t& part, const tab_t& whole, std::size_t at, const Same& same) {
    if (at + part.size() > whole.size()) return false;
    for (std::size_t i = 0; i < part.size(); ++i)
        if (!same(part[i], whole[at + i])) return false;
    return true;
}

// @is_prefix(a, b): a begins b.
Value is_prefix(const LibraryCall& call) {
    if (!sequence_checks(call)) return undef_value();
    return bool_value(appears_at(as_elements(call[0]), as_elements(call[1]), 0, sameness(call)));
}

// @is_suffix(a, b): a ends b.
Value is_suffix(const LibraryCall& call) {
    if (!sequence_checks(call)) return undef_value();
    const tab_t part = as_elements(call[0]), whole = as_elements(call[1]);
    if (part.size() > whole.size()) return bool_value(false);
    return bool_value(appears_at(part, whole, whole.size() - part.size(), sameness(call)));
}

// @is_subsequence(a, b): a appears in b as one contiguous run.
Value is_subsequence(const LibraryCall& call) {
    if (!sequence_checks(call)) return undef_value();
    const tab_t part = as_elements(call[0]), whole = as_elements(call[1]);
    const Same same = sameness(call);
    for (std::size_t at = 0; at + part.size() <= whole.size(); ++at)
        if (appears_at(part, whole, at, same)) return bool_value(true);
    return bool_value(false);
}

} // namespace

void install_tab_search_functions(GlobalEnvironment& env) {
    new LibraryFunction("@member", 2, occurence<Mode::member>, &env, false);
    new LibraryFunction("@occurs", 2, occurence<Mode::occurs>, &env, false);
    new LibraryFunction("@count", 2, occurence<Mode::count>, &env, false);
    new LibraryFunction("@find", 2, occurence<Mode::find>, &env, false);
    (new LibraryFunction("@is_prefix", 2, is_prefix, &env, false))->up_to(3);
    (new LibraryFunction("@is_suffix", 2, is_suffix, &env, false))->up_to(3);
    (new LibraryFunction("@is_subsequence", 2, is_subsequence, &env, false))->up_to(3);
}
