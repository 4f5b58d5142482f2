// States that only group others: a multi-event (StateGroup) and a note as a
// semi-Markov body followed by a Markov tail (StateAggregateSM).
#pragma once

#include "Listening/State.hpp"

#include <vector>

class StateMarkov;
class StateSemiMarkov;

class StateCompound : public State {
public:
    using State::State;
    ~StateCompound() override;

    const char* type_string() const override { return "StateCompound"; }
    void Observe(CadAlign& align) override;
    // Divides ForwardLast only, then passes on.
    void normalizeForward(double N) override;
    void propagateForward(double x) override;
    void deleteInference() override;
    State* bestState() override { return best_sub ? best_sub->bestState() : this; }
    double get_obs() const override { return best_sub ? best_sub->get_obs() : 0; }
    StateRecursion* firstSubState() override;
    StateRecursion* lastSubState() override;
    void assign_pitchclass(CadAlign* align) override;
    bool remove_pitchclass(StateChain* chain) override;
    void set_windowed(bool on) override;
    void set_beat_duration(double beats) override;
    void recursion_states(std::vector<StateRecursion*>& out) override;
    std::string toStringInference() const override;

    // Owned.
    std::vector<State*> sub_states;
    State* best_sub = nullptr;
};

class StateGroup : public StateCompound {
public:
    // One state per sub-event, each the successor of the previous one's
    // exit state.
    StateGroup(Event* e, StateChain* chain);

    const char* type_string() const override { return "StateGroup"; }
    // Sums the sub-states; the best one is remembered (ties: the earlier).
    void Infere(CadAlign& align) override;
    void addSuccessorUnique(State* s) override;
    void addMultipleSuccessors(State* self, std::vector<State*>& list) override;
    virtual void addMicrostate(Event* e, StateChain* chain);

private:
    void share_duration();
    // An element of a multi-event may be left out (a glide played a little
    // faster, a wrong note): the mass may pass over elements as it passes
    // over events.
    void add_inner_skips();
};

class StateAggregateSM : public StateGroup {
public:
    // A semi-Markov body one frame shorter than the event, then a Markov
    // tail where the stay may go on past its law, waiting for the next
    // event (StateChain::hold_entry, hold_loop).
    StateAggregateSM(Event* e, StateChain* chain);

    const char* type_string() const override { return "StateAggregateSM"; }
    // Both the body and the tail lead to the next state.
    void addSuccessorUnique(State* s) override;
    void addMultipleSuccessors(State* self, std::vector<State*>& list) override;

    StateSemiMarkov* semi = nullptr;
    StateMarkov* markov = nullptr;
    // The share of the body's leaving mass that goes to the tail.
    double hold = 0;
};
