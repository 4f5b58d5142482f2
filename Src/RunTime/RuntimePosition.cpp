// The instant of an accepted position: the clocks move to the event, the
// system variables take its facts and their reactions run, events that were
// skipped get their missed-event treatment, and the event's actions are
// launched, each event's in an instant of its own nested in the position's,
// so that all the messages of a position go out in one delivery.
#include "RunTime/Environment_RunTime.hpp"

#include "Base/Console.hpp"
#include "RunTime/Firing.hpp"
#include "Tree/Action.hpp"
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

// The pitch that $PITCH takes: the event's first, or the sub-event's within
// a trill or multi-event; 0 for an event without pitch.
double pitch_of(const Event& e, const Event* inner) {
    const Event& source = inner && e.type() >= 2 ? *inner : e;
    return source.first_pitch();
}

} // namespace

int Runtime::position() const {
    return event_index(current_event);
}

void Runtime::enter_position(int pos, const PositionFacts& facts) {
    if (!score || pos < 0 || pos > score->get_cur_index()) {
        CAD_INTERNAL_ERROR(str_printf("position %d out of the score", pos));
        return;
    }
    Event& e = *score->events[static_cast<std::size_t>(pos)];
    const bool take_lock = !switches.player_running;
    if (take_lock) lock();
    const std::size_t first_message = pending.size();
    start_logical_instant(pos, facts.onset_time);
    previous_event = current_event;
    current_event = &e;
    details_to_report = PositionDetails{};
    details_to_report.certainty = facts.certainty;
    details_to_report.velocity = facts.velocity;
    practice_onset(facts);
    record_missed_events(e);
    set_position_variables(e, facts);
    scheduler.UpdateLocalTempo();
    launch_position_actions(facts);
    positions_to_report.push_back({pos, facts.onset_time, facts.tempo_bpm, details_to_report, first_message});
    end_logical_instant();
    send_messages(take_lock);
}

// Events skipped by a move of more than one note are counted as missed,
// each a jump; in practice, an event reached by an onset beyond the timing
// limit is counted too, once, as a timing miss.
void Runtime::record_missed_events(Event& e) {
    if (!last_action_event) return;
    const int last = last_action_event->notenum();
    const int n = e.notenum();
    if (!(n > last && last + 1 != n) && !switches.practice_on) return;
    details_to_report.missed_first = last_action_event->index() + 1;
    details_to_report.missed_end = std::max(e.index(), details_to_report.missed_first);
    for (int i = last_action_event->index() + 1; i < e.index(); ++i) {
        practice.missed_events.push_back(i);
        practice.missed_duration +=
            static_cast<float>(score->events[static_cast<size_t>(i)]->beat_duration());
        practice.missed_count += 1;
        practice.jumps += 1;
    }
    if (!switches.practice_on) return;
    practice.missed_events.push_back(e.index());
    practice.missed_duration += static_cast<float>(e.beat_duration());
    practice.missed_count += 1;
    practice.timing_misses += 1;
}

// The system variables take the event's facts at this instant's date; their
// reactions run afterwards, in a fixed order.
void Runtime::set_position_variables(Event& e, const PositionFacts& facts) {
    auto& vars = env.vars;
    const double now = dates.now, rnow = dates.rnow;
    vars[env.beat_pos_index].h_insert(float_value(rnow), now, rnow);
    vars[env.energy_index].h_insert(float_value(facts.energy), now, rnow);
    const bool label_changed = dates.index != previous_index && !e.cuename().empty();
    if (label_changed) vars[env.last_label_index].h_insert(string_value(e.cuename()), now, rnow);
    vars[env.pitch_index].h_insert(float_value(pitch_of(e, inner_event)), now, rnow);
    vars[env.dur_index].h_insert(float_value(e.beat_duration()), now, rnow);
    if (facts.score_tempo_changed)
        vars[env.score_tempo_index].h_insert(float_value(facts.score_tempo_bpm), now, rnow);
    const bool tempo_changed = update_rt_tempo(facts.tempo_bpm);

    if (e.isEvent() && e.beat_duration() > 0) vars[env.beat_pos_index].propagate(false);
    vars[env.pitch_index].propagate(false);
    vars[env.dur_index].propagate(false);
    if (label_changed) vars[env.last_label_index].propagate(false);
    if (tempo_changed) vars[env.rt_tempo_index].propagate(false);
    if (facts.score_tempo_changed) vars[env.score_tempo_index].propagate(false);
}

