#include "Listening/State.hpp"

#include "Base/Console.hpp"
#include "Listening/CadAlign.hpp"
#include "Listening/StateChain.hpp"
#include "Tree/Event.hpp"

#include <algorithm>
#include <cmath>
#include <ostream>

namespace {

std::vector<float> absolute_pitches(const std::vector<float>& written) {
    std::vector<float> pitches = written;
    for (float& p : pitches)
        p = std::fabs(p);
    return pitches;
}

std::vector<float> tied_pitches(const std::vector<float>& written) {
    std::vector<float> tied;
    for (float p : written)
        if (p < 0) tied.push_back(-p);
    return tied;
}

} // namespace

// ---- State ----

State::State(Event* e)
    : event(e) {
    if (!e) return;
    beat_duration = e->beat_duration();
    const std::vector<float> written = e->pitch_list();
    pitchclass = PitchClass(absolute_pitches(written), e->variance());
    pitchclass.tied = tied_pitches(written);
}

void State::show(std::ostream& out) const {
    out << toString();
}

std::string State::toString() const {
    const int index = event ? event->index() : -1;
    return str_printf("%s [%d] (%s)", type_string(), index, pitchclass.toString().c_str());
}

std::string State::toStringInference() const {
    return str_printf("%s ForwardLast %.4e Forward %.4e", toString().c_str(), ForwardLast, Forward);
}

void State::normalizeForward(double N) {
    if (ForwardLast > 0) ForwardLast /= N;
    if (Forward > 0) Forward /= N;
}

void State::addMultipleSuccessors(State*, std::vector<State*>&) {}

float State::FrameDurationFloat(const CadAlign& align) const {
    if (!event) return 0.0f;
    const double frames = align.FrameDurationFloat(event, beat_duration);
    const double d = frames - frame_offset;
    return d > 0.1 ? static_cast<float>(d) : 0.1f;
}

// ---- StateRecursion ----

// Mass sent out of the window is dropped: what a state holds when it enters
// the window is only what was sent to it from within.
void StateRecursion::propagateForward(double) {
    if (Forward <= 0) return;
    for (size_t i = 0; i < successors.size(); ++i)
        if (successors[i]->windowed) successors[i]->StateIn += transitions[i] * Forward;
}

void StateRecursion::deleteInference() {
    StateIn = 0;
    Forward = 0;
    ForwardLast = STATE_FLOOR;
}

void StateRecursion::addSuccessorUnique(State* s) {
    if (!s || !s->firstSubState()) {
        error("StateRecursion::addSuccessorUnique() state is NULL!");
        return;
    }
    addSuccessorUnique(s->firstSubState());
}

void StateRecursion::add_transition(StateRecursion* s, double p) {
    successors.push_back(s);
    transitions.push_back(p);
}

// The targets share the mass equally; a target listed twice keeps one entry.
void StateRecursion::addMultipleSuccessors(State*, std::vector<State*>& list) {
    successors.clear();
    transitions.clear();
    const double weight = list.empty() ? 0.0 : 1.0 / static_cast<double>(list.size());
    for (State* s : list) {
        StateRecursion* target = s ? s->firstSubState() : nullptr;
        if (!target) continue;
        auto it = std::find(successors.begin(), successors.end(), target);
        if (it != successors.end())
            transitions[static_cast<size_t>(it - successors.begin())] = weight;
        else
            add_transition(target, weight);
    }
}

void StateRecursion::stateInViterbi(double v) {
    if (v > StateIn) StateIn = v;
}

void StateRecursion::propagateViterbi() {
    for (size_t i = 0; i < successors.size(); ++i)
        successors[i]->stateInViterbi(transitions[i] * Forward);
}

// ---- StateMarkov ----

StateMarkov::StateMarkov(Event* e, double proba)
    : StateRecursion(e)
    , probaMarkov(proba) {
    add_transition(this, probaMarkov);
}

void StateMarkov::Infere(CadAlign&) {
    const double o = get_obs();
    ForwardLast = Forward = o * StateIn;
    if (Forward > 1.0 && StateChain::verbosity >= 1)
        error("too big forward in Markov - Forward = %.5f, obs = %.4e, StateIn = %.4e - event %s cuenum %i",
              Forward, o, StateIn, event ? event->toString().c_str() : "none", event ? event->index() : -1);
    StateIn = 0;
}

void StateMarkov::addMultipleSuccessors(State* self, std::vector<State*>& list) {
    list.push_back(this);
    StateRecursion::addMultipleSuccessors(self, list);
}

void StateMarkov::assign_pitchclass(CadAlign* align) {
    obs = &align->cached_PitchClass(entry, entry_generation, pitchclass, false).instant;
}

// ---- StateDummyMarkov ----

StateDummyMarkov::StateDummyMarkov(Event* e, double proba)
    : StateMarkov(e, proba) {
    pitchclass.pitches = {0.0f};
}
