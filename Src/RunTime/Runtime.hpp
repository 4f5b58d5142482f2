// The reactive runtime of one engine. It owns the global environment (the
// score's variables), the logical instant (its dates, its lock, its queue of
// messages), the context of evaluation (the running execution and its
// environments), the register of running compound actions and the scheduler
// that wakes them. The score's expressions evaluate in it (`EvalContext`)
// and its actions fire in it (Firing.hpp). What an instant sends leaves
// through the host port after the instant, with the lock released.
//
// The engine tells it what to do: open the instant of an accepted position
// with the facts of the onset, publish the frame's energy, reset to the top
// of the score. Data goes one way: the runtime never calls the listening
// machine.
#pragma once

#include "Exp/Environment.hpp"
#include "RunTime/CadScheduler.hpp"
#include "RunTime/Histogram.hpp"
#include "RunTime/HostPort.hpp"

#include <bitset>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <vector>

class Action;
class Bloc;
class CadTimer;
class Event;
class HostPort;
class Score;
class TimeBase;
struct message;

// What the engine hands over with an accepted position, taken before the
// instant: when the onset was heard (the engine's clock), the tempo the
// follower hears now, a tempo change written in the score, and the energy
// of the frame. When the onset was timed, how early (positive) or late it
// came against the written time from the onset before it.
struct PositionFacts {
    double onset_time = 0;
    double tempo_bpm = 0;
    bool timed = false;
    double timing_error_ms = 0;
    bool score_tempo_changed = false;
    double score_tempo_bpm = 0;
    double energy = 0;
    double certainty = 1;
    double velocity = 0;
};

// Engine switches that decide what an instant does.
struct RuntimeSwitches {
    bool tempo_update_on = true; // $RT_TEMPO follows the follower
    bool actions_on = true;      // the score's actions fire (remote forwarding)
    bool silent = false;         // messages are dropped instead of sent
    bool prevent_zigzag = true;  // backward moves only along declared jumps
    bool practice_on = false;    // the event reached is a timing miss (practice)
    bool player_running = false; // the score plays itself (no lock per position)
    int play_state = 0;          // 0 following, 1 practice (the score's actions stay silent)
    float bpm_tolerance = 5.0f;  // practice: the tempo heard may differ from the score's by this
};

// What the position instants count of a performance (practice mode).
struct PracticeCounters {
    float missed_count = 0;
    float missed_duration = 0;
    float timing_misses = 0;
    float jumps = 0;
    // The signed errors of the onsets beyond the timing limit (ms).
    float timing_error_sum = 0;
    std::vector<int> missed_events;
};

// Runs the commands a score gives ("cadenzium::name args"): the engine.
// They run after the instant that gave them, with its messages, the lock
// released, since a command may move the position or restart the score.
class ScoreCommands {
public:
    virtual ~ScoreCommands() = default;
    virtual void run_score_command(const message& m) = 0;
};

// A warning that may come at every step of a curve: said the first time,
// then only each time its count passes a limit that rises by `step`.
struct WarningLimiter {
    int count = 0;
    int limit = 10;
    int step = 10;

    bool should_say() {
        const bool over = count > limit;
        if (over) limit += step;
        return count++ == 0 || over;
    }
};

class Runtime final : public EvalContext, private SchedulerEnv {
public:
    Runtime(HostPort& port, TimeBase& time);
    ~Runtime() override;
    Runtime(const Runtime&) = delete;
    Runtime& operator=(const Runtime&) = delete;

