// A running compound action: the run-time image of one instance of a group
// (or of a loop, a reaction, a curve). It carries the instance's
// date, its environments, its children and the ends of its life; the
// scheduler wakes it at its dates. A timer frees itself at the end of its
// life: once finished, with no callback running and no child alive.
#pragma once

#include "Exp/CountedPtr.hpp"
#include "Exp/Execution.hpp"
#include "Exp/ExpTypes.hpp"
#include "Exp/VarManagement.hpp"

#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <vector>

class t_scheduler;
class var_management;
class Runtime;
class Environment;
class Expression;
class Bloc;
class Gfwd;
class Score;
class Action;

// The list of the scheduler where a timer waits.
enum sched_type : std::uint8_t {
    SCHED_NONE = 0,
    SCHED_ABSOLUTE = 1, // seconds
    SCHED_RELATIVE = 2, // beats of the followed tempo
    SCHED_LOCAL = 3,    // seconds under a tempo of the action's own
};

// How a timer runs its steps: as written, catching up with a past that was
// missed, or simulated.
enum cadTimer_mode : int { MODE_NORMAL = 0, MODE_LATE = 1, MODE_SIMULATION = 2 };

// The tempo a timer counts its beats with: a constant of its scope
// ("@tempo 120"), the followed tempo (no scope of its own), or one read
// again and again from its scope's expression ("@tempo $t * 2").
enum tempo_kind_t : std::uint8_t { TEMPO_CONSTANT = 0, TEMPO_FOLLOWED = 1, TEMPO_DYNAMIC = 2 };

// Where a dynamic tempo comes from: an expression of variables, the tempo
// a tempo variable follows ("@sync"), the followed tempo as it stood at the
// last of a list of events ("@tempo := {...}"), or a target that the scope
// reaches on time ("@target").
enum scope_source_t : std::uint8_t { SCOPE_EXPRESSION = 0, SCOPE_SYNC, SCOPE_EVENTS, SCOPE_TARGET };

// The admissible range of a tempo of a scope, in BPM.
constexpr double MAX_LOCAL_TEMPO = 6000.0;

class CadTimer : public VarObserver {
public:
    // A bare timer, for the scheduler alone.
    explicit CadTimer(t_scheduler* sched = nullptr);
    // The instance of `bloc` that starts at beat `date`, `delay` (in `unit`)
    // after its reference, in the runtime `rt`. It may be finished on return
    // ("dead on arrival"): its life was over before it began.
    CadTimer(Runtime& rt, Bloc& bloc, double date, const Expression* until, double delay, duration_type unit);
    virtual ~CadTimer();
    CadTimer(const CadTimer&) = delete;
    CadTimer& operator=(const CadTimer&) = delete;

    // The wake-up: from the scheduler when `var` is null, else from a change
    // of a variable the timer waits on. Runs with no scheduler lock held, so
    // it may schedule again.
    virtual void callback(var_management* var) = 0;
    // The wake-ups of a past that was missed, and of a simulation.
    virtual void callback_late(var_management* var) { callback(var); }
    virtual void callback_sim(var_management* var) { callback(var); }
    // A timer just built that has nothing to run (its action was aborted,
    // or its end already holds) ends here; true when it did.
    bool ended_at_start() {
        if (!dead_on_arrival && !finished) return false;
        terminate();
        return true;
    }
    // The first step of a timer just started: late when its action started
    // behind its date (a skipped event), else in time.
    void first_step(cadTimer_mode mode) {
        if (mode == MODE_LATE)
            callback_late(nullptr);
        else
            callback(nullptr);
    }
    // The score position moved to event `pos`: a tight step waiting on an
    // event goes on when that event is reached, late when it was skipped.
    virtual void UpdatePosition(int pos);
    // A variable the timer observes changed: a notification, a move of the
    // position, or a change of the tempo it counts with.
    void var_changed(VAR_CALLBACK kind, int event_index, var_management& var) override;
    bool observing() const override { return exist(); }
    // Drops the future child labelled `label` ("abort label of group").
    virtual void cancel_action(const std::string&) {}

