// The position update: the listening machine names an event, and one
// logical instant moves the clocks there, sets the system variables, runs
// their reactions and launches the event's actions.
#include "RunTime/Environment_RunTime.hpp"

#include "Listening/TempoTracking.hpp"
#include "RunTime/CadClock.hpp"
#include "RunTime/CadScheduler.hpp"
#include "RunTime/CadenziumCore.hpp"
#include "Base/Console.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <algorithm>

namespace {

int event_index(const Event* e) {
    return e ? e->index() : 0;
}

// True when the score declares a jump from event `from` to event `to`.
bool check_jump(Score& score, int from, int to) {
    const std::vector<int>& targets = score.find_jump(from);
    return std::find(targets.begin(), targets.end(), to) != targets.end();
}

bool has_sub_events(const Event* e) {
    return e && e->get_sub_events() && !e->get_sub_events()->empty();
}

// The pitch that $PITCH takes: the event's first, or the sub-event's within
// a trill or multi-event; 0 for an event without pitch.
double pitch_of(const Event& e, const Event* inner) {
    const Event& source = inner && e.type() >= 2 ? *inner : e;
    const std::vector<float> pitches = source.pitch_list();
    return pitches.empty() ? 0.0 : pitches.front();
}

} // namespace

void GlobalEnvironment::updatePosition(int pos) {
    if (pos < 0) {
        error("Environment update position with %i! PLEASE REPORT", pos);
        return;
    }
    Score* score = core ? core->get_x_netscore() : nullptr;
    if (!score || pos > score->get_cur_index()) return;
    const int current = event_index(current_event);
    if (core->prevent_zigzag && pos < current && !check_jump(*score, current, pos)) return;
    if (pos == current && has_sub_events(current_event)) {
        // Another note within the trill: only the pitch moves.
        if (inner_event) updatePitch();
        return;
    }
    Event& e = *score->events[static_cast<std::size_t>(pos)];
    track_tempo_from_position_update(&e);
    const bool lock = !core->player_running;
    if (lock) env_lock();
    start_logical_instant(pos);
    previous_event = current_event;
    current_event = &e;
    record_missed_events(e);
    set_position_variables(e);
    launch_position_actions();
    position_to_report = pos;
    end_logical_instant();
    send_messages(lock);
}

// The tempo facts of the score and of the onset, before the instant.
void GlobalEnvironment::track_tempo_from_position_update(Event* e) {
    PositionChange change;
    change.new_index = e->index();
    change.current_index = event_index(current_event);
    change.previous_event = previous_event;
    change.last_action_event = last_action_event;
    change.now = pre->GetTime();
    change.tempo_update_on = core->tempo_update_on != 0;
    change.player_running = core->player_running != 0;
    change.fastforward_without_tempo = CadClock::fastforward.load();
    change.verbosity = core->verbosity;
    core->listening_track_tempo(change);
    const TempoTracking& t = *core->tracking;
    last_tempo = t.last_tempo;
    last_onset_time = t.last_onset_time;
    onset_count = t.onset_count;
    timing_error_ms = t.timing_error_ms;
}

// Events skipped by a move of more than one note are counted as missed.
void GlobalEnvironment::record_missed_events(Event& e) {
    if (!last_action_event) return;
    const int last = last_action_event->notenum();
    const int n = e.notenum();
    if (!(n > last && last + 1 != n) && !core->practice_on) return;
    Score& score = *core->get_x_netscore();
    cadenzium_core::PracticeCounters& p = core->practice;
    for (int i = last_action_event->index() + 1; i < e.index(); ++i) {
        p.missed_events.push_back(i);
        p.missed_duration += static_cast<float>(score.events[static_cast<std::size_t>(i)]->beat_duration());
        p.missed_count += 1;
        p.jumps += 1;
    }
    if (!core->practice_on) return;
    p.missed_events.push_back(e.index());
    p.missed_duration += static_cast<float>(e.beat_duration());
    p.missed_count += 1;
    p.timing_misses += 1;
}

