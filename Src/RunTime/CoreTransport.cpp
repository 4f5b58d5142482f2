// The position moved by command: to a beat or a label, one event on or back,
// or to a place reached by running the score from its start in virtual time
// (a rehearsal from letter C with the electronics as they would be there).
// Each move stops the decoder, places the listening machine and the runtime,
// and starts again.
#include "RunTime/CadenziumCore.hpp"

#include "Base/Console.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <cmath>

double cadenzium_core::cadenzium_label_to_pos(const std::string& label) {
    const ConsoleScope scope(&rt.console);
    if (!x_netscore) {
        error("%s - Before asking for a cue, you must define a score!", thisName());
        return -1.0;
    }
    const int index = x_netscore->labelPosition(label);
    if (index < 0) {
        error("%s - Given cue %s does not exist in the score!", thisName(), label.c_str());
        return -1.0;
    }
    return x_netscore->events[static_cast<std::size_t>(index)]->beatcum();
}

// Index 0, the top of the score, is never a target.
int cadenzium_core::find_index_and_lock(double beat) {
    if (!x_netscore || x_netscore->CountEvents() == 0) {
        error("%s - Before browsing the score, you must define a score!", thisName());
        return -1;
    }
    const int last = x_netscore->get_cur_index();
    for (int i = 1; i <= last; ++i) {
        if (x_netscore->events[static_cast<std::size_t>(i)]->beatcum() < beat - 0.0001) continue;
        wait_for_decoder();
        return i;
    }
    error("%s - The inquired beat position %f does not exist in the score!", thisName(), beat);
    return -1;
}

// The runtime stands on the event before `index`, whose actions do not fire
// again; the listening machine waits in front of `index`, what it heard
// before the move forgotten.
void cadenzium_core::finalize_positionning(int index) {
    const bool zigzag = rt.switches.prevent_zigzag;
    const bool actions = rt.switches.actions_on;
    const float old_tempo = rt.current_event ? rt.current_event->ScoreTempo() : 0.0f;
    rt.switches.actions_on = false;
    rt.switches.prevent_zigzag = false;
    align->wait_before(index);
    updatePosition(index - 1);
    rt.last_action_event = x_netscore->events[static_cast<std::size_t>(index - 1)].get();
    rt.switches.prevent_zigzag = zigzag;
    rt.switches.actions_on = actions;
    // The tracker takes the written tempo of the place reached.
    const float period = std::fabs(rt.current_event->ScoreTempo());
    if (period != std::fabs(old_tempo) && period > 0) tempo.TempoUpdate(period);
    const Event& at = *x_netscore->events[static_cast<std::size_t>(index)];
    inform("%s - Starting at event number %i with score beat position %f", thisName(), at.index(),
           at.beatcum());
    running = 1;
}

void cadenzium_core::cadenzium_gotobeat(double beat) {
    const ConsoleScope scope(&rt.console);
    const int index = find_index_and_lock(beat);
    if (index < 0) return;
    finalize_positionning(index);
}

void cadenzium_core::cadenzium_gotolabel(const std::string& label) {
    const double beat = cadenzium_label_to_pos(label);
    if (beat < 0.0) return;
    cadenzium_gotobeat(beat);
}

void cadenzium_core::cadenzium_nextEvent() {
    const ConsoleScope scope(&rt.console);
    if (!x_netscore) {
        error("%s - Next event of what? No score loaded!", thisName());
        return;
    }
    const int next = x_netscore->nextEvent(lastAction());
    if (next <= 0) {
        error("%s - No next event at current position!", thisName());
        return;
    }
    wait_for_decoder();
    align->set_Position(next);
    updatePosition(next);
    running = 1;
}

// The event before the current one is heard again, its actions not fired
// now: the runtime stands as if the event before it had been the last to
// fire, so that the next event heard or stepped to fires them again.
void cadenzium_core::cadenzium_previousEvent() {
    const ConsoleScope scope(&rt.console);
    if (!x_netscore) {
        error("%s - Can not go to previous event with out a score!", thisName());
        return;
    }
    const int previous = x_netscore->previousEvent(Position());
    if (previous < 1) {
        error("%s - No previous event at the current position!", thisName());
        return;
    }
    wait_for_decoder();
    step_back_to(previous);
}

int cadenzium_core::cadenzium_fastforward(double beat, bool silent) {
    const ConsoleScope scope(&rt.console);
    const int target = find_index_and_lock(beat);
    if (target < 0) return target;
    cadenzium_init();
    inform("%s - Fast forwarding... .", thisName());
    rt.switches.silent = silent;
    timebase.fastforward = true;
    const bool reached = forward_through(target);
    rt.switches.silent = false;
    if (reached) finalize_positionning(target);
    timebase.set_normal_mode();
    return reached ? target : -1;
}

// Each event is heard at its date, then the clock runs for its written
// duration at its written tempo: the timers it started fire on the way.
bool cadenzium_core::forward_through(int target) {
    updatePosition(0);
    rt.last_action_event = rt.current_event;
    for (int at = 1; at < target; at = x_netscore->nextEvent_with_silence(at)) {
        if (at <= 0) return false;
        const Event& e = *x_netscore->events[static_cast<std::size_t>(at)];
        updatePosition(at);
        timebase.advance_to(GetTime() + e.beat_duration() * std::fabs(e.ScoreTempo()));
    }
    return true;
}

void cadenzium_core::cadenzium_startfrombeat(double beat) {
    cadenzium_fastforward(beat, true);
}

void cadenzium_core::cadenzium_startfromlabel(const std::string& label) {
    const double beat = cadenzium_label_to_pos(label);
    if (beat < 0.0) return;
    cadenzium_fastforward(beat, true);
}