    // Conversions between a span of seconds and a span of beats at the
    // timer's tempo, from position `pos`. `env_pos` and `tempo` are the
    // position and tempo of reference, -1.0 for the present ones. The base
    // counts at `tempo` when it is given, else at `local_tempo`.
    virtual double seconds_in_beats(double seconds, double pos, double env_pos, double tempo) const;
    virtual double beats_in_seconds(double beats, double pos, double env_pos, double tempo) const;
    // Records that the timer stands at beat `pos` now: `last_pos` and
    // `last_ref_time` become the reference of the next conversion.
    virtual void real_beat_position(double pos);
    // The tempo (BPM) of the timer's scope at position `pos`, from `ref`:
    // for a dynamic tempo, its expression read now in the timer's context.
    virtual double get_local_tempo(double pos, double ref);
    // True when the tempo is read again and again (an expression of
    // variables, a tempo variable, a list of events or a target): the local
    // list refreshes it at each insertion and at each move of the position,
    // and a change of the variables it reads reschedules the timer.
    virtual bool has_expression_tempo() const {
        return tempo_kind == TEMPO_DYNAMIC && (tempo_expr || scope_source != SCOPE_EXPRESSION);
    }
    // Attaches the timer to the variables of its tempo expression, once.
    virtual void attach_tempo_vars();

    // ---- time ----
    // The environment's logical now (seconds), rnow and rcnow (beats).
    double now() const;
    double rnow() const;
    double rcnow() const;

    // ---- life ----
    // Whether the timer is still one of the engine's active timers.
    bool exist() const;
    // A callback begins: the timer's references are taken now.
    void start_run();
    // A callback ends. True when the timer is finished, in which case it
    // may have been freed: the caller returns at once.
    bool stop_run();
    // Ends the timer's life. True when it was freed at once; otherwise it
    // lives on for its running callback or its children.
    bool terminate();
    // Leaves the scheduler's lists and the variables it waits on.
    void stop_waiting();
    // The end of life by a "during" clause or an "until" condition. True
    // when the life has ended (the timer is then terminated).
    bool end_duration();
    bool end_until();
    // Makes this timer the context of evaluation: its stack of
    // environments is the engine's current one.
    void set_context();

    // ---- scheduling ----
    // Wakes the timer after `delay` in `unit`: seconds on the absolute list,
    // beats of the followed tempo on the relative list.
    void schedule(double delay, duration_type unit);
    // The same for a step whose date may lie in the past: a past date is
    // due now, in late mode.
    void schedule_late(double delay, duration_type unit);
    // A delay as a delay: seconds on the absolute list; beats on the list
    // of the timer's tempo kind (relative, absolute at a constant tempo,
    // local for a dynamic one).
    void schedule_loose(double delay, duration_type unit);
    // A delay anchored to the score: the step waits for the last event
    // before its date, then for what remains after that event's arrival.
    void schedule_tight(double delay, duration_type unit);
    // Whether the next step is anchored to the score ("@tight", "@ante",
    // "@post" on the timer's action).
    virtual bool tight_step() const;
    // The action whose strategy anchors the next step: the timer's own when
    // it is anchored, else (for a group) the child due next.
    virtual const Action* anchoring_action() const;
    // A tight step waiting for event `index`: the position's moves reach
    // UpdatePosition.
    void wait_event(int index);

    // Fires the actions of `group` (those `enabled` selects; empty: all) at
    // this timer's date in its context, in time or late; stops when the
    // timer ends meanwhile.
    void fire_inline(const Gfwd& group, const std::vector<bool>& enabled, bool late = false);

    // ---- children and kill ----
    // Stops the timer, and with `rec` every timer started by it; the
    // group's abort handler, if any, fires first.
    void Child_kill(bool rec);
    void active_childs_insert(const CadTimer* child);
    void active_childs_erase(const CadTimer* child);
    // A copy of the children, taken under the timer's lock.
    std::vector<CadTimer*> fill_active_childs() const;
    bool has_children() const;