// The system variables take the event's facts at this instant's date; their
// reactions run afterwards, in a fixed order.
void GlobalEnvironment::set_position_variables(Event& e) {
    vars[beat_pos_index].h_insert(float_value(rnow), now, rnow);
    vars[energy_index].h_insert(float_value(core->listening_energy()), now, rnow);
    const bool label_changed = index != previous_index && !e.cuename().empty();
    if (label_changed) vars[last_label_index].h_insert(string_value(e.cuename()), now, rnow);
    vars[pitch_index].h_insert(float_value(pitch_of(e, inner_event)), now, rnow);
    vars[dur_index].h_insert(float_value(e.beat_duration()), now, rnow);
    const TempoTracking& tracking = *core->tracking;
    if (tracking.score_tempo_changed)
        vars[score_tempo_index].h_insert(float_value(tracking.score_tempo), now, rnow);
    const bool tempo_changed = update_rt_tempo();

    if (e.isEvent() && e.beat_duration() > 0) vars[beat_pos_index].propagate(false);
    vars[pitch_index].propagate(false);
    vars[dur_index].propagate(false);
    if (label_changed) vars[last_label_index].propagate(false);
    if (tempo_changed) vars[rt_tempo_index].propagate(false);
    if (tracking.score_tempo_changed) vars[score_tempo_index].propagate(false);
}

// $RT_TEMPO takes the followed tempo when it changed, and the scheduler
// re-arms what counts in beats. True when the variable has to propagate.
bool GlobalEnvironment::update_rt_tempo() {
    const double t = core->current_tempo_bpm();
    var_management& rt = vars[rt_tempo_index];
    const Value& old = rt.newest();
    if (!old->is_undef() && old->get_double() == t) return false;
    if (!core->tempo_update_on) return true;
    const double previous_date = rt.dates[rt.slot(0)];
    rt.h_insert(float_value(t), now, rnow);
    if (t_scheduler* sched = core->get_x_sched()) sched->UpdateTempo();
    return previous_date < now;
}

// Actions of the new position: forward moves launch, backward ones only
// along a jump that the score declares.
void GlobalEnvironment::launch_position_actions() {
    Score& score = *core->get_x_netscore();
    const int current = event_index(current_event);
    if (!last_action_event) {
        cadenzium_actions();
        last_action_event = current_event;
        return;
    }
    const int last = last_action_event->index();
    if (current > last || check_jump(score, last, current)) cadenzium_actions();
}

void GlobalEnvironment::cadenzium_actions() {
    Score& score = *core->get_x_netscore();
    const int current = event_index(current_event);
    const int last = last_action_event ? last_action_event->index() : -1;
    const bool jump = last_action_event && check_jump(score, last, current);
    if (core->remote_forwarding) {
        const bool skipped = previous_event && previous_event->index() + 1 < current;
        if (core->play_state == 0 && skipped && last_action_event && last < current && !jump) {
            if (core->verbose() > 0) post("    PFWD HUNT: %i to %i", last, current);
            core->launch_missed_events(last + 1, current);
        }
        const bool fire = last_action_event ? (last < current || (last == 0 && current == 0) || jump)
                                            : current_event && current_event->action();
        if (fire && actions_enabled) core->launch_event_actions(current);
        if (!last_action_event) last_action_event = current_event;
        core->cadenzium_actions_out();
    }
    if (last_action_event && (current > last || jump)) last_action_event = current_event;
}

// Within a trill or multi-event: the pitch of the sub-event heard.
void GlobalEnvironment::updatePitch() {
    const bool lock = !core->player_running;
    if (lock) env_lock();
    start_logical_instant(-1);
    if (inner_event && current_event) {
        set_var(pitch_index, float_value(pitch_of(*current_event, inner_event)));
    }
    vars[pitch_index].propagate(false);
    end_logical_instant();
    send_messages(lock);
}
