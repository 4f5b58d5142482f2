#include "Listening/StateCompound.hpp"

#include "Listening/StateChain.hpp"
#include "Listening/StateSemiMarkov.hpp"
#include "Tree/Event.hpp"

#include <bitset>
#include <cmath>

// ---- StateCompound ----

StateCompound::~StateCompound() {
    for (State* s : sub_states)
        delete s;
}

void StateCompound::Observe(CadAlign& align) {
    for (State* s : sub_states)
        s->Observe(align);
}

void StateCompound::normalizeForward(double N) {
    if (ForwardLast > 0) ForwardLast /= N;
    for (State* s : sub_states)
        s->normalizeForward(N);
}

void StateCompound::propagateForward(double x) {
    for (State* s : sub_states)
        s->propagateForward(x);
}

void StateCompound::deleteInference() {
    ForwardLast = STATE_FLOOR;
    for (State* s : sub_states)
        s->deleteInference();
}

StateRecursion* StateCompound::firstSubState() {
    return sub_states.empty() ? nullptr : sub_states.front()->firstSubState();
}

StateRecursion* StateCompound::lastSubState() {
    return sub_states.empty() ? nullptr : sub_states.back()->lastSubState();
}

void StateCompound::assign_pitchclass(CadAlign* align) {
    for (State* s : sub_states)
        s->assign_pitchclass(align);
}

bool StateCompound::remove_pitchclass(StateChain* chain) {
    bool all = true;
    for (State* s : sub_states)
        if (!s->remove_pitchclass(chain)) all = false;
    return all;
}

void StateCompound::set_beat_duration(double beats) {
    beat_duration = beats;
    for (State* s : sub_states)
        s->set_beat_duration(beats);
}

void StateCompound::set_windowed(bool on) {
    windowed = on;
    for (State* s : sub_states)
        s->set_windowed(on);
}

void StateCompound::recursion_states(std::vector<StateRecursion*>& out) {
    for (State* s : sub_states)
        s->recursion_states(out);
}

std::string StateCompound::toStringInference() const {
    std::string text = State::toStringInference();
    for (const State* s : sub_states)
        text += "\n\t" + s->toStringInference();
    return text;
}

// ---- StateGroup ----

StateGroup::StateGroup(Event* e, StateChain* chain)
    : StateCompound(e) {
    const EventList* subs = e ? e->get_sub_events() : nullptr;
    if (subs)
        for (const auto& sub : *subs)
            addMicrostate(sub.get(), chain);
    best_sub = sub_states.empty() ? nullptr : sub_states.front();
    share_duration();
    add_inner_skips();
}

void StateGroup::add_inner_skips() {
    std::vector<StateRecursion*> targets;
    std::vector<double> weights;
    for (size_t k = 0; k + 2 < sub_states.size(); ++k) {
        targets.clear();
        weights.clear();
        double skip = StateChain::skip_probability;
        for (size_t to = k + 2;
             to < sub_states.size() && static_cast<int>(to - k - 1) <= StateChain::skip_reach;
             ++to, skip *= StateChain::skip_decay) {
            if (skip <= 0) break;
            targets.push_back(sub_states[to]->firstSubState());
            weights.push_back(skip);
        }
        StateChain::divert(sub_states[k], sub_states[k + 1]->firstSubState(), targets, weights);
    }
}

// The elements of a multi-event have no duration of their own: they share
// the event's, as a glide or a free succession takes it.
void StateGroup::share_duration() {
    if (sub_states.empty() || beat_duration <= 0) return;
    const double each = beat_duration / static_cast<double>(sub_states.size());
    for (State* s : sub_states)
        if (s->beat_duration <= 0) s->set_beat_duration(each);
}

namespace {

// The keys a state's pitches fall on.
std::bitset<128> keys_of(const State* s) {
    std::bitset<128> keys;
    for (float p : s->pitchclass.pitches) {
        const double m = std::fabs(p) > 127 ? std::fabs(p) / 100.0 : std::fabs(p);
        const long key = std::lround(m);
        if (p > 0 && key >= 0 && key < 128) keys.set(static_cast<size_t>(key));
    }
    return keys;
}

// An element whose pitches fall on keys the element before it already
// struck (a glide moves by quarter tones; two of them fall on one key) is
// not struck again: it is heard as held, and expects no attack.
void hold_repeated_keys(State* s, const State* previous) {
    const std::bitset<128> keys = keys_of(s);
    if (keys.none() || (keys & ~keys_of(previous)).any()) return;
    std::vector<StateRecursion*> inner;
    s->recursion_states(inner);
    s->pitchclass.tied = s->pitchclass.pitches;
    for (StateRecursion* r : inner)
        r->pitchclass.tied = r->pitchclass.pitches;
}

} // namespace

// Each new sub-state follows the exit state of the previous one.
void StateGroup::addMicrostate(Event* e, StateChain* chain) {
    State* s = chain->newStateFomEvent(e);
    if (!s) return;
    if (!sub_states.empty()) hold_repeated_keys(s, sub_states.back());
    if (!sub_states.empty() && sub_states.back()->lastSubState())
        sub_states.back()->lastSubState()->addSuccessorUnique(s);
    sub_states.push_back(s);
}

// The group's Forward is a running sum that is never reset; nothing but the
// common-transition sum reads it.
void StateGroup::Infere(CadAlign& align) {
    ForwardLast = STATE_FLOOR;
    double best = -1.0;
    for (State* s : sub_states) {
        s->Infere(align);
        ForwardLast += s->ForwardLast;
        Forward += s->Forward;
        if (s->ForwardLast > best) {
            best_sub = s;
            best = s->ForwardLast;
        }
    }
}

void StateGroup::addSuccessorUnique(State* s) {
    if (StateRecursion* last = lastSubState()) last->addSuccessorUnique(s);
}

void StateGroup::addMultipleSuccessors(State* self, std::vector<State*>& list) {
    if (StateRecursion* last = lastSubState()) last->addMultipleSuccessors(self, list);
}

// ---- StateAggregateSM ----

StateAggregateSM::StateAggregateSM(Event* e, StateChain* chain)
    : StateGroup(e, chain) {
    semi = new StateSemiMarkov(e, &chain->N_t);
    semi->frame_offset += 1.0;
    markov = new StateMarkov(e, StateChain::hold_loop());
    hold = StateChain::hold_entry();
    semi->add_transition(markov, hold);
    sub_states.insert(sub_states.begin(), semi);
    sub_states.push_back(markov);
    best_sub = sub_states.front();
}

void StateAggregateSM::addSuccessorUnique(State* s) {
    StateRecursion* entry = s ? s->firstSubState() : nullptr;
    if (entry) semi->add_transition(entry, 1.0 - hold);
    markov->addSuccessorUnique(s);
}

void StateAggregateSM::addMultipleSuccessors(State* self, std::vector<State*>& list) {
    (void)self;
    list.push_back(markov);
    semi->addMultipleSuccessors(semi, list);
}