    // ---- what evaluation asks (EvalContext) ----
    GlobalEnvironment* global_env() override { return &env; }
    std::vector<Environment*>& env_stack() override { return *envs; }
    const InstantDates& instant() const override { return dates; }
    int verbosity() const override { return verbosity_level; }
    bool label_beat(const std::string& label, double& beat) const override;
    bool exe_time(double& position, double& tempo) const override;
    Value ambient_exe(const Action* ambient) const override;
    Environment* exe_environment(unsigned long id, unique_identifier uid) const override;
    Value fire_action(Action& action, double position) override;
    std::unique_ptr<TempoOscillator> make_tempo_oscillator() const override;
    std::vector<std::pair<double, double>> score_tempi() const override;
    std::vector<ScoreEventView> score_events() const override;
    std::string score_filename() const override;
    // Starts an instance of the process `proc` with `args`: a new run of its
    // template with its own locals, the arguments set in them. Its
    // execution, or exe 0 when the call is refused.
    Value launch_process(ProcDefinition* proc, const std::vector<Value>& args, float beat_pos,
                         const Action* ambient) override;
    // A control of the host's audio graph; without a graph a write says
    // once that this build does not handle DSP.
    void dsp_write(const std::string& name, const TaggedValue& v, const yy::location* where) override;
    Value dsp_read(const std::string& name, const yy::location* where) const override;
    // "mute" and "unmute" a track by name ("track::" optional): the messages
    // of its actions are dropped while it is muted. False, with a report,
    // when the score has no such track.
    bool set_mute_track(const std::string& name);
    bool unset_mute_track(const std::string& name);
    // The muted tracks, one bit each.
    std::bitset<32> muted_tracks;
    // The running instances of `proc`, in the order they started.
    std::vector<CadTimer*> process_instances(const ProcDefinition* proc) const;

    // ---- the score being run (the engine's; may be null) ----
    Score* score = nullptr;
    int verbosity_level = 0;
    RuntimeSwitches switches;
    PracticeCounters practice;
    // Where the score's commands go; null: they are dropped.
    ScoreCommands* commands = nullptr;

    // ---- the logical instant ----
    // The environment lock: every instant runs under it.
    void lock();
    void unlock();
    std::recursive_mutex& mutex() { return env_mutex; }
    // Opens an instant at the engine's time; at the score position `pos`,
    // or, with -1, wherever time has carried the position.
    void start_logical_instant(int pos);
    // The same, dated `date` when that is earlier than the engine's time (an
    // onset heard before the step that decided it), yet never before the
    // last instant. Instants nested in it keep its date, and the clocks
    // armed within count their delays from it.
    void start_logical_instant(int pos, double date);
    void end_logical_instant();
    // A message to fill and queue: a delivered one is used again, so that a
    // step that sends messages does not allocate once the runtime has sent
    // as many at once.
    message* new_message();
    // Appends a message to the instant's queue, dated now. The runtime
    // owns it from here (it may come from `new`).
    void queue_message(message* m);
    void clear_messages();
    // Delivers the queue to the host with the lock released. With `unlock`
    // the caller holds the lock and hands it back here; without, the queue
    // is delivered only if the lock is free.
    void send_messages(bool unlock);
    // Back to the top of the score: date 0, before the first event.
    void reset();

    // ---- the position (each instant of an accepted position) ----
    // The instant of event `pos`: clocks, system variables and their
    // reactions, missed events, the event's actions, then the report.
    void enter_position(int pos, const PositionFacts& facts);
    // Another note within the current trill or multi-event.
    void update_pitch();
    // A frame decoded without an onset: $ENERGY takes its energy.
    void update_energy(double v);
    // A variable set from outside the score (host, OSC): one instant.
    void ExternalUpdateVar(const std::string& name, const TaggedValue& v);
    // Several variables at one date: their reactions run once.
    void start_multiple_ExternalUpdateVar();
    void set_multiple_var(std::vector<var_management*>& changed, unique_identifier uid, const TaggedValue& v);
    void end_multiple_ExternalUpdateVar(std::vector<var_management*>& changed);
    int position() const;
    // The actions of event `index` in an instant of their own; the missed
    // events from `first` up to `last` (excluded) in late mode.
    void launch_event_actions(int index);
    void launch_missed_events(int first, int last);

    Event* current_event = nullptr;
    Event* inner_event = nullptr;
    Event* previous_event = nullptr;
    Event* last_action_event = nullptr;
    // False while a transport command places the position: no action fires.
    bool actions_enabled = true;
    // Set when a position launches the last event of the score (its
    // actions, or in practice its measure); the engine clears it.
    bool last_event_reached = false;
    bool rt_tempo_is_undef() const;

    // ---- the context of evaluation ----
    CadTimer* get_exe() const { return current_exe; }
    std::vector<Environment*>* get_envs() const { return envs; }
    void set_exe_context(CadTimer* timer, std::vector<Environment*>* stack) {
        current_exe = timer;
        envs = stack;
    }
    // Back to the top level: no execution, the global environment alone.
    void set_static_context();

