// Tables of variables. An `Environment` maps names to variable streams; the
// `GlobalEnvironment` is the outermost one, the registry of functions and
// processes, the owner of the system variables and the keeper of the
// logical instant.
#pragma once

#include "Exp/Histogram.hpp"
#include "Exp/VarManagement.hpp"

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class cadenzium_core;
class pre_cadenzium;
class CadTimer;
class FunctionDefinition;
class ProcDefinition;
class Event;
struct message;
class GlobalEnvironment;

class Environment {
public:
    Environment(cadenzium_core* core, pre_cadenzium* pre);
    Environment(const Environment& other);
    Environment& operator=(const Environment&) = delete;
    virtual ~Environment() = default;

    // `history` below 0 asks for the default of 11 slots, else history + 1.
    // An existing variable is not redefined: it grows, and a defined initial
    // value is entered with both dates 0.0. Gives the variable's position.
    std::size_t define_var(unique_identifier uid, int history, const TaggedValue& initial);
    std::size_t define_var(const std::string& name, int history, const TaggedValue& initial);

    // Assignment at the current instant, then the observers run.
    void set_var(std::size_t index, const TaggedValue& v);
    void set_var(unique_identifier uid, const TaggedValue& v);

    // The value `past` assignments ago.
    Value get_var(unique_identifier uid, int past);
    // The value `d` seconds or beats ago.
    Value get_var(const var_management& vm, double d, duration_type unit);
    Value get_var(unique_identifier uid, double d, duration_type unit);
    // The date (seconds, or beats for DURATION_BEATS) of an assignment.
    Value get_date_var(const var_management& vm, const Expression* past, duration_type unit);
    Value get_date_var(const std::string& name, const Expression* past, duration_type unit);
    Value get_date_var(const var_management& vm, double d, duration_type unit, duration_type date_unit);
    // What reading a never-assigned variable gives (a label's beat, the
    // position of the running action, or undef with a warning).
    Value get_unitialized_var(const var_management& vm, int past, bool warn);
    // The slot (counted back from the newest) in force `d` seconds or beats
    // ago, or -1.
    int past_slot_at(const var_management& vm, double d, duration_type unit) const;

    var_management* get_vm(const std::string& name);
    var_management* get_vm(unique_identifier uid);
    var_management* get_vm(std::size_t index);
    const Value& unsafe_get_var(const std::string& name);
    const Value& unsafe_get_var(unique_identifier uid);
    const Value& unsafe_get_var(std::size_t index) const { return vars[index].newest(); }

    bool is_defined_var(const std::string& name) const;
    bool is_defined_var(unique_identifier uid) const { return index_of.count(uid) != 0; }
    // Also true for "$label" when `label` is an event label of the score.
    bool is_defined_var_or_label(const std::string& name) const;

    void attach(var_management* vm, CadTimer* timer, VAR_CALLBACK kind);
    void attach(const std::string& name, CadTimer* timer, VAR_CALLBACK kind);
    void detach(var_management* vm, CadTimer* timer, VAR_CALLBACK kind);
    void detach(const std::string& name, CadTimer* timer, VAR_CALLBACK kind);

    // The instant and the system variables, from any environment.
    virtual GlobalEnvironment* global() const;
    int get_global_index_event() const;
    int get_global_next_index_event() const;
    const Value& get_global_rt_tempo() const;
    const Value& get_global_energy() const;
    const Value& get_global_jump_updated() const;
    const Value& get_global_score_tempo() const;
    const Value& get_global_pitch() const;
    const Value& get_global_dur() const;
    const Value& get_global_beat_pos() const;
    const Value& get_global_last_event_label() const;
    const Value& get_global_approx_ratio() const;
    double get_global_now() const;
    double get_global_rnow() const;
    double get_global_rcnow() const;
    // The count of logical instants so far.
    double get_global_lnow() const;

    // A debugging check at the end of a run: reports variables that still
    // have observers.
    void check_no_more_propagation();

    std::vector<var_management> vars;
    std::map<unique_identifier, std::size_t> index_of;
    cadenzium_core* core;
    pre_cadenzium* pre;

    // Where the variable read last was written, for warnings.
    static const yy::location* last_localisation;

private:
    const Value& global_var(std::size_t GlobalEnvironment::*which) const;
};

// Names of the system variables.
inline constexpr const char* NOW_VAR = "$NOW";
inline constexpr const char* RNOW_VAR = "$RNOW";
inline constexpr const char* RCNOW_VAR = "$RCNOW";
inline constexpr const char* RT_TEMPO_VAR = "$RT_TEMPO";
inline constexpr const char* SCORE_TEMPO_VAR = "$SCORE_TEMPO";
inline constexpr const char* PITCH_VAR = "$PITCH";
inline constexpr const char* DUR_VAR = "$DURATION";
inline constexpr const char* BEAT_POS_VAR = "$BEAT_POS";
inline constexpr const char* LAST_LABEL_VAR = "$LAST_EVENT_LABEL";
inline constexpr const char* APPROX_RATIO_VAR = "$APPROX_RATIO";
inline constexpr const char* ENERGY_VAR = "$ENERGY";
inline constexpr const char* JUMP_UPDATED_VAR = "$JUMP_UPDATED";

