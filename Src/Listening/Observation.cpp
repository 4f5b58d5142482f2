#include "Listening/Observation.hpp"

#include <algorithm>
#include <cfloat>
#include <cmath>

Observation::Observation(std::size_t bound)
    : entry(bound)
    , early(bound)
    , settled(bound) {}

void Observation::push(const PhaseValues& v) {
    entry.push_back(v.entry);
    early.push_back(v.early);
    settled.push_back(v.settled);
    last = v;
}

void Observation::clear() {
    entry.clear();
    early.clear();
    settled.clear();
    last = {};
}

// out[u] = entry(t - u) * R(u), where R(u) is the product over the frames
// after the entry: the early phase for the first early_frames - 1 of them,
// the settled phase beyond. Going from u to u + 1 adds frame t - u (just
// after the entry, so early) and moves frame t - u - 1 + early_frames from
// early to settled; when the phases agree the ratio is exactly 1, and the
// products are those of a single history.
//
// Products overflow only when normalisers are tiny: the loop first runs
// without testing each step, and runs again with the tests (a product that
// overflows keeps its last finite value) only if something did not stay
// finite. Both give the same values when nothing overflows.
void Observation::stays(const Normalisers& N, int u_max, int early_frames, BoundedRow& out) const {
    if (entry.empty()) {
        out.clear();
        return;
    }
    const std::size_t reach = std::min(entry.size(), N.size() + 1);
    const std::size_t n =
        std::min(out.bound(), std::max<std::size_t>(1, std::min<std::size_t>(std::max(u_max, 1), reach)));
    const std::size_t K = static_cast<std::size_t>(std::max(early_frames, 1));
    out.resize(n);
    double* o = &out[0];
    if (!products<false>(N, n, K, o)) products<true>(N, n, K, o);
}

template <bool Checked>
bool Observation::products(const Normalisers& N, std::size_t n, std::size_t K, double* out) const {
    // Entry u places back is p[-u] for each history.
    const double* in = entry.newest();
    const double* after = (K > 1 ? early : settled).newest();
    const double* was = early.newest();
    const double* now = settled.newest();
    const double* inverse = n > 1 ? N.newest_inverse() : nullptr;
    double R = 1.0;
    double O = in[0];
    out[0] = O;
    bool finite = std::fabs(O) <= DBL_MAX;
    // How a frame just after the entry is read, and frame t - (u - 1) so
    // read and normalised.
    double just_after = after[0];
    for (std::size_t u = 1; u < n; ++u) {
        const auto back = static_cast<std::ptrdiff_t>(u);
        // Frame t - (u - 1) is now one frame after the entry.
        double next = R * just_after;
        if (K > 1 && u >= K) {
            // The frame's normaliser divides both phases: their ratio is
            // that of the raw values.
            const auto v = static_cast<std::ptrdiff_t>(u - K);
            if (now[-v] != was[-v]) next *= now[-v] / was[-v];
        }
        if (!Checked || std::fabs(next) <= DBL_MAX) R = next;
        const double inv = inverse[1 - back];
        just_after = after[-back] * inv;
        const double candidate = in[-back] * inv * R;
        if (!Checked || std::fabs(candidate) <= DBL_MAX) O = candidate;
        out[u] = O;
        if (!Checked) finite = finite && std::fabs(candidate) <= DBL_MAX;
    }
    return Checked || (finite && std::fabs(R) <= DBL_MAX);
}
