// What a state hears, frame by frame, in the three phases of its stay. A
// new event announces itself by attacks of its pitches: the frame a state is
// entered expects such attacks ("entry"); the few frames after it still
// welcome the late notes of a spread chord ("early"); once settled, the state
// expects no new attack, so a held or decaying chord is told apart from the
// same chord struck again ("settled"). Each phase has its own probability per
// frame, kept in its own history; a stay of u + 1 frames reads the entry
// phase at its first frame, the early phase over the next ones and the
// settled phase after them.
#pragma once

#include "Listening/BoundedRow.hpp"
#include "Listening/History.hpp"

#include <vector>

// The three probabilities of one frame.
struct PhaseValues {
    double entry = 0;
    double early = 0;
    double settled = 0;
};

class Observation {
public:
    explicit Observation(std::size_t bound);

    void push(const PhaseValues& v);
    // The same probability in all three phases.
    void push(double v) { push(PhaseValues{v, v, v}); }
    void clear();
    std::size_t size() const { return entry.size(); }
    bool empty() const { return entry.empty(); }
    // The newest settled probability (what a state that stays hears now).
    double newest() const { return settled.empty() ? 0 : settled.back(); }
    const PhaseValues& newest_values() const { return last; }

    // The likelihood of each stay ending now, normalised: out[u] is the
    // probability of the last u + 1 frames for a stay entered u frames ago,
    // each past frame divided by that frame's normaliser (N.back(0) is the
    // previous frame's). The first `early_frames` frames after the entry
    // read the early phase. Writes min(u_max, what the histories hold)
    // values, at least one; a product that overflows keeps its last finite
    // value, at most out.bound(). No allocation once `out` has storage.
    void stays(const Normalisers& N, int u_max, int early_frames, BoundedRow& out) const;

    History entry;
    History early;
    History settled;

private:
    // stays() into `out` (n values). Unchecked, false when some product
    // was not finite (the values are then to be computed again, checked).
    template <bool Checked>
    bool products(const Normalisers& N, std::size_t n, std::size_t K, double* out) const;

    PhaseValues last;
};
