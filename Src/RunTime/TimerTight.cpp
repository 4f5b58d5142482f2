// Steps anchored to the score ("@tight", "@ante", "@post"): a delay is read
// as the last event before its date plus what remains after it. The step
// waits for that event and counts the remainder from its real arrival, so
// that the action keeps its place against a musician who rushes; the event
// skipped, the step runs late at once. A list of events given to the
// strategy ("@tight := {$A, $C}") makes those the only anchors. "@tight"
// and "@ante" steps also fall due at their own date when the anchor is
// late; a "@post" step never comes before its anchor. In a scope with a
// tempo of its own, the remainder and the date of falling due count at
// that tempo.
#include "RunTime/CadTimer.hpp"

#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/Expression.hpp"
#include "Exp/Values.hpp"
#include "RunTime/CadScheduler.hpp"
#include "RunTime/Runtime.hpp"
#include "RunTime/exec.hpp"
#include "Tree/Action.hpp"
#include "Tree/Bloc.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kAtOnce = 0.0001;

bool anchored(const Action& a) {
    return a.tight || a.ante || a.post;
}

// The event at beat `beat`, or the last one before it; 0 when none.
int event_at_or_before(const Score& score, double beat) {
    int found = 0;
    for (int i = 1; i <= score.get_cur_index(); ++i) {
        const Event& e = *score.events[static_cast<std::size_t>(i)];
        if (e.beatcum() - kAtOnce > beat) break;
        if (e.isEvent()) found = i;
    }
    return found;
}

// The latest listed event at or before `at`, kept in `anchor` (-1.0 when
// none yet): a label names its event, a number is a beat.
void latest_listed(const ExpressionList* list, const Score& score, double at, double& anchor) {
    if (!list) return;
    for (const auto& e : *list) {
        const Value v = e->eval();
        double beat = -1.0;
        if (v->is_string_or_symb()) {
            const int index = score.labelPosition(v->get_string());
            if (index >= 0) beat = score.events[static_cast<std::size_t>(index)]->beatcum();
        } else if (!v->is_undef()) {
            beat = v->get_double();
        }
        if (beat >= 0.0 && beat <= at + kAtOnce && beat > anchor) anchor = beat;
    }
}

} // namespace

bool CadTimer::tight_step() const {
    return bloc && anchored(*bloc);
}

const Action* CadTimer::anchoring_action() const {
    return bloc;
}

void CadTimer::search_anchor(double at, double* rest, int* index) {
    const Score& score = *rt->score;
    const Action* a = anchoring_action();
    if (!a || !(a->tight_l || a->ante_l || a->post_l)) {
        score.search_event(at, rest, index);
        return;
    }
    double anchor = -1.0;
    {
        SavedContext saved(*rt);
        set_context();
        latest_listed(a->tight_l, score, at, anchor);
        latest_listed(a->ante_l, score, at, anchor);
        latest_listed(a->post_l, score, at, anchor);
    }
    if (anchor < 0.0) {
        // No listed event before the date: the step is loose.
        *rest = -1.0;
        *index = wait_index;
        return;
    }
    *index = std::max(1, event_at_or_before(score, anchor));
    *rest = at - score.events[static_cast<std::size_t>(*index)]->beatcum();
}

void CadTimer::schedule_tight(double delay, duration_type unit) {
    const double d = unit == DURATION_SECONDS ? delay_in_beats : delay;
    const Score* score = rt->score;
    if (!score || score->events.size() < 2) {
        schedule_loose(delay, unit);
        return;
    }
    local_delay = -1.0;
    int found = wait_index;
    search_anchor(date, &local_delay, &found);
    if (found < wait_index) {
        callback_late(nullptr);
        return;
    }
    if (found == wait_index) {
        if (std::fabs(d) <= kAtOnce || (local_delay <= kAtOnce && local_delay != -1.0)) {
            callback(nullptr);
            return;
        }
        schedule_loose(local_delay == -1.0 ? d : std::min(d, local_delay), DURATION_BEATS);
        return;
    }
    wait_event(found);
    const Action* a = anchoring_action();
    if (a && a->post && !a->tight && !a->ante) return;
    // The date the step falls due at if the event never comes.
    schedule_loose(d, DURATION_BEATS);
}

void CadTimer::wait_event(int index) {
    var_management& beat_pos = rt->env.vars[rt->env.beat_pos_index];
    if (!position_var) {
        rt->env.attach(&beat_pos, this, UPDATE_POS);
        position_var = &beat_pos;
    }
    awaited_event = index;
}

void CadTimer::UpdatePosition(int pos) {
    if (wait_index == pos && pos > 0) return;
    wait_index = pos;
    if (awaited_event < 0 || pos < awaited_event) return;
    const int awaited = awaited_event;
    stop_waiting();
    if (pos > awaited) {
        local_delay = -1.0;
        callback_late(nullptr);
        return;
    }
    if (local_delay <= kAtOnce) {
        local_delay = -1.0;
        callback(nullptr);
        return;
    }
    // The remainder counts from the event's real arrival; the next event
    // reached before it ends finds the step overdue.
    const double rest = local_delay;
    local_delay = -1.0;
    wait_event(pos);
    schedule_loose(rest, DURATION_BEATS);
}
