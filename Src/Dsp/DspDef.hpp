// The parts of a score's audio graph: the variables that carry signal or
// control between nodes, and the nodes that compute. A graph (DspGraph)
// owns them, connects them by the equations of the score's patches and runs
// them once per block of the host's signal.
//
// Buffers are allocated when the graph is prepared for a sample rate and a
// largest block, never while it computes: `compute` runs on the audio
// thread and may not allocate, wait or print.
#pragma once

#include "Base/ASTNode.hpp"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

using sample_t = float;

class DspDefinition : public ASTNode {
public:
    explicit DspDefinition(std::string name)
        : def_name(std::move(name)) {}

    const std::string& name() const { return def_name; }
    // Off the audio thread: get ready for blocks of at most `max_block`
    // samples at `rate`. False when the definition cannot run.
    virtual bool start_dsp(float rate, int max_block);
    virtual void stop_dsp() {}
    // One block of `n` samples (n is at most the prepared largest block).
    virtual void compute(int /*n*/) {}
    // Whether a change of connections waits for the next block.
    virtual bool switch_pending() const { return false; }
    float samplerate() const { return rate; }

protected:
    std::string def_name;
    float rate = 0;
};

// What a declared variable carries, with the word that declares it.
enum class DspVarKind { Channel, Control, Inlet, Outlet };
const char* dsp_kind_word(DspVarKind kind);

// A declared variable: an audio channel between nodes, a control value
// written by actions, or one of the host's audio inputs and outputs.
class DspVarDef : public DspDefinition {
public:
    DspVarDef(std::string name, DspVarKind kind)
        : DspDefinition(std::move(name))
        , var_kind(kind) {}

    void show(std::ostream& out) const override;
    bool start_dsp(float rate, int max_block) override;

    DspVarKind kind() const { return var_kind; }
    const char* dsp_kind() const { return dsp_kind_word(var_kind); }
    // The block's samples; null before the graph is prepared. A control's
    // buffer holds its value in every sample.
    sample_t* get_buffer() const { return buffer.empty() ? nullptr : const_cast<sample_t*>(buffer.data()); }
    // A control's value, from any thread; it fills the buffer at the next
    // block.
    void set_control(float v) { control.store(v, std::memory_order_relaxed); }
    float get_control() const { return control.load(std::memory_order_relaxed); }
    void fill_control(int n);
    void clear(int n);

private:
    DspVarKind var_kind;
    std::vector<sample_t> buffer;
    std::atomic<float> control{0.0f};
};

// A processing node: reads `inputs` audio buffers and `controls` control
// buffers, writes `outputs` audio buffers. The graph binds the buffers of
// the equation that uses the node before each block.
class DspNode : public DspDefinition {
public:
    DspNode(std::string name, int inputs, int controls, int outputs)
        : DspDefinition(std::move(name))
        , ins(static_cast<std::size_t>(inputs), nullptr)
        , ctls(static_cast<std::size_t>(controls), nullptr)
        , outs(static_cast<std::size_t>(outputs), nullptr) {}

    void show(std::ostream& out) const override;

    int audio_inputs() const { return static_cast<int>(ins.size()); }
    int control_inputs() const { return static_cast<int>(ctls.size()); }
    // Controls an equation must give; the others may be left out.
    virtual int required_controls() const { return control_inputs(); }
    int audio_outputs() const { return static_cast<int>(outs.size()); }
    // Buffers of this block, set by the graph (null: silence or unused).
    void bind(const std::vector<sample_t*>& in, const std::vector<sample_t*>& control,
              const std::vector<sample_t*>& out);
    // A sound node plays without a patch: its outputs go to the host's
    // outputs when no equation uses it.
    virtual bool plays_unpatched() const { return false; }
    // Notes, for nodes that take them (the audio thread applies them).
    virtual void note_on(int /*channel*/, int /*key*/, int /*velocity*/) {}
    virtual void note_off(int /*channel*/, int /*key*/) {}
    virtual void all_notes_off() {}
    // A node's own buffers for its outputs when no equation binds them.
    virtual sample_t* own_output(int /*i*/) { return nullptr; }

protected:
    std::vector<sample_t*> ins, ctls, outs;
};

// A node that copies its first input to each output, or outputs silence:
// the stand-in for a node kind this build does not have.
class DummyDspNode : public DspNode {
public:
    using DspNode::DspNode;
    void compute(int n) override;
};