// $RT_TEMPO takes the followed tempo when it changed, and the scheduler
// re-arms what counts in beats. True when the variable has to propagate.
bool Runtime::update_rt_tempo(double t) {
    var_management& rt = env.vars[env.rt_tempo_index];
    const Value& old = rt.newest();
    if (!old->is_undef() && old->get_double() == t) return false;
    if (!switches.tempo_update_on) return true;
    const double previous_date = rt.dates[rt.slot(0)];
    rt.h_insert(float_value(t), dates.now, dates.rnow);
    scheduler.UpdateTempo();
    return previous_date < dates.now;
}

// Actions of the new position: forward moves launch, backward ones only
// along a jump that the score declares.
void Runtime::launch_position_actions(const PositionFacts& facts) {
    const int current = event_index(current_event);
    if (!last_action_event) {
        position_actions(facts);
        last_action_event = current_event;
        return;
    }
    const int last = last_action_event->index();
    if (current > last || check_jump(*score, last, current)) position_actions(facts);
}

// Practice measures the onset in place of the event's actions. Either way
// the last event of the score, reached, ends the performance.
void Runtime::position_actions(const PositionFacts& facts) {
    if (switches.play_state == 1 && current_event) practice_action(*current_event, facts);
    cadenzium_actions();
    if (current_event && current_event->index() == score->LastEvent()) last_event_reached = true;
}

void Runtime::cadenzium_actions() {
    const int current = event_index(current_event);
    const int last = last_action_event ? last_action_event->index() : -1;
    const bool jump = last_action_event && check_jump(*score, last, current);
    if (switches.actions_on && switches.play_state != 1) {
        const bool skipped = previous_event && previous_event->index() + 1 < current;
        if (switches.play_state == 0 && skipped && last_action_event && last < current && !jump) {
            if (verbosity_level > 0) post("    PFWD HUNT: %i to %i", last, current);
            launch_missed_events(last + 1, current);
        }
        const bool fire = last_action_event ? (last < current || (last == 0 && current == 0) || jump)
                                            : current_event && current_event->action();
        if (fire && actions_enabled) launch_event_actions(current);
        if (!last_action_event) last_action_event = current_event;
    }
    if (last_action_event && (current > last || jump)) last_action_event = current_event;
}

// Within a trill or multi-event: the pitch of the sub-event heard.
void Runtime::update_pitch() {
    const bool take_lock = !switches.player_running;
    if (take_lock) lock();
    start_logical_instant(-1);
    if (inner_event && current_event)
        env.set_var(env.pitch_index, float_value(pitch_of(*current_event, inner_event)));
    env.vars[env.pitch_index].propagate(false);
    end_logical_instant();
    send_messages(take_lock);
}

void Runtime::launch_event_actions(int index) {
    if (!score || index < 0 || index > score->get_cur_index()) return;
    const Event& e = *score->events[static_cast<std::size_t>(index)];
    if (!e.action()) return;
    EnvironmentLock guard(*this);
    set_static_context();
    start_logical_instant(index);
    Fire(*this, *e.action(), e.beatcum(), 0.0, DURATION_BEATS);
    end_logical_instant();
}

// The events skipped by a jump fire in order, in late mode, in the instant
// of the event reached.
void Runtime::launch_missed_events(int first, int last) {
    if (!score || first < 0 || last > score->get_cur_index()) return;
    set_static_context();
    EnvironmentLock guard(*this);
    start_logical_instant(last);
    for (int i = first; i < last; ++i) {
        const Event& e = *score->events[static_cast<std::size_t>(i)];
        if (e.action()) Fire_late(*this, *e.action(), e.beatcum(), 0.0, DURATION_BEATS);
    }
    end_logical_instant();
}
