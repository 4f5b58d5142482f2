// Semi-Markov states: the stay in the state follows an explicit duration law
// (the event's duration at the live tempo), and the forward recursion looks
// back over the frames since the possible entry times.
#pragma once

#include "Listening/BoundedRow.hpp"
#include "Listening/History.hpp"
#include "Listening/Observation.hpp"
#include "Listening/State.hpp"

#include <vector>

// Histories are bounded: at most this many frames of entering mass, and one
// more for observation histories.
constexpr std::size_t STATE_HISTORY = 1000;
constexpr std::size_t OBS_HISTORY = 1001;
// What a semi-Markov state borrows while it is in the decode window: its
// entering mass and its look-back observations.
constexpr std::size_t STAY_SLOT = History::storage_for(STATE_HISTORY) + OBS_HISTORY;

class BufferPool;

class StateSemiMarkov : public StateRecursion {
public:
    // `N_t` is the chain's history of frame normalisers.
    StateSemiMarkov(Event* e, Normalisers* N_t);

    const char* type_string() const override { return "StateSemiMarkov"; }
    // Bounds the look-back (compute_u_max), then Observe(u_max).
    void Observe(CadAlign& align) override;
    // obsCumNorm[u]: the observation of the last u + 1 frames for a stay
    // entered u frames ago (entry, early and settled phases), each past
    // frame divided by that frame's normaliser.
    virtual void Observe(CadAlign& align, int u_max);
    void Infere(CadAlign& align) override;
    void deleteInference() override;
    double get_obs() const override { return obs ? obs->newest() : 0; }
    void assign_pitchclass(CadAlign* align) override;
    bool hasObsHistory() const override { return true; }
    // Entering the window borrows a slot of the pool for StateIns and
    // obsCumNorm; leaving it forgets the inference and gives the slot back.
    void set_windowed(bool on) override;
    // The pool the state borrows from (null: storage of its own).
    void lend_from(BufferPool* p) { pool = p; }

    // Four times the expected stay, cut to the histories available.
    int compute_u_max(const CadAlign& align);
    // How many frames after the entry read the early phase.
    virtual int early_frames(const CadAlign& align) const;
    void set_default_parameters();

    History StateIns{STATE_HISTORY};
    // The observation histories of this state's template, owned by the
    // driver.
    Observation* obs = nullptr;
    Normalisers* N_t;
    BoundedRow obsCumNorm{OBS_HISTORY};
    float u_max_factor = 4.0f;
    int u_max = 1;

private:
    BufferPool* pool = nullptr;
    double* slot = nullptr;
    // The newest entries of StateIns reaching back to the oldest that is
    // not 0 (or further): older entries brought no mass.
    std::size_t entered_span = 0;
    // The driver's entry for the template, kept between frames.
    UniqueObs* entry = nullptr;
    std::uint64_t entry_generation = 0;

    // The sums of ForwardLast and Forward over the first n look-back steps.
    void accumulate(size_t n, const double* survivor, const double* occupancy);
    void accumulate_checked(size_t n, const double* survivor, const double* occupancy);
    void check_sums(int u, double survivor, double occupancy, double in, double O) const;
};

// A semi-Markov state whose observation is the result of a small Viterbi
// pass over Markov micro-states.
class StateSemiMarkovCompound : public StateSemiMarkov {
public:
    using StateSemiMarkov::StateSemiMarkov;
    ~StateSemiMarkovCompound() override;

    const char* type_string() const override { return "StateSemiMarkovCompound"; }
    using StateSemiMarkov::Observe;
    void Observe(CadAlign& align, int u_max) override;
    void deleteInference() override;
    State* bestState() override { return best_micro ? best_micro->bestState() : this; }
    double get_obs() const override {
        return best_micro ? best_micro->get_obs() : StateSemiMarkov::get_obs();
    }
    void assign_pitchclass(CadAlign* align) override;

    // Owned micro-states and whether each starts with mass.
    std::vector<StateMarkov*> micro;
    std::vector<bool> initial_mask;
    State* best_micro = nullptr;
};

// A trill: a semi-Markov state whose observation at each frame is that of
// its best-heard note, phase by phase. Its notes are struck again and again,
// in turn, for as long as it is written: its early phase lasts its whole
// expected stay. A note struck twice with none of the others between, or
// struck once the trill's time is over, is no longer the trill (it is the
// note after it, played on one of the trill's keys) and counts as a
// re-strike. The notes only provide observations.
class StateTrill : public StateSemiMarkovCompound {
public:
    StateTrill(Event* e, StateChain* chain);
    ~StateTrill() override;

    const char* type_string() const override { return "StateTrill"; }
    void Observe(CadAlign& align) override;
    void Observe(CadAlign& align, int u_max) override { StateSemiMarkov::Observe(align, u_max); }
    int early_frames(const CadAlign& align) const override;
    void deleteInference() override;
    void assign_pitchclass(CadAlign* align) override;
    // Adds one micro-state per note of the sub-event (recursively for a
    // nested trill).
    void addMicrostate(Event* e, StateChain* chain);

    std::vector<StateSemiMarkov*> trill_micro;

private:
    // The best of the notes' phase values, a note struck again in a row
    // heard as settled.
    PhaseValues hear_notes();

    // The history of best-note observations, created at construction.
    Observation own_obs{OBS_HISTORY};
    // The note struck last (index in trill_micro), -1 for none yet.
    int last_struck = -1;
};
