// The score's audio graph beyond the engine: its patches and its sound
// nodes. A host that runs a graph hands it to the engine through its port
// (HostPort::dsp); without one the score's DSP actions report, once, that
// this build does not handle DSP.
//
// Firing calls it under the environment lock, from whatever thread runs the
// instant; the graph itself computes on the audio thread. Nothing here may
// wait for the audio thread.
#pragma once

#include "Exp/Values.hpp"

#include <string>

class Action;
class DspEquation;
class DspPatch;
class Score;

// One note of a sound node, dated on the engine's clock (seconds). A
// duration of 0 holds the note until a note of velocity 0 releases it.
struct DspNote {
    int channel = 0;
    int key = 60;
    int velocity = 100;
    double date = 0;
    double duration = 0;
};

class DspPort {
public:
    virtual ~DspPort() = default;

    // The engine follows `score` (null: none): its declarations of
    // variables and nodes replace the previous score's.
    virtual void load_score(const Score* score) = 0;
    // "$$gain := v" or a curve's step on a control variable: the nodes
    // read the value from the next block on.
    virtual void control(const std::string& name, const TaggedValue& v, const yy::location* where) = 0;
    // Whether a curve may move `name`: only a control can (reported
    // otherwise, with the curve's place).
    virtual bool curve_target(const std::string& name, const yy::location* where) = 0;
    // The value a control variable was last given.
    virtual Value control_value(const std::string& name, const yy::location* where) const = 0;
    // "patch": its equations replace those of the same nodes, from the next
    // block on. A lone equation is a patch of one.
    virtual void patch(const DspPatch& a) = 0;
    virtual void equation(const DspEquation& a) = 0;
    // "fluidsynth::node(channel, key, velocity [, duration])"; `source`
    // is null for a note that no action gave.
    virtual void note(const std::string& node, const DspNote& n, const Action* source) = 0;
};
