// What evaluating expressions and assigning variables asks of whoever runs a
// score: the environments in force, the dates of the logical instant, the
// labels of the score and the running executions. The runtime implements it
// and hands it to every environment and variable it builds or reads; the
// value layer reaches no further up than this interface.
#pragma once

#include "Exp/TempoVar.hpp"
#include "Exp/Values.hpp"

#include <string>
#include <utility>
#include <vector>

namespace yy {
struct location;
}

class Action;
class Environment;
class GlobalEnvironment;
class ProcDefinition;

// An event of the score as the function library reads it.
struct ScoreEventView {
    double beat = 0.0;          // position in beats
    double duration = 0.0;      // in beats
    std::vector<float> pitches; // midicents, negative when tied; empty for a silence
};

// The dates of the logical instant in progress. The runtime owns and moves
// them; every assignment of the instant is dated with them.
struct InstantDates {
    double now = 0.0;   // seconds, never decreasing
    double rnow = 0.0;  // position in beats, pinned at the next event's beat
    double rcnow = 0.0; // the same without the pin
    int index = 0;      // the event of the score position
    int next_index = 0; // the event after it
    long count = 0;     // instants opened so far
};

class EvalContext {
public:
    virtual ~EvalContext() = default;

    virtual GlobalEnvironment* global_env() = 0;
    // The environments in force, innermost last; the global one at least.
    virtual std::vector<Environment*>& env_stack() = 0;
    virtual const InstantDates& instant() const = 0;
    virtual int verbosity() const { return 0; }
    // The oscillator that a tempo variable follows its updates with.
    virtual std::unique_ptr<TempoOscillator> make_tempo_oscillator() const { return make_fixed_oscillator(); }

    // The beat of the event labelled `label` in the score being run.
    virtual bool label_beat(const std::string& /*label*/, double& /*beat*/) const { return false; }
    // Position (beats) and local tempo (BPM) of the running execution.
    virtual bool exe_time(double& /*position*/, double& /*tempo*/) const { return false; }
    // The execution that runs `ambient` ("$MYSELF"): the running one or the
    // nearest of its ancestors that runs that action.
    virtual Value ambient_exe(const Action* /*ambient*/) const { return exe_value(0); }
    // Starts an instance of `proc` at beat `beat_pos`; its execution, or exe 0
    // when nothing started.
    // The innermost environment of the running execution `id` that defines
    // the variable `uid`, or null.
    virtual Environment* exe_environment(unsigned long /*id*/, unique_identifier /*uid*/) const {
        return nullptr;
    }
    // Fires `action` now, at beat `position`, outside any running execution
    // (a block used as a value); the execution it started, or exe 0.
    virtual Value fire_action(Action& /*action*/, double /*position*/) { return exe_value(0); }
    // The score being run, as the function library reads it: its tempo
    // changes (beat, BPM) and its events in order.
    virtual std::vector<std::pair<double, double>> score_tempi() const { return {}; }
    virtual std::vector<ScoreEventView> score_events() const { return {}; }
    // The file the score was read from; empty when unknown.
    virtual std::string score_filename() const { return {}; }
    // The audio graph's variables ("$$gain"): a write of a control reaches
    // the graph at its next block; a read gives the control's last value.
    virtual void dsp_write(const std::string& /*name*/, const TaggedValue& /*v*/,
                           const yy::location* /*where*/) {}
    virtual Value dsp_read(const std::string& /*name*/, const yy::location* /*where*/) const {
        return undef_value();
    }
    virtual Value launch_process(ProcDefinition* /*proc*/, const std::vector<Value>& /*args*/,
                                 float /*beat_pos*/, const Action* /*ambient*/) {
        return exe_value(0);
    }
};
