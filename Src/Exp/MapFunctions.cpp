// The library over maps: tests of their keys, keys shifted or mapped,
// selections, values mapped, merges, concatenation and composition, keys
// and values as tabs, and maps read from the score (its tempi, the pitches
// and durations of its events).
#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/EvalContext.hpp"
#include "Exp/FunctionHelpers.hpp"
#include "Exp/Library.hpp"
#include "Exp/LibraryInstall.hpp"
#include "Exp/TabLibrary.hpp"

#include <algorithm>

namespace {

bool map_arg(const LibraryCall& call, std::size_t i) {
    if (call[i].is_map()) return true;
    error("Bad argument %d in function %s (got %s): a map is expected [m1]", static_cast<int>(i + 1),
          call.name(), call[i].kind_name());
    return false;
}

bool funct_arg(const LibraryCall& call, std::size_t i) {
    if (call[i].is_funct()) return true;
    error("Bad argument %d in function %s (got %s): a function is expected [m2]", static_cast<int>(i + 1),
          call.name(), call[i].kind_name());
    return false;
}

// ---- tests of keys ----

bool is_integer_indexed(const map_t& m) {
    return std::all_of(m.begin(), m.end(), [](const auto& e) { return e.first->is_int(); });
}

// Keys 0, 1, ..., n - 1: a map that is a tab in disguise.
bool is_list(const map_t& m) {
    long expected = 0;
    for (const auto& [key, value] : m)
        if (!key->is_int() || key->get_int() != expected++) return false;
    return true;
}

bool is_vector(const map_t& m) {
    return is_list(m) &&
           std::all_of(m.begin(), m.end(), [](const auto& e) { return e.second->is_numeric(); });
}

// ---- building ----

// @add_pair(m, k, v): the entry added to m in place; m is given back.
Value add_pair(const LibraryCall& call) {
    if (!arity_is(call, 3) || !map_arg(call, 0)) return undef_value();
    map_of(call[0])[call.args[1]] = call.args[2];
    return call.args[0];
}

// @shift_map(m, n): the numeric keys moved by n; other keys stay.
Value shift_map(const LibraryCall& call) {
    double by = 0;
    if (!arity_is(call, 2) || !map_arg(call, 0) || !number_arg(call, 1, by)) return undef_value();
    const bool whole = call[1].is_int();
    map_t out;
    for (const auto& [key, value] : map_of(call[0])) {
        if (!key->is_numeric()) {
            out.emplace(key, value);
            continue;
        }
        const Value moved = key->is_int() && whole ? int_value(key->get_int() + call[1].get_int())
                                                   : float_value(key->get_double() + by);
        out.emplace(moved, value);
    }
    return make_map(std::move(out));
}

// @gshift_map(m, f): each key k becomes f(k).
Value gshift_map(const LibraryCall& call) {
    if (!arity_is(call, 2) || !map_arg(call, 0) || !funct_arg(call, 1)) return undef_value();
    map_t out;
    for (const auto& [key, value] : map_of(call[0]))
        out.emplace(call_value(call[1], {key}), value);
    return make_map(std::move(out));
}

// @select_map(m, p): the entries for which p(key, value) holds.
Value select_map(const LibraryCall& call) {
    if (!arity_is(call, 2) || !map_arg(call, 0) || !funct_arg(call, 1)) return undef_value();
    map_t out;
    for (const auto& [key, value] : map_of(call[0]))
        if (truth(call_value(call[1], {key, value}))) out.emplace(key, value);
    return make_map(std::move(out));
}

// @mapval(m, f): the same keys, each value v becomes f(v).
Value mapval(const LibraryCall& call) {
    if (!arity_is(call, 2) || !map_arg(call, 0) || !funct_arg(call, 1)) return undef_value();
    map_t out;
    for (const auto& [key, value] : map_of(call[0]))
        out.emplace(key, call_value(call[1], {value}));
    return make_map(std::move(out));
}

// @merge(a, b): the entries of both; b's value wins on a shared key.
Value merge(const LibraryCall& call) {
    if (!arity_is(call, 2) || !map_arg(call, 0) || !map_arg(call, 1)) return undef_value();
    map_t out = map_of(call[1]);
    for (const auto& entry : map_of(call[0]))
        out.insert(entry);
    return make_map(std::move(out));
}

// @map_concat(a, b): b's entries after a's: b's numeric keys are moved so
// that its first key follows a's last one by one.
Value map_concat(const LibraryCall& call) {
    if (!arity_is(call, 2) || !map_arg(call, 0) || !map_arg(call, 1)) return undef_value();
    const map_t& a = map_of(call[0]);
    const map_t& b = map_of(call[1]);
    const bool numeric = [](const map_t& m) {
        return std::all_of(m.begin(), m.end(), [](const auto& e) { return e.first->is_numeric(); });
    }(a) && std::all_of(b.begin(), b.end(), [](const auto& e) { return e.first->is_numeric(); });
    if (!numeric) {
        error("Bad arguments in function %s: maps with numeric keys are expected [m3]", call.name());
        return undef_value();
    }
    map_t out = a;
    if (b.empty()) return make_map(std::move(out));
    const double shift =
        (a.empty() ? 0.0 : a.rbegin()->first->get_double() + 1.0) - b.begin()->first->get_double();
    const bool ints = is_integer_indexed(a) && is_integer_indexed(b);
    for (const auto& [key, value] : b)
        out[ints ? int_value(key->get_int() + static_cast<long>(shift))
                 : float_value(key->get_double() + shift)] = value;
    return make_map(std::move(out));
}

// @map_compose(a, b): for each key k of a whose value a(k) is a key of b,
// the entry (k, b(a(k))).
Value map_compose(const LibraryCall& call) {
    if (!arity_is(call, 2) || !map_arg(call, 0) || !map_arg(call, 1)) return undef_value();
    const map_t& b = map_of(call[1]);
    map_t out;
    for (const auto& [key, value] : map_of(call[0])) {
        const auto found = b.find(value);
        if (found != b.end()) out.emplace(key, found->second);
    }
    return make_map(std::move(out));
}

// ---- keys and values as tabs ----

bool map_or_tab_arg(const LibraryCall& call) {
    if (!arity_is(call, 1)) return false;
    if (call[0].is_map() || call[0].is_tab()) return true;
    error("Bad argument in function %s (got %s): a map or a tab is expected [m6]", call.name(),
          call[0].kind_name());
    return false;
}

// A tab read as the map of its indexes.
map_t as_map(const TaggedValue& x) {
    if (x.is_map()) return map_of(x);
    map_t out;
    long i = 0;
    for (const Value& e : tab_of(x))
        out.emplace(int_value(i++), e);
    return out;
}

Value domain(const LibraryCall& call) {
    if (!map_or_tab_arg(call)) return undef_value();
    tab_t out;
    for (const auto& [key, value] : as_map(call[0]))
        out.push_back(key);
    return make_tab(std::move(out));
}

Value range(const LibraryCall& call) {
    if (!map_or_tab_arg(call)) return undef_value();
    if (call[0].is_tab()) return make_tab(tab_of(call[0]));
    tab_t out;
    for (const auto& [key, value] : map_of(call[0]))
        out.push_back(value);
    return make_tab(std::move(out));
}

// @listify(m): the values of m in the order of its keys, keyed 0, 1, ...
Value listify(const LibraryCall& call) {
    if (!map_or_tab_arg(call)) return undef_value();
    map_t out;
    long i = 0;
    for (const auto& [key, value] : as_map(call[0]))
        out.emplace(int_value(i++), value);
    return make_map(std::move(out));
}

// @map_reverse(m): values become keys; of two equal values the first key stays.
Value map_reverse(const LibraryCall& call) {
    if (!map_or_tab_arg(call)) return undef_value();
    map_t out;
    for (const auto& [key, value] : as_map(call[0]))
        out.emplace(value, key);
    return make_map(std::move(out));
}

// @odei_map_function(t): the order of definition of each item: the map from
// each element of t (or value of a map) to the position (key) where it
// first occurs.
Value odei_map_function(const LibraryCall& call) {
    return map_reverse(call);
}

// ---- the score ----

// @score_tempi(): the tempi of the score in BPM, in the order of their changes.
Value score_tempi(const LibraryCall& call) {
    if (!arity_is(call, 0)) return undef_value();
    tab_t out;
    if (EvalContext* ctx = call.env.ctx)
        for (const auto& [beat, bpm] : ctx->score_tempi())
            out.push_back(float_value(bpm));
    return make_tab(std::move(out));
}

// The events whose beat is within [from, to], keyed by beat; the score's
// opening event, which has neither pitch nor length, is none of them.
template <class What>
Value event_map(const LibraryCall& call, What what) {
    double from = 0, to = 0;
    if (!arity_is(call, 2) || !number_arg(call, 0, from) || !number_arg(call, 1, to)) return undef_value();
    map_t out;
    if (EvalContext* ctx = call.env.ctx)
        for (const ScoreEventView& e : ctx->score_events())
            if (e.beat >= from && e.beat <= to && !(e.pitches.empty() && e.duration <= 0))
                out.emplace(float_value(e.beat), what(e));
    return make_map(std::move(out));
}

// A pitch in MIDI numbers (midicents / 100); a chord gives a tab, a silence 0.
Value pitch_of(const ScoreEventView& e) {
    if (e.pitches.size() == 1) return float_value(e.pitches.front() / 100.0);
    tab_t all;
    for (const float p : e.pitches)
        all.push_back(float_value(p / 100.0));
    return e.pitches.empty() ? float_value(0.0) : make_tab(std::move(all));
}

Value make_score_map(const LibraryCall& call) {
    return event_map(call, pitch_of);
}

Value make_duration_map(const LibraryCall& call) {
    return event_map(call, [](const ScoreEventView& e) { return float_value(e.duration); });
}

} // namespace

