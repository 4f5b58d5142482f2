// The chain of hidden states made from a score, in the order of the score,
// with the decode window (the only stretch evaluated at a frame) and the
// operations that place the machine at a position. The chain belongs to the
// listening machine (`CadAlign`) that built it and runs its frames with it.
// The parameters of inference are static: shared by all chains.
#pragma once

#include "Listening/BufferPool.hpp"
#include "Listening/History.hpp"

#include <deque>
#include <iosfwd>
#include <span>
#include <vector>

class CadAlign;
class Relocator;
class Event;
class Score;
class State;
class StateRecursion;

class StateChain : public std::deque<State*> {
public:
    StateChain(Score* score, CadAlign* align);
    ~StateChain();
    StateChain(const StateChain&) = delete;
    StateChain& operator=(const StateChain&) = delete;

    // ---- building ----
    // One state per event, dummy silences where the score asks for them,
    // and a silent end state. A score without events gets no state.
    void loadScore(Score* s);
    void addEvent(Event* e);
    State* newStateFomEvent(Event* e);
    // Whether the event strikes a pitch (not a silence, not all tied).
    static bool is_struck(const Event* e);
    void addDummySilence(Score* s, int i);
    void removeDummyState();
    State* findState(Event* e);
    iterator findStateIterator(Event* e);
    // The state made from the score's event `index`, or null.
    State* state_of(int index) const;

    // ---- position ----
    // Starts on the first state with probability 1.
    void initStates();
    // Forgets all inference and puts the whole mass on entering `s`.
    void setPosition(State* s);
    void setPosition(Event* e);
    // The window follows the most likely state's event.
    void follow_belief(Event* e);
    // Moves the window around event `index` and lets the mass enter the
    // events from there as the relocator weighs them.
    void relocate(int index, const Relocator& relocator);
    void updateDecodeWindow(Event* e);
    void Resampling(State* s, int depth);
    // Waits in a silent state in front of `from` until its first
    // observation pulls the machine into the chain.
    void waitPosition(Event* from, Event* silence_event);
    void waitPosition(iterator at, Event* silence_event);

    void deleteInference();
    void deleteStates();
    void deleteDecode();

    // ---- one frame, over the decode window ----
    void Observer();
    void Infere();
    void Decode();
    void Align();

    // The states evaluated at a frame; empty until a position is set.
    std::span<State* const> window() const;

    void print() const;
    void show(std::ostream& out) const;

    // ---- parameters of inference ----
    static double get_occupancymodel() { return occupancyModel; }
    static void restore_default_parameters();
    // The share of a note's leaving mass that goes on waiting in its tail,
    // and the tail's self-loop: the occupancy parameter unless set.
    static double hold_entry() { return hold_probability >= 0 ? hold_probability : occupancyModel; }
    static double hold_loop() { return hold_loop_probability >= 0 ? hold_loop_probability : occupancyModel; }

    static int verbosity;
    static double occupancyModel;
    static double probaMarkov;
    static double common_transition;
    static int INFERENCE_VERSION;
    // Above 0: the laws of stays are negative binomials whose standard
    // deviation is this fraction of their mean (the occupancy parameter
    // then only shapes the tails of notes).
    static double duration_spread;
    // Negative: the occupancy parameter.
    static double hold_probability;
    static double hold_loop_probability;
    // Detours of the mass that leaves an event: over the next event (a
    // note not played), and back to each of the `back_reach` events before
    // it (a passage played again, or a decision taken too early).
    static double skip_probability;
    static int skip_reach;
    static double skip_decay;
    static double back_probability;
    static int back_reach;
    // A skip over a chord weighs `skip_chord` times a skip over a single
    // note, and over a note shorter than `short_beats` `skip_short` times:
    // pianists leave out passing and ornamental notes, rarely a whole chord.
    // A note held past its law whose next event does not come: the next
    // one may have been left out. Its tail skips `tail_skip` times as
    // much as its body.
    static double tail_skip;
    static double skip_chord;
    static double skip_short;
    static double short_beats;
    // The weight of a skip over the event of state `s`, relative to one
    // over a plain note.
    static double leave_out_factor(const State* s);
    // The share of the mass that enters, at each frame, every state of the
    // window alike: no position in reach is ever out of the question.
    static double reentry;

    // The exits of `from` into `next` give `weights[i]` of their weight to
    // the entries `targets[i]` (the rest stays on `next`). The tail of a
    // note, when it has one, gives `tail_factor` times the weights of the
    // first `tail_targets` targets.
    static void divert(State* from, StateRecursion* next, const std::vector<StateRecursion*>& targets,
                       const std::vector<double>& weights, size_t tail_targets = 0, double tail_factor = 1);

    // Sets the decode window's length and makes room for what its states
    // borrow.
    void set_window_length(int n);

    State* best = nullptr;
    std::vector<State*> decode_window;
    int decodingwin_length = 21;
    Normalisers N_t{1000};
    float frames_in_position = 0;
    Score* score = nullptr;
    // The machine that built the chain and runs its frames.
    CadAlign* align = nullptr;
    // The waiting state inserted by waitPosition, or null.
    State* dummy_state = nullptr;

private:
    void append_state(State* s);
    // Adds the skip and backward transitions to the exits of each event.
    void add_detours();
    void add_detours_from(size_t position);
    bool in_window(const State* s) const;
    void add_to_window(State* s);
    void window_around(Event* e);
    // The position of the first state whose event's index is not below
    // `index` (the chain's size when there is none).
    int first_state_from(int index) const;
    void reserve_window();
    // Lets the semi-Markov states borrow from the pool, and reserves as
    // many slots as the fullest window can hold.
    void lend_buffers();
    void refresh_membership();
    void reenter(std::span<State* const> states);

    // Whether the window iterators stand on the decode deque (false: at the
    // chain's end, the window is empty).
    bool window_open = false;
    // Scratch kept between frames so that moving the window does not
    // allocate.
    std::vector<State*> old_window;
    std::vector<State*> jump_states;
    // The state of each event of the score, by index.
    std::vector<State*> event_states;

public:
    // What the states of the window borrow (StateSemiMarkov::set_windowed).
    BufferPool stay_buffers;
};
