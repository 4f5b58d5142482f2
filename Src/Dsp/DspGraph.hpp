// A score's audio graph as a host runs it: the variables and nodes the host
// gives it and those the followed score declares, the equations its patches
// installed, and the notes its sound nodes were given. It is the engine's
// DspPort.
//
// Two sides. The control side (declarations, scores, patches, notes,
// controls) runs off the audio thread, one caller at a time; a change
// builds a new schedule there and leaves it for the audio side, which takes
// it at the start of its next block. The audio side (`process`) allocates
// nothing, takes no lock and prints nothing: what it retires or drops, the
// control side frees or reports later.
#pragma once

#include "Dsp/DspDef.hpp"
#include "Dsp/DspSchedule.hpp"
#include "Dsp/NoteRing.hpp"
#include "RunTime/DspPort.hpp"

#include <array>
#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

class DspNodeDecl;
class DspVarDecl;

// Variables and nodes of one owner: the host, or the followed score.
struct DspDefinitionSet {
    std::vector<std::unique_ptr<DspVarDef>> vars;
    std::vector<std::unique_ptr<DspNode>> nodes;
};

class DspGraph final : public DspPort {
public:
    DspGraph() = default;
    ~DspGraph() override;
    DspGraph(const DspGraph&) = delete;
    DspGraph& operator=(const DspGraph&) = delete;

    // ---- definitions (before start) ----
    // Inlets and outlets take the host's inputs and outputs in the order of
    // their declaration: the host's first, then the score's.
    DspVarDef* declare(const std::string& name, DspVarKind kind);
    DspNode* add_node(std::unique_ptr<DspNode> node);
    // A fluidsynth name that the graph does not define plays on this node.
    void set_default_sound(DspNode* node) { default_sound = node; }
    // A definition by name, the score's before the host's.
    DspVarDef* var(const std::string& name) const;
    DspNode* node(const std::string& name) const;
    // The nodes in the order notes number them: the host's, then the score's.
    std::vector<DspNode*> all_nodes() const;
    bool has_sound() const { return default_sound != nullptr || !all_nodes().empty(); }

    // Prepares every definition for blocks of at most `max_block` samples
    // at `rate`, with the host's numbers of inputs and outputs. False
    // (reported) when a definition cannot run.
    bool start(float rate, int max_block, int inputs, int outputs);
    bool started() const { return running; }
    // A new schedule waits for the audio side's next block.
    bool switch_pending() const { return pending.load(std::memory_order_acquire) != nullptr; }
    float sample_rate() const { return rate; }
    void set_verbosity(int v) { verbosity = v; }

    // ---- the control side ----
    // The score's declarations replace the previous score's, its patches
    // and notes with them; declarations of a kind this build lacks are
    // refused, the rest stands.
    void load_score(const Score* score) override;
    void control(const std::string& name, const TaggedValue& v, const yy::location* where) override;
    Value control_value(const std::string& name, const yy::location* where) const override;
    bool curve_target(const std::string& name, const yy::location* where) override;
    void patch(const DspPatch& a) override;
    void equation(const DspEquation& a) override;
    void note(const std::string& node, const DspNote& n, const Action* source) override;
    // The equations of a patch as plain names: they replace those of the
    // same nodes. False (reported) when the result has a cycle: the graph
    // then keeps its schedule.
    bool install(const std::vector<DspEquationNames>& equations);
    // Equations dropped; the notes in flight released at the next block.
    void reset();
    // Reports the notes the audio side dropped.
    void collect();

    // ---- the audio side ----
    // One block of `n` samples: the notes dated before `until` (seconds of
    // the engine's clock) start or end, the nodes compute, and `outputs`
    // receive the outlets and the unpatched sound nodes. Blocks longer than
    // the prepared largest one are computed in parts.
    void process(const float* const* inputs, int input_count, float* const* outputs, int output_count, int n,
                 double until);

private:
    static constexpr std::size_t kRing = 4096;
    static constexpr std::size_t kWaiting = 1024;

    void process_part(const float* const* inputs, int input_count, float* const* outputs, int output_count,
                      int offset, int n);
    void take_schedule();
    void take_notes();
    void apply_due_notes(double until);
    void run_schedule(int n);
    void mix_outputs(float* const* outputs, int output_count, int offset, int n);
    void publish(std::unique_ptr<DspSchedule> s);
    void fill_frame_lists(DspSchedule& s) const;
    std::vector<DspVarDef*> all_vars() const;
    void declare_from(const Score& score, DspDefinitionSet& into) const;
    void add_declared_node(const DspNodeDecl& decl, const std::string& score_file,
                           DspDefinitionSet& into) const;
    void start_declared(DspDefinitionSet& set) const;
    void report_dropped_channels(const std::map<std::string, DspEquationNames>& before) const;

    // Held by every operation of the control side.
    mutable std::recursive_mutex control_mutex;
    DspDefinitionSet own;
    std::shared_ptr<DspDefinitionSet> declared = std::make_shared<DspDefinitionSet>();
    std::uint32_t generation = 0;
    DspNode* default_sound = nullptr;
    std::map<std::string, DspEquationNames> equations_by_node;
    float rate = 0;
    int max_block = 0;
    bool running = false;
    int verbosity = 0;

    // The schedule the audio side runs, and the one it is to take at its
    // next block. The control side owns them all: the one it published
    // last (pending or taken) and the one taken before it, which the audio
    // side may still run until it takes the next.
    DspSchedule* current = nullptr;
    std::atomic<DspSchedule*> pending{nullptr};
    DspSchedule* published = nullptr;
    DspSchedule* taken = nullptr;
    const std::vector<sample_t*> unbound{};

    NoteRing<kRing> ring;
    std::array<NoteCommand, kWaiting> waiting{};
    std::size_t waiting_count = 0;
    std::atomic<std::uint32_t> overflow{0};
    std::atomic<bool> release_all{false};
};