class GlobalEnvironment : public Environment {
public:
    GlobalEnvironment(cadenzium_core* core, pre_cadenzium* pre);
    ~GlobalEnvironment() override;

    // The engine of the last global environment built, for values that ask
    // the engine (whether an execution still runs).
    static pre_cadenzium* engine();
    GlobalEnvironment* global() const override { return const_cast<GlobalEnvironment*>(this); }

    // Registry of functions. Registered definitions belong to the
    // environment; a replaced one is kept alive until the environment dies,
    // since values may still point to it.
    bool set_function(FunctionDefinition* f);
    FunctionDefinition* get_function(const std::string& name) const;
    FunctionDefinition* get_function(unique_identifier uid) const;
    bool is_defined_function(const std::string& name) const;
    bool is_defined_function(unique_identifier uid) const { return get_function(uid) != nullptr; }
    int count_user_defined_functions() const;
    // Keeps a forward reference alive as long as the environment, one per
    // name: for a name already seen, `f` is freed and the first one given.
    FunctionDefinition* adopt_forward(FunctionDefinition* f);

    // Registry of processes (owned by the score that defines them).
    void set_proc(const std::string& name, ProcDefinition* proc, bool user_defined = true);
    ProcDefinition* get_proc(const std::string& name) const;
    ProcDefinition* get_proc(unique_identifier uid) const;
    bool is_defined_proc(const std::string& name) const;
    bool is_defined_proc(unique_identifier uid) const { return get_proc(uid) != nullptr; }
    int count_user_defined_proc() const;

    // Reserves room for the score's globals and defines the system
    // variables with their initial values.
    void reset_cached_variables();
    // Drops what a score defined (variables, user functions, processes) and
    // brings the system variables back.
    void clear();

    void env_lock();
    void env_unlock();

    // The logical instant.
    double now = 0.0;
    double rnow = 0.0;
    double rcnow = 0.0;
    CadTimer* current_timer = nullptr;
    Histogram stats;

    // Positions of the system variables in `vars`.
    std::size_t jump_updated_index = 0, energy_index = 0, now_index = 0, rnow_index = 0, rcnow_index = 0,
                rt_tempo_index = 0, score_tempo_index = 0, pitch_index = 0, dur_index = 0, beat_pos_index = 0,
                last_label_index = 0, approx_ratio_index = 0;

    // State of the instant that the runtime maintains.
    std::unique_ptr<std::recursive_mutex> mutex;
    int lock_depth = 0;
    Event* current_event = nullptr;
    Event* inner_event = nullptr;
    Event* previous_event = nullptr;
    Event* last_action_event = nullptr;
    float last_tempo = 0.0f;
    double last_onset_time = 0.0;
    int onset_count = 0;
    double timing_error_ms = 0.0;
    int previous_index = 0;
    int index = 0;
    int next_index = 0;
    int last_position_given = 0;
    int instant_count = 0;
    double last_utime = 0.0;
    double last_rnow_sent = -1.0;
    std::vector<message*> pending;
    // Instants opened and not yet closed; only the outermost close counts in
    // the statistics.
    int logical_nesting = 0;
    // False while a transport command places the position: no action fires.
    bool actions_enabled = true;
    // A position accepted under the lock, reported to the host with the
    // messages once the lock is released (-1: none).
    int position_to_report = -1;

    // Run-time operations of the instant, defined with the runtime.
    void reset();
    void start_logical_instant(int pos);
    void end_logical_instant();
    void send_messages(bool unlock);
    void updatePosition(int pos);
    void track_tempo_from_position_update(Event* e);
    void updatePitch();
    void updateTempo(double bpm);
    void update_energy_var(double v);
    void ExternalUpdateVar(const std::string& name, const TaggedValue& v);
    void clear_messages();
    // Appends a message to the instant's queue, dated now.
    void queue_message(message* m);
    // Launches the actions of the current position.
    void cadenzium_actions();
    bool rt_tempo_is_undef() const;
    bool rt_tempo_is_not_undef() const { return !rt_tempo_is_undef(); }
    bool score_tempo_is_undef() const;
    bool get_jump_updated() const;
    void set_jump_updated(bool on);
    // Several variables changed at one date: the reactions run once.
    void start_multiple_ExternalUpdateVar();
    void multiple_ExternalUpdateVar(std::vector<var_management*>& changed, const std::string& name,
                                    const TaggedValue& v);
    void set_multiple_var(std::vector<var_management*>& changed, unique_identifier uid, const TaggedValue& v);
    void end_multiple_ExternalUpdateVar(std::vector<var_management*>& changed);
    void propagate_multiple_var(std::vector<var_management*>& changed);

private:
    // Steps of the position update.
    void record_missed_events(Event& e);
    void set_position_variables(Event& e);
    bool update_rt_tempo();
    void launch_position_actions();

    std::map<unique_identifier, FunctionDefinition*> functions;
    std::vector<std::unique_ptr<FunctionDefinition>> retired;
    std::map<unique_identifier, FunctionDefinition*> forwards; // held by `retired`
    std::map<unique_identifier, std::pair<ProcDefinition*, bool>> procs;
};
