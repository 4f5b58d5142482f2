// Reordering and re-spacing tabs: sorting, shuffling, rotations,
// permutations, repetitions, interleaving, and scaling to a range. Each
// gives a new tab; the random ones draw from the engine's random source.
#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/Library.hpp"
#include "Exp/LibraryInstall.hpp"
#include "Exp/TabLibrary.hpp"

#include <algorithm>
#include <cmath>

namespace {

// A stable bottom-up merge sort that never reads out of its runs: a
// comparison function that is not an order (random, or always true) gives
// some order, never a fault, which the standard sorts do not promise.
template <class Less>
void merge_sort(tab_t& v, Less less) {
    const std::size_t n = v.size();
    tab_t buffer(n);
    for (std::size_t width = 1; width < n; width *= 2) {
        for (std::size_t lo = 0; lo < n; lo += 2 * width) {
            const std::size_t mid = std::min(lo + width, n), hi = std::min(lo + 2 * width, n);
            std::size_t a = lo, b = mid, out = lo;
            while (a < mid && b < hi)
                buffer[out++] = less(v[b], v[a]) ? std::move(v[b++]) : std::move(v[a++]);
            while (a < mid)
                buffer[out++] = std::move(v[a++]);
            while (b < hi)
                buffer[out++] = std::move(v[b++]);
        }
        v.swap(buffer);
    }
}

Value sort(const LibraryCall& call) {
    if (!arity_between(call, 1, 2) || !tab_arg(call, 0)) return undef_value();
    tab_t out = tab_of(call[0]);
    if (call.count() == 1) {
        merge_sort(out, [](const Value& a, const Value& b) { return vcompare(a, b) > 0; });
        return make_tab(std::move(out));
    }
    if (!call[1].is_funct()) {
        error("Bad argument 2 in function %s (got %s): a comparison function is expected [t11]", call.name(),
              call[1].kind_name());
        return undef_value();
    }
    const TaggedValue& before = call[1];
    merge_sort(out, [&](const Value& a, const Value& b) { return truth(call_value(before, {a, b})); });
    return make_tab(std::move(out));
}

// Fisher-Yates with the engine's random source.
Value scramble(const LibraryCall& call) {
    if (!arity_is(call, 1) || !tab_arg(call, 0)) return undef_value();
    tab_t out = tab_of(call[0]);
    LibraryState& lib = library_of(call.env);
    for (std::size_t i = out.size(); i > 1; --i)
        std::swap(out[i - 1], out[lib.random() % i]);
    return make_tab(std::move(out));
}

// @normalize(t): the numbers of t scaled to [0, 1]; @normalize(t, lo, hi) to
// [lo, hi]. A tab of equal numbers goes to lo.
Value normalize(const LibraryCall& call) {
    if (call.count() == 2) {
        error("Bad arguments number in function call %s (1 or 3 expected, 2 provided) [t3]", call.name());
        return undef_value();
    }
    if (!arity_between(call, 1, 3) || !tab_arg(call, 0)) return undef_value();
    double lo = 0.0, hi = 1.0;
    if (call.count() == 3 && (!number_arg(call, 1, lo) || !number_arg(call, 2, hi))) return undef_value();
    const tab_t& t = tab_of(call[0]);
    if (std::any_of(t.begin(), t.end(), [](const Value& e) { return !e->is_numeric(); })) {
        error("Bad argument in function %s: a tab of numerics is expected [t54]", call.name());
        return undef_value();
    }
    if (t.empty()) return make_tab({});
    auto [least, most] = std::minmax_element(
        t.begin(), t.end(), [](const Value& a, const Value& b) { return a->get_double() < b->get_double(); });
    const double low = (*least)->get_double(), span = (*most)->get_double() - low;
    tab_t out;
    for (const Value& e : t)
        out.push_back(float_value(span > 0 ? lo + (e->get_double() - low) / span * (hi - lo) : lo));
    return make_tab(std::move(out));
}

// @stutter(t, n): each element n times over.
Value stutter(const LibraryCall& call) {
    long n = 0;
    if (!arity_is(call, 2) || !tab_arg(call, 0) || !count_arg(call, 1, n)) return undef_value();
    const tab_t& t = tab_of(call[0]);
    if (!length_fits(call, static_cast<long>(std::min<double>(1e18, static_cast<double>(t.size()) * n))))
        return undef_value();
    tab_t out;
    out.reserve(t.size() * static_cast<std::size_t>(n));
    for (const Value& e : t)
        out.insert(out.end(), static_cast<std::size_t>(n), e);
    return make_tab(std::move(out));
}

// @rotate(t, n): the elements moved n places to the right (left when n is
// negative), those that fall off one end coming back at the other.
Value rotate(const LibraryCall& call) {
    double by = 0;
    if (!arity_is(call, 2) || !tab_arg(call, 0) || !number_arg(call, 1, by)) return undef_value();
    tab_t out = tab_of(call[0]);
    if (out.empty() || !std::isfinite(by)) return make_tab(std::move(out));
    const long size = static_cast<long>(out.size());
    const long shift = static_cast<long>(std::fmod(std::trunc(by), static_cast<double>(size)));
    std::rotate(out.begin(), out.begin() + ((size - shift) % size), out.end());
    return make_tab(std::move(out));
}

// @sputter(t, p, n): n elements read along t; at each step the element
// before is given again with probability p, otherwise the reading moves on
// (and starts again at the end of t).
Value sputter(const LibraryCall& call) {
    double p = 0;
    long n = 0;
    if (!arity_is(call, 3) || !tab_arg(call, 0)) return undef_value();
    if (!call[1].is_numeric() || (p = call[1].get_double(), !(p >= 0.0 && p <= 1.0))) {
        error("Bad argument 2 in function %s (got %s): a probability p, 0 <= p <= 1 is expected [t56]",
              call.name(), show_text(call[1]).c_str());
        return undef_value();
    }
    if (!count_arg(call, 2, n) || !length_fits(call, n)) return undef_value();
    const tab_t& t = tab_of(call[0]);
    tab_t out;
    if (t.empty()) return make_tab(std::move(out));
    LibraryState& lib = library_of(call.env);
    std::size_t at = 0;
    for (long i = 0; i < n; ++i) {
        out.push_back(t[at]);
        if (lib.rand15() / 32768.0 >= p) at = (at + 1) % t.size();
    }
    return make_tab(std::move(out));
}

// @lace(t, n): n elements taken in turn from each element of t, a tab
// giving its own elements in turn and anything else itself.
Value lace(const LibraryCall& call) {
    long n = 0;
    if (!arity_is(call, 2) || !tab_arg(call, 0) || !count_arg(call, 1, n) || !length_fits(call, n))
        return undef_value();
    const tab_t& strands = tab_of(call[0]);
    tab_t out;
    if (strands.empty()) return make_tab(std::move(out));
    for (long i = 0; i < n; ++i) {
        const Value& strand = strands[static_cast<std::size_t>(i) % strands.size()];
        const std::size_t round = static_cast<std::size_t>(i) / strands.size();
        if (!strand->is_tab()) {
            out.push_back(strand);
            continue;
        }
        const tab_t& s = tab_of(strand);
        out.push_back(s.empty() ? undef_value() : s[round % s.size()]);
    }
    return make_tab(std::move(out));
}

// @permute(t, k): the k-th permutation of t in the order of positions,
// k taken modulo the number of permutations.
Value permute(const LibraryCall& call) {
    long k = 0;
    if (!arity_is(call, 2) || !tab_arg(call, 0) || !count_arg(call, 1, k)) return undef_value();
    tab_t pool = tab_of(call[0]);
    std::vector<unsigned long> radix; // factorial digits of k, least first
    unsigned long rest = static_cast<unsigned long>(k);
    for (std::size_t base = 1; base <= pool.size(); ++base) {
        radix.push_back(rest % base);
        rest /= base;
    }
    tab_t out;
    for (std::size_t i = pool.size(); i > 0; --i) {
        const std::size_t pick = radix[i - 1];
        out.push_back(pool[pick]);
        pool.erase(pool.begin() + static_cast<long>(pick));
    }
    return make_tab(std::move(out));
}

} // namespace

void install_tab_order_functions(GlobalEnvironment& env) {
    (new LibraryFunction("@sort", 1, sort, &env, false))->up_to(2);
    new LibraryFunction("@scramble", 1, scramble, &env, false);
    (new LibraryFunction("@normalize", 1, normalize, &env))->up_to(3);
    new LibraryFunction("@stutter", 2, stutter, &env);
    new LibraryFunction("@rotate", 2, rotate, &env);
    new LibraryFunction("@sputter", 3, sputter, &env, false);
    new LibraryFunction("@lace", 2, lace, &env);
    new LibraryFunction("@permute", 2, permute, &env);
}
