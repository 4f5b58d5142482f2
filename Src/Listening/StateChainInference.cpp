// One frame of the forward recursion over the decode window: observe, infer,
// normalise, propagate, decide. The three passes are separate, so that what
// a state sends at frame t is seen by its successor at frame t + 1 only.
#include "Listening/State.hpp"
#include "Listening/StateChain.hpp"
#include "Base/Console.hpp"

#include <algorithm>

void StateChain::Observer() {
    for (State* s : window())
        s->Observe(*align);
}

void StateChain::Infere() {
    const std::span<State* const> states = window();
    double N = 0;
    for (State* s : states) {
        s->Infere(*align);
        N += s->ForwardLast;
    }
    if (verbosity > 1) {
        post("StateChain::Infere: new N_t = %.5e.", N);
        if (N > 1.5) error("too big local_Nt");
    }
    // A frame where every state sees nothing must not divide by 0.
    if (N <= 0) N = 1.0;
    N_t.push_back(N);

    double sum = 0;
    for (State* s : states) {
        s->normalizeForward(N);
        if (common_transition > 0) sum += s->Forward;
    }
    const double common = std::max(sum, 1e-12);
    for (State* s : states)
        s->propagateForward(common);
    if (reentry > 0) reenter(states);
}

// a_ji = a_ji (neighbours) + s_j r: every state of the window is entered by
// an equal share of `reentry`, whatever the frame's mass did.
void StateChain::reenter(std::span<State* const> states) {
    const double share = reentry / static_cast<double>(states.size());
    for (State* s : states)
        if (StateRecursion* entry = s->firstSubState(); entry && !s->isDummy()) entry->StateIn += share;
}

// Ties go to the earlier state of the window.
void StateChain::Decode() {
    best = nullptr;
    double max = -1.0;
    for (State* s : window()) {
        if (s->ForwardLast > max) {
            best = s;
            max = s->ForwardLast;
        }
    }
    if (verbosity > 1) {
        State* sub = best ? best->bestState() : nullptr;
        post("StateChain::Decode(): BEST forward found: - sub-state pitch list %s - state pitch list: %s",
             sub ? sub->pitchclass.toString().c_str() : "no state",
             best ? best->pitchclass.toString().c_str() : "no state");
    }
}

void StateChain::Align() {
    Observer();
    Infere();
    Decode();
}