    // ---- running compound actions ----
    // The next execution number (1 and up; 0 names no execution).
    std::uint64_t next_execution() { return ++executions_made; }
    // Counts a new timer against the limits of simultaneous timers; false
    // when it may not live (everything is then stopped).
    bool admit_timer();
    void register_timer(CadTimer* timer);
    void unregister_timer(CadTimer* timer);
    bool active(const CadTimer* timer) const;
    CadTimer* find_exe(std::uint64_t id) const;
    std::size_t active_timer_count() const;
    // The running instances of `bloc`, in the order they started.
    std::vector<CadTimer*> instances_of(const Bloc* bloc) const;
    // The running instances of the blocks labelled `label`, in the order they started.
    std::vector<CadTimer*> instances_labelled(const std::string& label) const;
    // Terminates every running compound action.
    void Killall();
    // True from the moment too many groups ran at once: the program stops.
    bool gave_up() const { return given_up; }
    // Process calls nested within one another in this instant (a process
    // whose body calls one at once); beyond a limit the call is refused.
    int process_nesting = 0;
    // Abort handlers firing now: the timers they start are handlers.
    int handlers_firing = 0;
    // The kinds of action already reported as not run yet.
    std::set<std::string> reported_kinds;
    // Curve grains raised to their floor, in seconds and in beats.
    WarningLimiter grain_warnings{0, 10, 10};
    WarningLimiter relative_grain_warnings{0, 10, 20};

private:
    // Before the environment, which dates its first values with it.
    InstantDates dates;
    // Seconds by which the open instant's date lies behind the engine's
    // time (0 unless it was dated at an earlier onset).
    double instant_lag = 0.0;

public:
    HostPort& port;
    // The port's console: the runtime's lines go there while it works, in a
    // clock's instant as in the engine's operations.
    ConsoleSink console;
    TimeBase& timebase;
    GlobalEnvironment env;
    t_scheduler scheduler;
    Histogram stats;

private:
    // ---- SchedulerEnv ----
    TimeBase& time() override { return timebase; }
    double now() const override { return dates.now; }
    double clock_lag() const override { return instant_lag; }
    double last_tempo() const override;
    const ConsoleSink* console_sink() const override { return &console; }
    void begin_clock_instant() override;
    void end_clock_instant() override;

    // Steps of the position instant.
    void record_missed_events(Event& e);
    void set_position_variables(Event& e, const PositionFacts& facts);
    bool update_rt_tempo(double tempo_bpm);
    void launch_position_actions(const PositionFacts& facts);
    void position_actions(const PositionFacts& facts);
    void cadenzium_actions();
    // Practice: the onset's timing and tempo against the score, posted when
    // out of bounds and counted.
    void practice_onset(const PositionFacts& facts);
    void practice_action(const Event& e, const PositionFacts& facts);
    void practice_timing(const Event& e, float error_ms);
    void practice_tempo(const Event& e, double tempo_bpm);
    std::string practice_event_text(const Event& e) const;
    void propagate_multiple_var(std::vector<var_management*>& changed);
    void give_up(std::size_t count);

    std::recursive_mutex env_mutex;
    int lock_depth = 0;
    int logical_nesting = 0;
    int previous_index = 0;
    int last_position_given = 0;
    double last_utime = 0.0;
    double last_rnow_sent = -1.0;
    std::vector<message*> pending;
    // Delivered messages kept for `new_message`, under their own lock: they
    // come back after delivery, with the environment lock released.
    void recycle(message* m);
    std::mutex spare_mutex;
    std::vector<message*> spare;
    // The positions accepted under the lock, reported with the messages
    // once the lock is released, each just before the first message queued
    // after it: a player passing a grace note and its main note in one
    // clock instant reports both.
    struct QueuedPosition {
        int index = -1;
        double time = 0;
        double tempo_bpm = 0;
        PositionDetails details;
        std::size_t first_message = 0;
    };
    std::vector<QueuedPosition> positions_to_report;
    // The details of the position being entered.
    PositionDetails details_to_report;
    void take_positions(QueuedPosition*& out, std::vector<QueuedPosition>& heap);
    void report_positions(const QueuedPosition* queued, std::size_t count);

    CadTimer* current_exe = nullptr;
    std::vector<Environment*>* envs;
    std::vector<Environment*> init_envs;

    mutable std::recursive_mutex timers_mutex;
    std::map<std::uint64_t, CadTimer*> executions; // the running ones, by number
    std::uint64_t executions_made = 0;
    std::size_t alert_threshold = 5000;
    std::size_t peak_timers = 0;
    bool given_up = false;
};
