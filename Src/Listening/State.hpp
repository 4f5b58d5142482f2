// The hidden states of the listening machine. A score event becomes one
// state or a small group of states; recursion states carry probability mass
// from frame to frame, compound states only group others.
//
//   State
//     StateRecursion            successors and a forward recursion
//       StateMarkov             self-loop
//         StateDummyMarkov      silent waiting state
//       StateSemiMarkov         explicit duration law (StateSemiMarkov.hpp)
//     StateCompound             groups of states (StateCompound.hpp)
#pragma once

#include "Base/ASTNode.hpp"
#include "Listening/PitchClass.hpp"

#include <cstdint>
#include <string>
#include <vector>

class CadAlign;
class Event;
class StateChain;
class StateRecursion;
struct UniqueObs;

// The floor of the probability of being in a state: no state of the window
// is ever at 0, so that a later frame can recover it.
constexpr double STATE_FLOOR = 1e-12;

class State : public ASTNode {
public:
    // Takes duration and pitches from the event, as absolute values, and
    // remembers which are tied (heard but not struck again); a state
    // without event has neither.
    explicit State(Event* e);
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    void show(std::ostream& out) const override;
    virtual const char* type_string() const { return "State"; }

    // One frame: read the observation, run the recursion, normalise by the
    // frame's total, send the leaving mass to the successors.
    virtual void Observe(CadAlign&) {}
    virtual void Infere(CadAlign&) {}
    virtual void normalizeForward(double N);
    virtual void propagateForward(double) {}
    virtual void deleteInference() { ForwardLast = STATE_FLOOR; }

    virtual double get_obs() const { return 0; }
    // The innermost state now best (itself for a recursion state).
    virtual State* bestState() { return this; }
    // Where mass enters and where it leaves: the recursion states at both
    // ends of a group, the state itself for a recursion state.
    virtual StateRecursion* firstSubState() { return nullptr; }
    virtual StateRecursion* lastSubState() { return nullptr; }
    virtual void addSuccessorUnique(State*) {}
    // Replaces the successors by the states of `list` (a jump); `list` may
    // be extended by the callee.
    virtual void addMultipleSuccessors(State* self, std::vector<State*>& list);
    virtual bool isDummy() const { return false; }
    virtual std::string toStringInference() const;
    // The expected stay in frames at the live tempo, at least 0.1.
    virtual float FrameDurationFloat(const CadAlign& align) const;
    virtual void assign_pitchclass(CadAlign*) {}
    virtual bool remove_pitchclass(StateChain*) { return true; }
    virtual bool hasObsHistory() const { return false; }

    // Decode-window membership. A state that enters or leaves the window
    // starts afresh: mass is only exchanged between states of the window.
    virtual void set_windowed(bool on) { windowed = on; }
    // The expected stay in beats (a compound passes it on).
    virtual void set_beat_duration(double beats) { beat_duration = beats; }
    // The recursion states within this one (itself for a recursion state).
    virtual void recursion_states(std::vector<StateRecursion*>&) {}

    // A short name for traces: kind, event index and pitches.
    std::string toString() const;

    double beat_duration = 0;
    double frame_offset = 0;
    PitchClass pitchclass;
    double ForwardLast = STATE_FLOOR;
    double Forward = 0;
    Event* event = nullptr;
    bool windowed = false;
    // Scratch of the window's update.
    int window_mark = 0;
};

class StateRecursion : public State {
public:
    using State::State;

    const char* type_string() const override { return "StateRecursion"; }
    void propagateForward(double) override;
    void deleteInference() override;
    StateRecursion* firstSubState() override { return this; }
    StateRecursion* lastSubState() override { return this; }
    // Appends the entry state of `s`; a null state is reported.
    void addSuccessorUnique(State* s) override;
    virtual void addSuccessorUnique(StateRecursion* s) { add_transition(s, 1.0); }
    void addMultipleSuccessors(State* self, std::vector<State*>& list) override;
    void recursion_states(std::vector<StateRecursion*>& out) override { out.push_back(this); }
    // Max-product propagation, for the micro-states of a compound.
    void propagateViterbi();
    // Sets the entering mass of the first frame after a forced position.
    void stateInSet(double v) { StateIn = v; }
    void stateInViterbi(double v);
    void add_transition(StateRecursion* s, double p);

    double StateIn = 0;
    std::vector<StateRecursion*> successors;
    std::vector<double> transitions;
};

class StateMarkov : public StateRecursion {
public:
    // Built with itself as first successor, with transition `proba`.
    StateMarkov(Event* e, double proba);

    const char* type_string() const override { return "StateMarkov"; }
    void Infere(CadAlign& align) override;
    using StateRecursion::addSuccessorUnique;
    void addSuccessorUnique(StateRecursion* s) override { add_transition(s, 1.0 - probaMarkov); }
    // Keeps the self-loop, weighted as one of the targets.
    void addMultipleSuccessors(State* self, std::vector<State*>& list) override;
    double get_obs() const override { return obs ? *obs : 0; }
    void assign_pitchclass(CadAlign* align) override;

    double probaMarkov;
    // The instant value of this state's template, owned by the driver.
    const double* obs = nullptr;

private:
    // The driver's entry for the template, kept between frames.
    UniqueObs* entry = nullptr;
    std::uint64_t entry_generation = 0;
};

// The silent state that waits before a position (after a pizzicato, or
// when a performance starts ahead of what is played).
class StateDummyMarkov : public StateMarkov {
public:
    StateDummyMarkov(Event* e, double proba);
    const char* type_string() const override { return "StateDummyMarkov"; }
    bool isDummy() const override { return true; }
};
