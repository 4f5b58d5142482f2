// Tables of variables. An `Environment` maps names to variable streams; the
// `GlobalEnvironment` is the outermost one, the registry of functions and
// processes and the owner of the system variables. The dates of the
// assignments come from the runtime through `EvalContext`.
#pragma once

#include "Exp/EvalContext.hpp"
#include "Exp/VarManagement.hpp"

#include <map>
#include <memory>
#include <string>
#include <vector>

class EvalContext;
class FunctionDefinition;
struct LibraryState;
class ProcDefinition;
class GlobalEnvironment;

class Environment {
public:
    explicit Environment(EvalContext* ctx);
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
    Value get_var(const var_management& vm, double d, duration_type unit, const yy::location* where = nullptr);
    Value get_var(unique_identifier uid, double d, duration_type unit);
    // The date (seconds, or beats for DURATION_BEATS) of an assignment.
    Value get_date_var(const var_management& vm, const Expression* past, duration_type unit);
    Value get_date_var(const std::string& name, const Expression* past, duration_type unit);
    Value get_date_var(const var_management& vm, double d, duration_type unit, duration_type date_unit);
    // What reading a never-assigned variable gives (a label's beat, the
    // position of the running action, or undef with a warning that shows
    // `where` the read was written).
    Value get_unitialized_var(const var_management& vm, int past, bool warn,
                              const yy::location* where = nullptr);
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

    // Observers of a variable; attached in order, told in that order.
    void attach(var_management* vm, VarObserver* observer, VAR_CALLBACK kind);
    void attach(const std::string& name, VarObserver* observer, VAR_CALLBACK kind);
    void detach(var_management* vm, VarObserver* observer, VAR_CALLBACK kind);
    void detach(const std::string& name, VarObserver* observer, VAR_CALLBACK kind);

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
    // The runtime this environment's variables are dated and told by.
    EvalContext* ctx;

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

// The outermost environment: the score's global variables and the system
// variables, and the registries of functions and processes. The instant
// that dates its assignments belongs to the runtime (see EvalContext).
class GlobalEnvironment : public Environment {
public:
    explicit GlobalEnvironment(EvalContext* ctx);
    ~GlobalEnvironment() override;

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
    // The registered functions, in the order of their identifiers.
    std::vector<FunctionDefinition*> registered_functions() const;
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

    // The number of the next observer attached to a variable of this
    // environment or of one nested in it.
    std::uint64_t next_attachment() { return ++attachments; }

    // What the function library keeps for this engine (random source,
    // helper threads).
    LibraryState& library() { return *library_state; }

    // Positions of the system variables in `vars`.
    std::size_t jump_updated_index = 0, energy_index = 0, now_index = 0, rnow_index = 0, rcnow_index = 0,
                rt_tempo_index = 0, score_tempo_index = 0, pitch_index = 0, dur_index = 0, beat_pos_index = 0,
                last_label_index = 0, approx_ratio_index = 0;

private:
    std::map<unique_identifier, FunctionDefinition*> functions;
    std::vector<std::unique_ptr<FunctionDefinition>> retired;
    std::map<unique_identifier, FunctionDefinition*> forwards; // held by `retired`
    std::map<unique_identifier, std::pair<ProcDefinition*, bool>> procs;
    std::uint64_t attachments = 0;
    std::unique_ptr<LibraryState> library_state;
};
