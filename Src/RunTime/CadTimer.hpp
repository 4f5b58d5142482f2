// A running compound action as the scheduler sees it: something to wake at
// a date, with the few facts about its position and tempo that a change of
// tempo needs. The group, loop, reaction and curve executions derive from it
// and add their own life (children, environments, ends of life).
#pragma once

#include <cstdint>

class t_scheduler;
class var_management;

// The list of the scheduler where a timer waits.
enum sched_type : std::uint8_t {
    SCHED_NONE = 0,
    SCHED_ABSOLUTE = 1, // seconds
    SCHED_RELATIVE = 2, // beats of the followed tempo
    SCHED_LOCAL = 3,    // seconds under a tempo of the action's own
};

class CadTimer {
public:
    explicit CadTimer(t_scheduler* sched = nullptr)
        : sched(sched) {}
    virtual ~CadTimer() = default;
    CadTimer(const CadTimer&) = delete;
    CadTimer& operator=(const CadTimer&) = delete;

    // The wake-up: from the scheduler when `var` is null, else from a change
    // of a variable the timer waits on. Runs with no scheduler lock held, so
    // it may schedule again.
    virtual void callback(var_management* var) = 0;

    // Conversions between a span of seconds and a span of beats at the
    // timer's tempo, from position `pos`. `env_pos` and `tempo` are the
    // position and tempo of reference, -1.0 for the present ones. The base
    // counts at `tempo` when it is given, else at `local_tempo`.
    virtual double seconds_in_beats(double seconds, double pos, double env_pos, double tempo) const;
    virtual double beats_in_seconds(double beats, double pos, double env_pos, double tempo) const;
    // Records that the timer stands at beat `pos` now: `last_pos` and
    // `last_ref_time` become the reference of the next conversion.
    virtual void real_beat_position(double pos);
    // The tempo (BPM) of the timer's scope at position `pos`, from `ref`.
    virtual double get_local_tempo(double pos, double ref);
    // True when the tempo comes from an expression of variables (`@tempo`
    // on a variable expression): the local list refreshes it at each
    // insertion, and a change of those variables reschedules the timer.
    virtual bool has_expression_tempo() const { return false; }
    // Attaches the timer to the variables of its tempo expression.
    virtual void attach_tempo_vars() {}

    // The environment's logical now (seconds); 0 without a scheduler.
    double now() const;

    t_scheduler* sched;
    // The list where the timer waits, SCHED_NONE when none. Kept by the code
    // that schedules the timer.
    sched_type pending_type = SCHED_NONE;
    // Tempo (BPM) of the timer's own scope.
    double local_tempo = 60.0;
    // Position and tempo of reference taken at `real_beat_position`.
    double last_env_pos = -1.0;
    double last_tempo = -1.0;
    // Beat position of the next wake-up.
    double date = 0.0;
    // Beat position and logical time (seconds) of the last reference.
    double last_pos = 0.0;
    double last_ref_time = 0.0;
};
