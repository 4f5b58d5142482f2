// The tempo facts of a position change, taken before the engine moves: the
// score's own tempo changes, and the oscillator fed with the real time
// between two consecutive onsets.
#pragma once

class Event;
class Score;
class t_tempo;

// What the engine knows when the decoder names a new event.
struct PositionChange {
    int new_index = 0;
    // The environment's current event, not yet moved.
    int current_index = 0;
    // The event before the current one; null until two positions were seen.
    const Event* previous_event = nullptr;
    // The last event whose actions were launched; null at the very start.
    const Event* last_action_event = nullptr;
    // The engine's clock (GetTime), seconds.
    double now = 0;
    bool tempo_update_on = true;
    bool player_running = false;
    // Fast-forwarding without tempo tracking.
    bool fastforward_without_tempo = false;
    // The engine's direct flag: a repeat of the same pitches still counts.
    bool hold = false;
    int verbosity = 0;
};

class TempoTracking {
public:
    void track_tempo_from_position_update(Score& score, t_tempo& tempo, const PositionChange& change);
    // Back to the state of a new performance.
    void reset() { *this = TempoTracking(); }

    // Seconds of the last onset that counted, and their number.
    double last_onset_time = 0;
    int onset_count = 0;
    // How early (positive) or late the last onset came, against the written
    // time from the onset before it at the followed period.
    double timing_error_ms = 0;
    // Whether the last position change was an onset that could be timed:
    // one that had an onset before it.
    bool onset_timed = false;
    // Set by a jump: the next onset does not move the tempo.
    bool skip_next_tempo_update = false;
    // The value for the score tempo variable (BPM), when the last change
    // carried one.
    bool score_tempo_changed = false;
    double score_tempo = 0;
    // How many onsets reached the oscillator.
    int oscillator_updates = 0;

private:
    void start_tempo(Score& score, t_tempo& tempo);
    void follow_score_tempo(Score& score, t_tempo& tempo, const PositionChange& change);
    void onset(Score& score, t_tempo& tempo, const Event& e, const Event& current,
               const PositionChange& change);
    bool oscillator_allowed(const Event& e, const Event& current, const PositionChange& change) const;
};
