// The engine as the score model, the parser and the expressions see it:
// an abstract root, so that those layers reach the engine without its class.
#pragma once

#include <map>
#include <string>
#include <vector>

class Score;
class Environment;
class GlobalEnvironment;
class CadTimer;
class OscSend;
class t_scheduler;
class cadenzium_core;
class Macro;
class Action;
class Expression;
class Value;
class ProcDefinition;
class var_management;

class pre_cadenzium {
public:
    virtual ~pre_cadenzium() = default;

    virtual GlobalEnvironment* get_env() = 0;
    virtual Environment* get_globalenv_as_env() = 0;
    virtual CadTimer* get_exe() = 0;
    virtual std::vector<Environment*>* get_envs() = 0;
    virtual std::vector<Environment*>* get_init_envs() = 0;
    virtual void set_static_context() = 0;
    virtual void osc_save_send(const std::string& name, OscSend* send) = 0;
    virtual OscSend* get_osc_send(const std::string& name) = 0;
    virtual Score* get_x_netscore() = 0;
    virtual void set_x_netscore(Score* score) = 0;
    virtual t_scheduler* get_x_sched() = 0;
    virtual int verbose() const = 0;
    virtual const std::map<std::string, int>* get_obs_iomap() const = 0;
    virtual void napro_trace_init(const std::string& host, int port) = 0;
    virtual std::string cadenzium_version() const = 0;
    virtual std::string cadenzium_commit_version() const = 0;
    virtual cadenzium_core* to_cadenzium() = 0;
    virtual bool PreloadedMode() const = 0;
    virtual void compute_and_propage_in_proc(Score* score) = 0;
    virtual CadTimer* find_exe(int id) = 0;
    virtual bool active(const CadTimer* timer) = 0;
    virtual void finalize_action_in_clause(Score* score, std::vector<Action*>& clauses) = 0;
    virtual bool eval_clause(std::vector<Action*>& clauses) = 0;
    virtual float Blocksize() const { return -1.0f; }
    virtual float Samplerate() const { return -1.0f; }
    virtual int outlet_number(const std::string& name) const = 0;
    virtual void set_DspToRun(bool on) = 0;

    // The logical clock, in seconds.
    virtual double GetTime() const = 0;

    // What the value layer asks of the engine. The defaults answer "nothing
    // known", so an engine that does not run scores yet still links.
    // Beat position of the event of the current score labelled `label`.
    virtual bool label_beat(const std::string& /*label*/, double& /*beat*/) const { return false; }
    // Position in beats and local tempo of a running compound action.
    virtual bool timer_time(const CadTimer* /*timer*/, double& /*position*/, double& /*tempo*/) const {
        return false;
    }
    // Execution number of the instance that runs `ambient`, 0 when none.
    virtual unsigned long ambient_exe(const Action* /*ambient*/) const { return 0; }
    // Runs one observer of a variable: kind 0 notifies with `event_index`,
    // 1 updates the timer's position from `var`, 2 reschedules the timer.
    virtual void notify_var_observer(CadTimer* /*timer*/, int /*kind*/, int /*event_index*/,
                                     var_management& /*var*/) {}
    // Starts an instance of `proc`; its execution number, 0 when nothing started.
    virtual unsigned long launch_process(ProcDefinition* /*proc*/, const std::vector<Value>& /*args*/,
                                         float /*beat_pos*/, const Action* /*ambient*/) {
        return 0;
    }

    // The table of macros belongs to the engine and survives readings.
    std::map<std::string, Macro*>& macros() { return macro_table; }

protected:
    std::map<std::string, Macro*> macro_table;
};