void install_predefined_map_function(GlobalEnvironment& env) {
    new LibraryFunction("@score_tempi", 0, score_tempi, &env, false);
    new LibraryFunction("@add_pair", 3, add_pair, &env, false);
    new LibraryFunction("@odei_map_function", 1, odei_map_function, &env);
    new LibraryFunction("@make_score_map", 2, make_score_map, &env, false);
    new LibraryFunction("@make_duration_map", 2, make_duration_map, &env, false);
    new PredefinedFct_Map__Bool("@is_integer_indexed", is_integer_indexed, &env);
    new PredefinedFct_Map__Bool("@is_list", is_list, &env);
    new PredefinedFct_Map__Bool("@is_vector", is_vector, &env);
    new LibraryFunction("@shift_map", 2, shift_map, &env);
    new LibraryFunction("@gshift_map", 2, gshift_map, &env, false);
    new LibraryFunction("@select_map", 2, select_map, &env, false);
    new LibraryFunction("@mapval", 2, mapval, &env, false);
    new LibraryFunction("@merge", 2, merge, &env);
    new LibraryFunction("@map_concat", 2, map_concat, &env);
    new LibraryFunction("@map_compose", 2, map_compose, &env);
    new LibraryFunction("@domain", 1, domain, &env);
    new LibraryFunction("@range", 1, range, &env);
    new LibraryFunction("@listify", 1, listify, &env);
    new LibraryFunction("@map_reverse", 1, map_reverse, &env);
}
