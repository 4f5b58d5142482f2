// Moves by label and by action: the next or previous label, the next event
// that has actions, a jump to a cue that fires its actions, and a scrub that
// runs the score up to a place with its messages sent. Like the other moves,
// each stops the decoder, places the listening machine and the runtime, and
// starts again; a move that finds no target reports and changes nothing.
#include "RunTime/CadenziumCore.hpp"

#include "Base/Console.hpp"
#include "Tree/Action.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <cmath>

namespace {

const Event& event_at(const Score& score, int index) {
    return *score.events[static_cast<std::size_t>(index)];
}

bool has_label(const Score& score, int index) {
    return !event_at(score, index).cuename().empty();
}

bool has_actions(const Score& score, int index) {
    const Action* a = event_at(score, index).action();
    return a && a->countActions() > 0;
}

// The first labelled event from `from` on, or -1.
int label_from(const Score& score, int from) {
    for (int i = std::max(from, 1); i <= score.get_cur_index(); ++i)
        if (has_label(score, i)) return i;
    return -1;
}

} // namespace

int cadenzium_core::next_label_index() {
    if (!x_netscore) {
        error("%s - Jump to what? You have not loaded any score yet!", thisName());
        return -1;
    }
    const int index = label_from(*x_netscore, lastAction() + 1);
    if (index < 0) error("%s - No next label at the current position!", thisName());
    return index;
}

void cadenzium_core::cadenzium_nextlabel() {
    const ConsoleScope scope(&rt.console);
    const int index = next_label_index();
    if (index < 0) return;
    wait_for_decoder();
    finalize_positionning(index);
}

// Stands on the event before the next label, that event's actions fired
// as if it had been heard.
void cadenzium_core::cadenzium_beforenextlabel() {
    const ConsoleScope scope(&rt.console);
    const int index = next_label_index();
    if (index < 0) return;
    wait_for_decoder();
    align->set_Position(index - 1);
    updatePosition(index - 1);
    running = 1;
}

// The next label is heard now: its actions fire, and the tempo takes the
// written change met on the way, so that what follows counts at the tempo
// the score gives there.
void cadenzium_core::next_label_with_tempo_update() {
    const ConsoleScope scope(&rt.console);
    if (!x_netscore) {
        error("%s - Jump to what? You have not loaded any score yet!", thisName());
        return;
    }
    const int index = label_from(*x_netscore, Position() + 1);
    if (index < 0) {
        error("%s - No next label at the current position!", thisName());
        return;
    }
    wait_for_decoder();
    const float change = x_netscore->GetTempoChange(Position(), index);
    if (change != 0.0f && rt.switches.tempo_update_on) tempo.TempoUpdate(std::fabs(change));
    align->set_Position(index);
    updatePosition(index);
    running = 1;
}

// Back to the last label before the current event, which is heard again:
// its actions fire when it is reached.
void cadenzium_core::cadenzium_previouslabel() {
    const ConsoleScope scope(&rt.console);
    if (!x_netscore) {
        error("%s - You have not loaded any score yet!", thisName());
        return;
    }
    int index = Position() - 1;
    while (index >= 1 && !has_label(*x_netscore, index))
        --index;
    if (index < 1) {
        error("%s - No previous label on current position!", thisName());
        return;
    }
    wait_for_decoder();
    step_back_to(index);
}

// The runtime stands on `index` without firing it again, and the event
// before it counts as the last one fired.
void cadenzium_core::step_back_to(int index) {
    const bool zigzag = rt.switches.prevent_zigzag;
    rt.switches.prevent_zigzag = false;
    align->set_Position(index);
    updatePosition(index);
    rt.switches.prevent_zigzag = zigzag;
    rt.last_action_event = x_netscore->events[static_cast<std::size_t>(index - 1)].get();
    running = 1;
}

// Waits before the next event that carries actions; the events passed on
// the way fire nothing (they have none).
void cadenzium_core::cadenzium_nextFWD() {
    const ConsoleScope scope(&rt.console);
    if (!x_netscore) {
        error("%s - Jump to what? You have not loaded any score yet!", thisName());
        return;
    }
    int index = x_netscore->nextEvent(lastAction());
    while (index > 0 && !has_actions(*x_netscore, index))
        index = x_netscore->nextEvent(index);
    if (index <= 0) {
        error("%s - No next event with bounded symbols at the current position!", thisName());
        return;
    }
    if (verbosity > 0) post("Next action launch on %i - lastact %i, pos %i", index, lastAction(), Position());
    wait_for_decoder();
    finalize_positionning(index);
}

// The cue is reached as if heard: its actions fire, the events skipped on
// the way get their missed-event treatment, and what runs goes on. Back in
// the score, the cue is heard anew: its actions fire again, nothing is
// missed, and no guard against going back refuses the move.
void cadenzium_core::cadenzium_DynamicJumpToCue(const std::string& cue) {
    const ConsoleScope scope(&rt.console);
    if (!x_netscore) {
        error("%s - Before asking for a cue, you must define a score!", thisName());
        return;
    }
    const int index = x_netscore->labelPosition(cue);
    if (index < 0) {
        error("%s - Given cue %s does not exist in the score!", thisName(), cue.c_str());
        return;
    }
    wait_for_decoder();
    const bool zigzag = rt.switches.prevent_zigzag;
    rt.switches.prevent_zigzag = false;
    if (index >= 1 && index <= Position())
        rt.last_action_event = x_netscore->events[static_cast<std::size_t>(index - 1)].get();
    align->set_Position(index);
    updatePosition(index);
    rt.switches.prevent_zigzag = zigzag;
    running = 1;
}

void cadenzium_core::cadenzium_scrubtobeat(double beat) {
    cadenzium_fastforward(beat, false);
}

void cadenzium_core::cadenzium_scrubtolabel(const std::string& label) {
    const double beat = cadenzium_label_to_pos(label);
    if (beat < 0.0) return;
    cadenzium_fastforward(beat, false);
}
