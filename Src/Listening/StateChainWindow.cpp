// The decode window: the states that may hold probability mass, one third
// behind the position and two thirds ahead, plus the targets of jumps.
#include "Listening/CadAlign.hpp"
#include "Listening/Relocator.hpp"
#include "Listening/State.hpp"
#include "Listening/StateChain.hpp"
#include "Base/Console.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <algorithm>
#include <cmath>

std::span<State* const> StateChain::window() const {
    if (!window_open) return {};
    return {decode_window.data(), decode_window.size()};
}

bool StateChain::in_window(const State* s) const {
    return std::find(decode_window.begin(), decode_window.end(), s) != decode_window.end();
}

void StateChain::add_to_window(State* s) {
    if (!in_window(s)) decode_window.push_back(s);
}

// The window follows the belief, not the position the engine accepted: a
// refused move cannot freeze the machine.
void StateChain::follow_belief(Event* e) {
    if (e) updateDecodeWindow(e);
}

void StateChain::relocate(int index, const Relocator& relocator) {
    if (!score || index < 0 || index >= static_cast<int>(score->events.size())) return;
    updateDecodeWindow(score->events[static_cast<size_t>(index)].get());
    const int span = std::max(relocator.settings.found_span, 1);
    double total = 0;
    for (int j = index; j < index + span && j < relocator.size(); ++j)
        total += relocator.weight_of(j);
    if (total <= 0) return;
    for (int j = index; j < index + span && j < relocator.size(); ++j) {
        State* s = state_of(j);
        StateRecursion* entry = s ? s->firstSubState() : nullptr;
        if (entry && s->windowed) entry->StateIn += relocator.weight_of(j) / total;
    }
}

void StateChain::updateDecodeWindow(Event* e) {
    old_window.assign(decode_window.begin(), decode_window.end());
    decode_window.clear();
    const int L = decodingwin_length;
    const int n = static_cast<int>(size());
    if (L >= n) {
        for (State* s : *this)
            Resampling(s, 1);
        if (verbosity > 0)
            post("StateChain::updateDecodeWindow(Event*)\t  Decoding window is reseted on ALL states "
                 "(decodingwin_length = %i, chain size = %i)",
                 L, n);
    } else {
        window_around(e);
    }
    window_open = true;
    refresh_membership();
}

// States that enter or leave the window start afresh; those that stay keep
// their mass.
void StateChain::refresh_membership() {
    for (State* s : old_window)
        s->window_mark = 1;
    for (State* s : decode_window) {
        if (s->window_mark != 1) s->deleteInference();
        s->window_mark = 2;
    }
    for (State* s : old_window) {
        if (s->window_mark != 1) continue;
        s->deleteInference();
        s->set_windowed(false);
    }
    for (State* s : decode_window) {
        s->window_mark = 0;
        s->set_windowed(true);
    }
    for (State* s : old_window)
        s->window_mark = 0;
}

// States stand in score order (a dummy carries the index of the event it
// follows or precedes), so the first state at or after an event is found by
// halving, and moving the window does not cost the length of the chain.
int StateChain::first_state_from(int target) const {
    const auto below = [](const State* s, int index) { return !s->event || s->event->index() < index; };
    return static_cast<int>(std::lower_bound(begin(), end(), target, below) - begin());
}

void StateChain::window_around(Event* e) {
    const int L = decodingwin_length;
    const int n = static_cast<int>(size());
    const int pos = first_state_from(e ? e->index() : 0);
    if (pos == n) {
        if (verbosity > 0)
            error("StateChain::updateDecodeWindow(Event*)\tproblem with decode window update -> no decode "
                  "window");
        for (State* s : *this)
            Resampling(s, 1);
        return;
    }
    int back = std::min(static_cast<int>(std::ceil(L / 3.0)), pos);
    int fwd = L - 1 - back;
    if (n - pos < fwd) {
        fwd = n - pos;
        back = L - 1 - fwd;
    }
    const int first = std::max(0, pos - back);
    const int last = std::min(n - 1, pos + std::max(fwd, 0));
    for (int i = first; i <= last; ++i)
        Resampling(at(static_cast<size_t>(i)), 1);
    if (verbosity > 0) {
        const Event* a = at(static_cast<size_t>(first))->event;
        const Event* b = at(static_cast<size_t>(last))->event;
        post("StateChain::updateDecodeWindow(Event*)\t  Decoding window reseted between events (index) %i - "
             "%i "
             "(decodingwin_length = %i, distance = %i, chain size = %i)",
             a ? a->index() : -1, b ? b->index() : -1, L, pos, n);
    }
}

// The targets of a jump are always evaluated, however far from the window.
void StateChain::Resampling(State* s, int depth) {
    (void)depth;
    add_to_window(s);
    if (!score || !s->event) return;
    const std::vector<int>& targets = score->find_jump(s->event->index());
    if (targets.empty()) return;
    jump_states.clear();
    for (int t : targets) {
        if (t < 0 || t >= static_cast<int>(score->events.size())) continue;
        if (State* target = state_of(t)) jump_states.push_back(target);
    }
    const size_t count = jump_states.size();
    s->addMultipleSuccessors(s, jump_states);
    for (size_t i = 0; i < count; ++i)
        add_to_window(jump_states[i]);
}
