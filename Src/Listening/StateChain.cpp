#include "Listening/StateChain.hpp"

#include "Base/Console.hpp"
#include "Listening/CadAlign.hpp"
#include "Listening/StateCompound.hpp"
#include "Listening/StateSemiMarkov.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <ostream>
#include <sstream>

int StateChain::verbosity = 0;
double StateChain::occupancyModel = 0.5;
double StateChain::probaMarkov = 0.85;
double StateChain::common_transition = 0;
int StateChain::INFERENCE_VERSION = 2;
double StateChain::duration_spread = 0;
double StateChain::hold_probability = -1;
double StateChain::hold_loop_probability = -1;
double StateChain::skip_probability = 0;
int StateChain::skip_reach = 1;
double StateChain::skip_decay = 0.1;
double StateChain::reentry = 0;
double StateChain::back_probability = 0;
int StateChain::back_reach = 0;
double StateChain::tail_skip = 1;
double StateChain::skip_chord = 1;
double StateChain::skip_short = 1;
double StateChain::short_beats = 0.125;

StateChain::StateChain(Score* s, CadAlign* a)
    : score(s)
    , align(a)
    , stay_buffers(STAY_SLOT) {}

StateChain::~StateChain() {
    deleteStates();
}

void StateChain::restore_default_parameters() {
    occupancyModel = 0.5;
    probaMarkov = 0.85;
    common_transition = 0;
    INFERENCE_VERSION = 2;
    duration_spread = 0;
    hold_probability = -1;
    hold_loop_probability = -1;
    skip_probability = 0;
    skip_reach = 1;
    skip_decay = 0.1;
    reentry = 0;
    back_probability = 0;
    back_reach = 0;
    tail_skip = 1;
    skip_chord = 1;
    skip_short = 1;
    short_beats = 0.125;
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
    // The end state listens for silence after the last event, as a waiting
    // state does (pitch 0): unlike a rest, it must not draw the mass on
    // through the last event before that event is played.
    auto* end_state = new StateMarkov(s->events.back().get(), probaMarkov);
    end_state->pitchclass.pitches.assign(1, 0.0f);
    append_state(end_state);
    add_detours();
    reserve_window();
    lend_buffers();
}

void StateChain::add_detours() {
    if (skip_probability <= 0 && (back_probability <= 0 || back_reach < 1)) return;
    for (size_t k = 0; k + 1 < size(); ++k)
        if (!at(k)->isDummy()) add_detours_from(k);
}

// The exits of the state at `position` are its transitions into the next
// state's entry. Each gives a part of its weight to the entries of the
// events after the next one (`skip_probability` over one event, a tenth of
// that over each further one, up to `skip_reach`) and to those of the
// events behind. Waiting states (dummies) are neither left by detours nor
// their targets.
void StateChain::add_detours_from(size_t position) {
    StateRecursion* next = at(position + 1)->firstSubState();
    std::vector<StateRecursion*> targets;
    std::vector<double> weights;
    size_t k = position + 1;
    while (k < size() && at(k)->isDummy())
        ++k;
    double skip = skip_probability;
    for (int over = 1; over <= skip_reach && skip > 0; ++over, skip *= skip_decay) {
        const double left_out = leave_out_factor(at(k));
        for (++k; k < size() && at(k)->isDummy();)
            ++k;
        if (k >= size()) break;
        skip *= left_out;
        targets.push_back(at(k)->firstSubState());
        weights.push_back(skip);
    }
    const size_t skips = targets.size();
    int found = 0;
    for (size_t b = position; b-- > 0 && found < back_reach;) {
        if (at(b)->isDummy() || !at(b)->event || at(b)->event->index() == 0) continue;
        targets.push_back(at(b)->firstSubState());
        weights.push_back(back_probability);
        ++found;
    }
    divert(at(position), next, targets, weights, skips, tail_skip);
}

double StateChain::leave_out_factor(const State* s) {
    const Event* e = s ? s->event : nullptr;
    if (!e) return 1.0;
    int struck = 0;
    for (float p : e->pitch_list())
        if (p > 0) ++struck;
    if (struck > 1) return skip_chord;
    return e->beat_duration() < short_beats ? skip_short : 1.0;
}