    // ---- fields ----
    std::uint64_t id = 0;
    // The life of this instance as exe values see it: running while the
    // instance is registered.
    CountedPtr<Execution> execution;
    t_scheduler* sched;
    // The runtime the instance runs in; null for a bare timer.
    Runtime* rt = nullptr;
    // The environments of this instance, the innermost last.
    std::vector<Environment*> stack;
    // The list where the timer waits, SCHED_NONE when none.
    sched_type pending_type = SCHED_NONE;
    // Tempo (BPM) of the timer's own scope.
    double local_tempo = 60.0;
    // Position and tempo of reference taken at `real_beat_position`.
    double last_env_pos = -1.0;
    double last_tempo = -1.0;
    std::uint8_t run_first = 1;
    // The event the instance belongs to.
    int wait_index = 0;
    // Beat position of the next wake-up.
    double date = 0.0;
    double delay_in_beats = 0.0;
    // Beat position and logical time (seconds) of the last reference.
    double last_pos = 0.0;
    double last_ref_time = 0.0;
    // What remains of a delay that was late, and its unit.
    double late = 0.0;
    duration_type late_unit = DURATION_BEATS;
    int awaited_event = -1;
    // Of a tight step: the beats that remain after the awaited event, -1.0
    // when none.
    double local_delay = -1.0;
    // The tempo of the timer's scope: its kind, and for a dynamic tempo the
    // expression read and the variables whose changes reschedule the timer.
    std::uint8_t tempo_kind = TEMPO_FOLLOWED;
    const Expression* tempo_expr = nullptr;
    std::vector<var_management*> tempo_vars;
    // Of a dynamic tempo: where it comes from, the action whose attributes
    // say so (own or inherited), the tempo variable of "@sync" (null when
    // none), and for a target the beat it falls on and the tempo the scope
    // takes beyond it.
    std::uint8_t scope_source = SCOPE_EXPRESSION;
    const Action* scope_action = nullptr;
    var_management* sync_vm = nullptr;
    double target_beat = -1.0;
    double base_tempo = -1.0;
    // A logic target beyond the last event is reported once per instance.
    std::uint8_t logic_target_reported = 0;
    // $BEAT_POS, while a tight step waits on an event.
    var_management* position_var = nullptr;
    std::set<var_management*> waited_vars;
    std::uint8_t finished = 0;
    std::uint8_t dead_on_arrival = 0;
    // Callbacks of this timer in progress.
    int running = 0;
    Bloc* bloc = nullptr;
    // Limits of life: what remains of a "during" (NaN: none), in
    // `during_unit` (1 beats, 0 seconds), or a count of steps (-1: none).
    double start_time = 0.0;
    double start_rnow = 0.0;
    int during_unit = 1;
    double during_left = 0.0;
    int during_count = -1;
    const Expression* until = nullptr;
    CadTimer* father = nullptr;
    std::uint8_t in_kill = 0;
    // Started by an abort handler; firing its own abort handler now.
    std::uint8_t abort_handler = 0;
    std::uint8_t in_handler = 0;

private:
    // Fires the group's abort handler in this timer's context. True when
    // the timer ended meanwhile (it may then be gone).
    bool fire_abort_handler();
    void take_life_limits();
    // The tempo of the timer's own scope ("@tempo"), else its father's.
    void take_tempo();
    void take_constant_tempo();
    void inherit_tempo();
    // A scope of "@sync", "@target" or "@tempo := {...}".
    bool take_scope_tempo();
    // The dynamic tempo of the scope now, from where it comes.
    double scope_tempo();
    // The followed tempo, or the tempo of the "@sync" variable.
    double followed_or_synced_tempo() const;
    // The position of the scope now: rnow when "@conservative", else rcnow,
    // of the "@sync" variable when there is one.
    double scope_position() const;
    // The tempo that makes the timer, at beat `pos`, reach the scope's next
    // target when the scope's position `ref` does; `tempo` elsewhere.
    double target_tempo(double pos, double ref, double tempo);
    double next_target(double pos, double ref);
    double events_tempo(double ref, double tempo) const;
    // The anchor of a tight step at beat `at`: the last event at or before
    // it among all events, or among those its strategy lists. `rest` is
    // what remains after that event.
    void search_anchor(double at, double* rest, int* index);
    // At each wake-up: the tempo the step counts with, and its reference.
    void refresh_tempo();
    double evaluated_tempo();
    void detach_tempo_vars();
    void attach_beat_position();
    bool over_before_start() const;
    void register_active();
    void unregister_active();
    void notify_father_child_is_deleted();
    void finish_father();
    void leave_context();

    mutable std::recursive_mutex childs_mutex;
    std::set<const CadTimer*> active_childs;
};
