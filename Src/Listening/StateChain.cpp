#include "Listening/StateChain.hpp"

#include "Listening/CadAlign.hpp"
#include "Listening/StateCompound.hpp"
#include "Listening/StateSemiMarkov.hpp"
#include "Base/Console.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <ostream>
#include <sstream>

int StateChain::verbosity = 0;
double StateChain::occupancyModel = 0.5;
double StateChain::probaMarkov = 0.85;
double StateChain::common_transition = 0;
int StateChain::INFERENCE_VERSION = 2;

StateChain::StateChain(Score* s, CadAlign* a)
    : score(s)
    , align(a) {}

StateChain::~StateChain() {
    deleteStates();
}

void StateChain::restore_default_parameters() {
    occupancyModel = 0.5;
    probaMarkov = 0.85;
    common_transition = 0;
    INFERENCE_VERSION = 2;
}

// ---- building ----

void StateChain::loadScore(Score* s) {
    score = s;
    deleteStates();
    if (!s || s->CountEvents() < 1) return;
    const int n = static_cast<int>(s->events.size());
    for (int i = 0; i < n; ++i) {
        Event* e = s->events[static_cast<size_t>(i)].get();
        addEvent(e);
        if (i != 0 && e->withdummy() && i + 1 < n) addDummySilence(s, i);
    }
    // The end state listens for silence after the last event.
    auto* end_state = new StateMarkov(s->events.back().get(), probaMarkov);
    end_state->pitchclass.pitches.clear();
    append_state(end_state);
    reserve_window();
}

void StateChain::addEvent(Event* e) {
    if (State* s = newStateFomEvent(e)) append_state(s);
}

void StateChain::append_state(State* s) {
    if (!empty()) back()->addSuccessorUnique(s);
    push_back(s);
}

State* StateChain::newStateFomEvent(Event* e) {
    if (!e) return nullptr;
    if (verbosity > 1) post("StateChain::newStateFomEvent(): event->type() = %d", e->type());
    State* s = nullptr;
    switch (e->type()) {
    case 0:
        if (INFERENCE_VERSION == 2)
            s = new StateAggregateSM(e, this);
        else
            s = new StateSemiMarkov(e, &N_t);
        break;
    case 1:
        s = new StateMarkov(e, probaMarkov);
        break;
    case 2:
        s = new StateTrill(e, this);
        break;
    default:
        s = new StateGroup(e, this);
        break;
    }
    const auto index = static_cast<std::size_t>(e->index());
    if (index >= event_states.size()) event_states.resize(index + 1, nullptr);
    event_states[index] = s;
    return s;
}

// A silence that follows moves the dummy past itself instead.
void StateChain::addDummySilence(Score* s, int i) {
    Event* next = s->events[static_cast<size_t>(i + 1)].get();
    if (next->isSilence()) {
        next->withdummy(true);
        return;
    }
    append_state(new StateDummyMarkov(s->events[static_cast<size_t>(i)].get(), probaMarkov));
}

void StateChain::removeDummyState() {
    if (!dummy_state) return;
    std::erase(decode_window, dummy_state);
    std::erase(old_window, dummy_state);
    if (best == dummy_state) best = nullptr;
    for (auto it = begin(); it != end(); ++it) {
        if (*it != dummy_state) continue;
        erase(it);
        break;
    }
    delete dummy_state;
    dummy_state = nullptr;
}

State* StateChain::findState(Event* e) {
    auto it = findStateIterator(e);
    return it == end() ? nullptr : *it;
}

State* StateChain::state_of(int index) const {
    if (index < 0 || index >= static_cast<int>(event_states.size())) return nullptr;
    return event_states[static_cast<std::size_t>(index)];
}

StateChain::iterator StateChain::findStateIterator(Event* e) {
    if (!e) return end();
    for (auto it = begin(); it != end(); ++it)
        if ((*it)->event && (*it)->event->index() == e->index()) return it;
    return end();
}

void StateChain::deleteStates() {
    for (State* s : *this)
        delete s;
    clear();
    event_states.clear();
    decode_window.clear();
    old_window.clear();
    N_t.clear();
    best = nullptr;
    dummy_state = nullptr;
    window_open = false;
}

void StateChain::reserve_window() {
    decode_window.reserve(size() + 2);
    old_window.reserve(size() + 2);
    jump_states.reserve(16);
}

// ---- position ----

void StateChain::initStates() {
    decode_window.clear();
    if (empty()) {
        deleteInference();
        frames_in_position = 0;
        error("StateChain::initStates():\t no state has a non-null initial probability!");
        return;
    }
    setPosition(front());
}

void StateChain::setPosition(State* s) {
    if (!s) {
        deleteInference();
        if (verbosity > 0)
            error("StateChain::setPosition(state):\t no state has a non-null initial probability!");
        return;
    }
    if (verbosity > 0)
        post("StateChain::setPosition(State*):\tstate %s, event cuenum %d (previous state: %s, event cuenum "
             "%d)",
             s->toString().c_str(), s->event ? s->event->index() : -1,
             best ? best->toString().c_str() : "none", best && best->event ? best->event->index() : -1);
    deleteInference();
    if (StateRecursion* entry = s->firstSubState()) entry->stateInSet(1.0);
    updateDecodeWindow(s->event);
    frames_in_position = 1.0f;
}

void StateChain::setPosition(Event* e) {
    if (verbosity > 0)
        post("StateChain::setPosition(Event*):\tevent cuenum %d (previous position: event cuenum %d)",
             e ? e->index() : -1, best && best->event ? best->event->index() : -1);
    setPosition(findState(e));
}

void StateChain::waitPosition(Event* from, Event* silence_event) {
    removeDummyState();
    waitPosition(findStateIterator(from), silence_event);
}

void StateChain::waitPosition(iterator at, Event* silence_event) {
    auto* dummy = new StateDummyMarkov(silence_event, probaMarkov);
    if (at != end()) dummy->addSuccessorUnique(*at);
    insert(at, dummy);
    dummy_state = dummy;
    reserve_window();
    setPosition(dummy);
}

void StateChain::deleteInference() {
    N_t.clear();
    for (State* s : *this)
        s->deleteInference();
    best = nullptr;
    window_open = false;
}

void StateChain::deleteDecode() {
    decode_window.clear();
    window_open = false;
}

// ---- printing ----

void StateChain::print() const {
    std::ostringstream out;
    show(out);
    post_text(out.str());
}

void StateChain::show(std::ostream& out) const {
    out << "StateChain: " << size() << " states, window of " << window().size() << '\n';
    for (const State* s : *this)
        out << s->toStringInference() << '\n';
}
