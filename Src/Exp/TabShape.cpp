// Tabs as arrays of several dimensions (depth, shape, flattening,
// reshaping), the replacement of a run of elements by another, and the
// insertion and removal of one element of a tab, a map or an imap.
#include "Base/Console.hpp"
#include "Exp/Library.hpp"
#include "Exp/LibraryInstall.hpp"
#include "Exp/Nim.hpp"
#include "Exp/TabLibrary.hpp"

#include <algorithm>
#include <limits>

namespace {

// Nesting depth: 0 for a scalar, 1 for a tab of scalars (or the empty tab).
long depth_of(const TaggedValue& x) {
    if (!x.is_tab()) return 0;
    long deepest = 0;
    for (const Value& e : tab_of(x))
        deepest = std::max(deepest, depth_of(*e));
    return deepest + 1;
}

// @dim: the depth of a tab, the dimension of a nim.
Value dim(const LibraryCall& call) {
    if (!arity_is(call, 1)) return undef_value();
    if (call[0].is_nim()) {
        const auto& n = value_cast<NimValue>(call[0]);
        return int_value(n.val ? static_cast<long>(n.val->dimension()) : 0);
    }
    return int_value(depth_of(call[0]));
}

// @shape: the sizes along each dimension, as deep as all elements of a level
// agree; TAB[] for a scalar.
Value shape(const LibraryCall& call) {
    if (!arity_is(call, 1)) return undef_value();
    tab_t sizes;
    std::vector<const TaggedValue*> level{&call[0]};
    while (!level.empty() && level.front()->is_tab()) {
        const std::size_t n = tab_of(*level.front()).size();
        const bool regular = std::all_of(level.begin(), level.end(), [&](const TaggedValue* t) {
            return t->is_tab() && tab_of(*t).size() == n;
        });
        if (!regular || n == 0) {
            if (regular) sizes.push_back(int_value(0));
            break;
        }
        sizes.push_back(int_value(static_cast<long>(n)));
        std::vector<const TaggedValue*> next;
        for (const TaggedValue* t : level)
            for (const Value& e : tab_of(*t))
                next.push_back(&*e);
        level.swap(next);
    }
    return make_tab(std::move(sizes));
}

void flatten_into(const TaggedValue& x, long levels, tab_t& out) {
    for (const Value& e : tab_of(x)) {
        if (e->is_tab() && levels > 0)
            flatten_into(*e, levels - 1, out);
        else
            out.push_back(e);
    }
}

// @flatten(t): every element of every nested tab, in order; @flatten(t, k):
// only k levels of nesting removed.
Value flatten(const LibraryCall& call) {
    if (!arity_between(call, 1, 2) || !tab_arg(call, 0)) return undef_value();
    long levels = std::numeric_limits<long>::max();
    if (call.count() == 2 && !count_arg(call, 1, levels)) return undef_value();
    tab_t out;
    flatten_into(call[0], levels, out);
    return make_tab(std::move(out));
}

// Builds the array of `shape` (from dimension `d`) from `flat` at `next`.
Value build_shape(const std::vector<long>& dims, std::size_t d, const tab_t& flat, std::size_t& next) {
    if (d == dims.size()) return flat[next++];
    tab_t out;
    for (long i = 0; i < dims[d]; ++i)
        out.push_back(build_shape(dims, d + 1, flat, next));
    return make_tab(std::move(out));
}

// @reshape(t, s): the elements of t, flattened, as an array of shape s;
// the sizes must multiply to the number of elements.
Value reshape(const LibraryCall& call) {
    if (!arity_is(call, 2) || !tab_arg(call, 0) || !tab_arg(call, 1)) return undef_value();
    tab_t flat;
    flatten_into(call[0], std::numeric_limits<long>::max(), flat);
    std::vector<long> dims;
    long product = 1;
    for (const Value& e : tab_of(call[1])) {
        long n = 0;
        if (!whole_number(*e, n) || n <= 0 || n > max_built_length || (product *= n) > max_built_length) {
            error("Bad argument 2 in function %s (got %s): a tab of positive ints is expected [t53]",
                  call.name(), show_text(call[1]).c_str());
            return undef_value();
        }
        dims.push_back(n);
    }
    if (dims.empty() || product != static_cast<long>(flat.size())) {
        error("Bad argument 2 in function %s: the shape %s does not hold %zu elements [t52]", call.name(),
              show_text(call[1]).c_str(), flat.size());
        return undef_value();
    }
    std::size_t next = 0;
    return build_shape(dims, 0, flat, next);
}

// @replace(t, a, b): each run of t equal to a (a tab, or one element) is
// replaced by b (a tab, or one element), from the left, without overlap.
Value replace(const LibraryCall& call) {
    if (!arity_is(call, 3) || !tab_arg(call, 0)) return undef_value();
    const tab_t& t = tab_of(call[0]);
    const tab_t pattern = call[1].is_tab() ? tab_of(call[1]) : tab_t{call.args[1]};
    const tab_t by = call[2].is_tab() ? tab_of(call[2]) : tab_t{call.args[2]};
    if (pattern.empty()) return call.args[0];
    tab_t out;
    for (std::size_t i = 0; i < t.size();) {
        const bool here = i + pattern.size() <= t.size() &&
                          std::equal(pattern.begin(), pattern.end(), t.begin() + static_cast<long>(i),
                                     [](const Value& a, const Value& b) { return vcompare(a, b) == 0; });
        if (!here) {
            out.push_back(t[i++]);
            continue;
        }
        out.insert(out.end(), by.begin(), by.end());
        i += pattern.size();
        if (!length_fits(call, static_cast<long>(out.size()))) return undef_value();
    }
    return make_tab(std::move(out));
}

// ---- insert and remove, in place ----

bool index_in(const LibraryCall& call, long last, long& at) {
    if (whole_number(call[1], at) && at >= 0 && at <= last) return true;
    error("Bad argument 2 in function %s (got %s): an index from 0 to %ld is expected [t10]", call.name(),
          show_text(call[1]).c_str(), last);
    return false;
}

bool imap_point(const LibraryCall& call, std::size_t i, const char* format) {
    if (call[i].is_numeric()) return true;
    error(format, call[i].kind_name());
    return false;
}

// @insert(t, i, v) puts v at index i of t; @insert(m, k, v) adds or replaces
// the entry k of m; @insert(imap, x, y) the breakpoint x.
Value insert(const LibraryCall& call) {
    if (!arity_is(call, 3)) return undef_value();
    const TaggedValue& where = call[0];
    long at = 0;
    if (where.is_tab()) {
        tab_t& t = mutable_tab(where);
        if (!index_in(call, static_cast<long>(t.size()), at)) return undef_value();
        t.insert(t.begin() + at, call.args[2]);
    } else if (where.is_map()) {
        map_of(where)[call.args[1]] = call.args[2];
    } else if (where.is_imap()) {
        if (!imap_point(call, 1, "Bad argument: @insert(imap, x y) expects x to be numeric, not a '%s'") ||
            !imap_point(call, 2, "Bad argument: @insert(imap, x y) expects y to be numeric, not a '%s'"))
            return undef_value();
        imap_of(where)[call[1].get_double()] = call[2].get_double();
    } else {
        error("Bad argument: @insert(x, ...) expects x to be map or imap, not a '%s'", where.kind_name());
        return undef_value();
    }
    return call.args[0];
}

// @remove(t, i) takes out the element at i; @remove(m, k) the entry k;
// @remove(imap, x) the breakpoint x. An absent key or breakpoint is no error.
Value remove(const LibraryCall& call) {
    if (!arity_is(call, 2)) return undef_value();
    const TaggedValue& where = call[0];
    long at = 0;
    if (where.is_tab()) {
        tab_t& t = mutable_tab(where);
        if (t.empty()) return call.args[0];
        if (!index_in(call, static_cast<long>(t.size()) - 1, at)) return undef_value();
        t.erase(t.begin() + at);
    } else if (where.is_map()) {
        map_of(where).erase(call.args[1]);
    } else if (where.is_imap()) {
        if (!imap_point(call, 1, "Bad argument: @remove(imap, x) expects x to be numeric, not a '%s'"))
            return undef_value();
        imap_of(where).erase(call[1].get_double());
    } else {
        error("Bad argument: @remove(x, ...) expects x to be map or imap, not a '%s'", where.kind_name());
        return undef_value();
    }
    return call.args[0];
}

} // namespace

void install_tab_shape_functions(GlobalEnvironment& env) {
    new LibraryFunction("@dim", 1, dim, &env);
    new LibraryFunction("@shape", 1, shape, &env);
    (new LibraryFunction("@flatten", 1, flatten, &env))->up_to(2);
    new LibraryFunction("@reshape", 2, reshape, &env);
    new LibraryFunction("@replace", 3, replace, &env);
    new LibraryFunction("@insert", 3, insert, &env, false);
    new LibraryFunction("@remove", 2, remove, &env, false);
}
