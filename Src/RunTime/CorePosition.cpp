// Following: the listening machine's decision is accepted or refused, the
// tempo tracker hears the onset, and the runtime opens the position's
// instant with what the engine knows then. The listening machine is then
// told where the position stands.
#include "RunTime/CadenziumCore.hpp"

#include "Base/Console.hpp"
#include "RunTime/Environment_RunTime.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <algorithm>
#include <cmath>

namespace {

// True when the score declares a jump from event `from` to event `to`.
bool declared_jump(Score& score, int from, int to) {
    const std::vector<int>& targets = score.find_jump(from);
    return std::find(targets.begin(), targets.end(), to) != targets.end();
}

bool has_sub_events(const Event* e) {
    return e && e->get_sub_events() && !e->get_sub_events()->empty();
}

} // namespace

// A frame without an onset publishes its energy; an onset moves the
// position, and the decode window follows the position held.
void cadenzium_core::follow(CadAlign& machine, const Decision& d) {
    const ConsoleScope scope(&rt.console);
    if (d.quiet) rt.update_energy(d.energy);
    if (!d.moved) return;
    // The position moves under the environment lock: instants on other
    // threads (OSC receivers, clocks) read it.
    EnvironmentLock lock(rt);
    rt.inner_event = d.sub;
    // Listening to audio, the onset's loudness stands for its velocity.
    const bool by_audio = machine.AUDIO_input() >= 0 && machine.MIDI_input() < 0;
    const double velocity = by_audio ? std::clamp(std::round(127.0 * d.energy), 1.0, 127.0) : 0.0;
    accept(d.index, d.onset_time, d.certainty, velocity);
    machine.place_window(Position());
}

void cadenzium_core::updatePosition(int pos) {
    const ConsoleScope scope(&rt.console);
    EnvironmentLock lock(rt);
    accept(pos, GetTime());
}

void cadenzium_core::accept(int pos, double onset_time, double certainty, double velocity) {
    if (!x_netscore) return;
    if (pos < 0 || pos > x_netscore->get_cur_index()) {
        CAD_INTERNAL_ERROR(str_printf("position %d out of the score", pos));
        return;
    }
    Score& score = *x_netscore;
    const int current = Position();
    if (rt.switches.prevent_zigzag && pos < current && !declared_jump(score, current, pos)) return;
    if (pos == current && has_sub_events(rt.current_event)) {
        // Another note within the trill: only the pitch moves.
        if (rt.inner_event) rt.update_pitch();
        return;
    }
    track_tempo(pos, onset_time);
    PositionFacts facts;
    facts.onset_time = onset_time;
    facts.tempo_bpm = tempo.get_tempo();
    facts.timed = tracking.onset_timed;
    facts.timing_error_ms = tracking.timing_error_ms;
    facts.score_tempo_changed = tracking.score_tempo_changed;
    facts.score_tempo_bpm = tracking.score_tempo;
    facts.energy = align->energy;
    facts.certainty = certainty;
    facts.velocity = velocity;
    rt.last_event_reached = false;
    rt.enter_position(pos, facts);
    // A host that bangs at the end of the score gets the practice report
    // with it.
    if (rt.last_event_reached && rt.port.has_outlet("ENDBANG")) PracticeReport();
    rt.last_event_reached = false;
}

// The tempo facts of the score and of the onset, before the instant.
void cadenzium_core::track_tempo(int pos, double onset_time) {
    PositionChange change;
    change.new_index = pos;
    change.current_index = Position();
    change.previous_event = rt.previous_event;
    change.last_action_event = rt.last_action_event;
    change.now = onset_time;
    change.tempo_update_on = rt.switches.tempo_update_on;
    change.player_running = rt.switches.player_running;
    change.fastforward_without_tempo = timebase.fastforward.load();
    change.verbosity = verbosity;
    tracking.track_tempo_from_position_update(*x_netscore, tempo, change);
}
