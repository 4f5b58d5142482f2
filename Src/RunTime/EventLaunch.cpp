// Launching the action trees of events: each in an instant of its own,
// nested in the instant of the position, so that all the messages of a
// position go out in one delivery.
#include "RunTime/CadenziumCore.hpp"

#include "RunTime/Environment_RunTime.hpp"
#include "Tree/Action.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

void cadenzium_core::launch_event_actions(int index) {
    if (!x_netscore || index < 0 || index > x_netscore->get_cur_index()) return;
    const Event& e = *x_netscore->events[static_cast<std::size_t>(index)];
    if (!e.action()) return;
    EnvironmentLock lock(*global_env);
    set_static_context();
    global_env->start_logical_instant(index);
    e.action()->Fire(e.beatcum(), 0.0, DURATION_BEATS);
    global_env->end_logical_instant();
}

// The events skipped by a jump fire in order, in late mode, in the instant
// of the event reached.
void cadenzium_core::launch_missed_events(int first, int last) {
    if (!x_netscore || first < 0 || last > x_netscore->get_cur_index()) return;
    set_static_context();
    EnvironmentLock lock(*global_env);
    global_env->start_logical_instant(last);
    for (int i = first; i < last; ++i) {
        const Event& e = *x_netscore->events[static_cast<std::size_t>(i)];
        if (e.action()) e.action()->Fire_late(e.beatcum(), 0.0, DURATION_BEATS);
    }
    global_env->end_logical_instant();
}
