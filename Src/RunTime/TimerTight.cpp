// Steps anchored to the score ("@tight", "@ante", "@post"): a delay is read
// as the last event before its date plus what remains after it. The step
// waits for that event and counts the remainder from its real arrival, so
// that the action keeps its place against a musician who rushes; the event
// skipped, the step runs late at once.
#include "RunTime/CadTimer.hpp"

#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "RunTime/CadScheduler.hpp"
#include "RunTime/Runtime.hpp"
#include "Tree/Bloc.hpp"
#include "Tree/Score.hpp"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kAtOnce = 0.0001;

} // namespace

bool CadTimer::tight_step() const {
    return bloc && (bloc->tight || bloc->ante || bloc->post);
}

void CadTimer::schedule_tight(double delay, duration_type unit) {
    const double d = unit == DURATION_SECONDS ? delay_in_beats : delay;
    if (tempo_kind == TEMPO_CONSTANT) {
        error("Not yet implemented : schedule tight with constant tempo");
        return;
    }
    if (tempo_kind == TEMPO_DYNAMIC) {
        error("Not yet implemented : schedule tight with dynamic tempo");
        return;
    }
    const Score* score = rt->score;
    if (!score || score->events.size() < 2) {
        schedule_loose(delay, unit);
        return;
    }
    local_delay = -1.0;
    int found = wait_index;
    score->search_event(date, &local_delay, &found);
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
    // The date the step falls due at if the event never comes.
    pending_type = SCHED_RELATIVE;
    sched->insertRelativeTimer(this, d);
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