void StateChain::divert(State* from, StateRecursion* next, const std::vector<StateRecursion*>& targets,
                        const std::vector<double>& weights, size_t tail_targets, double tail_factor) {
    if (targets.empty() || !next) return;
    std::vector<StateRecursion*> exits;
    from->recursion_states(exits);
    const auto* note = dynamic_cast<const StateAggregateSM*>(from);
    const StateRecursion* tail = note ? note->markov : nullptr;
    for (StateRecursion* r : exits) {
        const double factor = r == tail ? tail_factor : 1.0;
        double taken = 0;
        for (size_t j = 0; j < weights.size(); ++j)
            taken += j < tail_targets ? weights[j] * factor : weights[j];
        if (taken >= 1) continue;
        for (size_t i = 0; i < r->successors.size(); ++i) {
            if (r->successors[i] != next) continue;
            const double w = r->transitions[i];
            r->transitions[i] = w * (1 - taken);
            for (size_t j = 0; j < targets.size(); ++j)
                if (targets[j])
                    r->add_transition(targets[j], w * weights[j] * (j < tail_targets ? factor : 1.0));
            break;
        }
    }
}

void StateChain::addEvent(Event* e) {
    if (State* s = newStateFomEvent(e)) append_state(s);
}

void StateChain::append_state(State* s) {
    if (!empty()) back()->addSuccessorUnique(s);
    push_back(s);
}

bool StateChain::is_struck(const Event* e) {
    if (e->isSilence() || e->index() == 0) return false;
    for (float p : e->pitch_list())
        if (p > 0) return true;
    return false;
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
        // A grace note is struck like any note: its attack must be heard
        // at its entry, which a Markov state has no phase for.
        if (INFERENCE_VERSION == 2 && is_struck(e))
            s = new StateAggregateSM(e, this);
        else
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

// The window's states give back what they borrowed before they go, so
// that a chain built again finds its pool whole.
void StateChain::deleteStates() {
    deleteDecode();
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

namespace {

// The semi-Markov states within `s`, each told to borrow from `pool`.
int lend_to_states(State* s, BufferPool& pool, std::vector<StateRecursion*>& scratch) {
    scratch.clear();
    s->recursion_states(scratch);
    int count = 0;
    for (StateRecursion* r : scratch) {
        auto* semi = dynamic_cast<StateSemiMarkov*>(r);
        if (!semi) continue;
        semi->lend_from(&pool);
        ++count;
    }
    return count;
}

} // namespace

// The window holds at most `decodingwin_length` consecutive states and the
// targets of jumps: the slots are the most semi-Markov states any such
// stretch holds, those of every jump target, and a margin.
void StateChain::lend_buffers() {
    std::vector<StateRecursion*> scratch;
    std::vector<int> counts;
    counts.reserve(size());
    for (State* s : *this)
        counts.push_back(lend_to_states(s, stay_buffers, scratch));
    const size_t L = static_cast<size_t>(std::max(decodingwin_length, 1));
    int stretch = 0;
    int fullest = 0;
    for (size_t k = 0; k < counts.size(); ++k) {
        stretch += counts[k];
        if (k >= L) stretch -= counts[k - L];
        fullest = std::max(fullest, stretch);
    }
    int targets = 0;
    for (State* s : *this) {
        if (!score || !s->event) continue;
        for (int t : score->find_jump(s->event->index()))
            if (State* target = state_of(t)) targets += lend_to_states(target, stay_buffers, scratch);
    }
    constexpr int margin = 2;
    stay_buffers.reserve(static_cast<size_t>(fullest + targets + margin));
}

void StateChain::set_window_length(int n) {
    decodingwin_length = n;
    lend_buffers();
}

// ---- position ----

void StateChain::initStates() {
    deleteDecode();
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
    updateDecodeWindow(s->event);
    if (StateRecursion* entry = s->firstSubState()) entry->stateInSet(1.0);
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
    for (State* s : decode_window)
        s->set_windowed(false);
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
