#include "Listening/TempoTracking.hpp"

#include "Listening/Tempo.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <cmath>

namespace {

const Event* event_at(const Score& score, int i) {
    if (i < 0 || i >= static_cast<int>(score.events.size())) return nullptr;
    return score.events[static_cast<size_t>(i)].get();
}

// Onsets come from a moving position, in a tempo the score lets float.
bool is_onset(const Event& e, const Event* current, const PositionChange& c) {
    if (!c.previous_event || !current) return false;
    if (current->fermata() || current->direction() != 0) return false;
    if (!e.isEvent() && !e.scoretempochange()) return false;
    return e.notenum() != current->notenum() && e.beat_duration() > 0;
}

bool is_repeat(const Event& e, const Event& current) {
    return e.type() == current.type() && e.pitch_list() == current.pitch_list();
}

} // namespace

void TempoTracking::track_tempo_from_position_update(Score& score, t_tempo& tempo, const PositionChange& c) {
    score_tempo_changed = false;
    onset_timed = false;
    const Event* e = event_at(score, c.new_index);
    if (!e) return;
    const Event* current = event_at(score, c.current_index);
    if (!c.last_action_event)
        start_tempo(score, tempo);
    else if (c.new_index > c.current_index)
        follow_score_tempo(score, tempo, c);
    if (is_onset(*e, current, c) && e->isEvent()) onset(score, tempo, *e, *current, c);
    if (e->scoretempochange() && e->ScoreTempo() != 0) {
        score_tempo = 60.0 / e->ScoreTempo();
        score_tempo_changed = true;
    }
}

// At the very start the tempo is that of the first event.
void TempoTracking::start_tempo(Score& score, t_tempo& tempo) {
    const Event* first = (score.events.size() >= 2 ? score.events[1] : score.events[0]).get();
    tempo.TempoUpdate(std::fabs(first->ScoreTempo()));
}

// A change written in the score between the two positions: an absolute one
// restarts the oscillator, a relative one (a negative period) scales the
// live period by the ratio of the score's periods.
void TempoTracking::follow_score_tempo(Score& score, t_tempo& tempo, const PositionChange& c) {
    const float change = score.GetTempoChange(c.current_index, c.new_index);
    if (change > 0) {
        tempo.TempoUpdate(change);
        tempo.Reset();
    } else if (change < 0) {
        const Event* current = event_at(score, c.current_index);
        const double reference = current ? std::fabs(current->ScoreTempo()) : 0.0;
        if (reference > 0) tempo.TempoUpdate(-tempo.period * change / reference);
    }
}

void TempoTracking::onset(Score& score, t_tempo& tempo, const Event& e, const Event& current,
                          const PositionChange& c) {
    const double t = c.now;
    ++onset_count;
    const double prev = last_onset_time;
    last_onset_time = t;
    const Event* reference =
        current.isEvent() ? &current : event_at(score, score.previousEvent(current.index()));
    // The first onset has no onset before it to be timed from.
    onset_timed = reference && onset_count > 1;
    if (reference) timing_error_ms = (tempo.period * reference->IOI_beat_duration() - (t - prev)) * 1000.0;

    const bool skip = skip_next_tempo_update;
    skip_next_tempo_update = false;
    if (c.player_running || !c.tempo_update_on || skip || c.fastforward_without_tempo) return;
    if (!oscillator_allowed(e, current, c)) return;
    const Event* from = score.prev_relevant_evt(e.index());
    const double beats = e.beatcum() - from->beatcum();
    if (beats <= 0) return;
    ++oscillator_updates;
    tempo.tempoOsc(static_cast<float>(tempo_wrap(beats)), static_cast<float>(beats),
                   std::fabs(from->ScoreTempo()), static_cast<float>(t - prev), c.verbosity);
}

// Only the next note after an onset that counted moves the tempo; a
// repeated note or chord, or a passage marked without tempo, does not.
bool TempoTracking::oscillator_allowed(const Event& e, const Event& current, const PositionChange& c) const {
    if (e.scoretempochange()) return false;
    if (e.notenum() != current.notenum() + 1) return false;
    if (!c.last_action_event || onset_count <= 1) return false;
    if (is_repeat(e, current) && !c.hold) return false;
    return e.direction() != 1 && current.direction() != 1;
}
