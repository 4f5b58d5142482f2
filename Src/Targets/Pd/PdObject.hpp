// The engine inside a Pure Data patch: the host port of the object
// `cadenzium~`. It owns the engine, its clocks on Pd's scheduler and its OSC
// channels; it maps the object's messages, attributes and inlets onto the
// engine, and the engine's reports onto the object's outlets and the
// patch's receivers.
//
// Pd runs messages, clocks and the signal chain on one thread; only the
// OSC receivers have threads of their own. What their instants send to the
// patch waits for Pd's thread, which delivers it within a millisecond of
// logical time.
#pragma once

#include "Dsp/DspGraph.hpp"
#include "Osc/OscManager.hpp"
#include "PdArguments.hpp"
#include "PdClocks.hpp"
#include "PdMessages.hpp"
#include "PdOutlets.hpp"
#include "RunTime/CadenziumCore.hpp"
#include "RunTime/HostPort.hpp"

#include "PdApi.hpp"

#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <variant>
#include <vector>

class PdObject final : public HostPort {
public:
    // `dir`: the patch's folder, where relative score paths are looked for.
    PdObject(t_object* owner, const BoxArguments& box, std::string dir);
    ~PdObject() override;
    PdObject(const PdObject&) = delete;
    PdObject& operator=(const PdObject&) = delete;

    // ---- the port ----
    const char* name() const override { return "cadenzium~"; }
    void send_message(const message& m) override;
    void report_position(int index, const Event* event, double time, double tempo_bpm) override;
    void report_details(int index, const PositionDetails& details) override;
    bool has_outlet(std::string_view name) const override;
    bool watch_file(const std::string& path) override;
    std::vector<std::string> patch_receivers() const override;
    // The patch the object sits in, walked for its receivers.
    void set_canvas(_glist* c) { canvas = c; }
    HostClocks* clocks() override { return &pd_clocks; }
    ChannelPort* channels() override { return osc.get(); }
    DspPort* dsp() override { return graph.get(); }
    void console(ConsoleLevel level, std::string_view text) override;
    float sample_rate() const override { return rate; }
    float block_size() const override { return block; }
    void score_loaded() override;

    cadenzium_core& engine() { return core; }
    const std::vector<std::string>& inlet_kinds() const { return inlets; }
    bool listens_by_audio() const { return by_audio; }

    // ---- messages ----
    void load(const std::string& path);
    void reload();
    void start(const std::string& name);
    void stop();
    // Runs the score silently up to `beat` (or the event labelled `label`)
    // and follows from there.
    void start_from_beat(double beat);
    void start_from_label(const std::string& label);
    // "setvar name value...": one value, or a tab of several.
    void setvar(int argc, const t_atom* argv);
    void info() const;
    // An attribute by name, from a message or from the box.
    void set_attribute(const std::string& attribute, int argc, const t_atom* argv);

    // ---- inlets ----
    // A list at inlet `inlet`: pitch and velocity at a "MIDI" inlet.
    void list_at(int inlet, int argc, const t_atom* argv);
    void dsp(float sample_rate, int block_samples);
    void perform(const t_sample* in, int n);
    // The score's sound on the AUDIO outlets: where their vectors are for
    // the coming blocks, then one block.
    int audio_outlets() const { return outlets.audio_count(); }
    void bind_audio_outlets(std::vector<t_sample*> vectors);
    void perform_audio(int n);

    // ---- clocks of the object ----
    void hop_tick();
    void watch_tick();
    void drain_tick();

private:
    struct ConsoleLine {
        ConsoleLevel level;
        std::string text;
    };
    bool on_pd_thread() const;

    std::string resolve(const std::string& path) const;
    void arm_hops();
    void make_graph();
    void watch(bool on);

    std::thread::id pd_thread;
    t_object* owner;
    _glist* canvas = nullptr;
    std::vector<std::string> inlets;
    bool by_audio;
    std::string dir;
    PdOutlets outlets;
    float rate;
    float block;
    PdClocks pd_clocks;
    cadenzium_core core;
    std::unique_ptr<OscManager> osc;
    // The score's audio graph, with a FluidSynth node on `soundfont`, when
    // the object has AUDIO outlets.
    std::string soundfont = "/usr/share/sounds/sf2/FluidR3_GM.sf2";
    std::unique_ptr<DspGraph> graph;
    std::vector<t_sample*> audio_vectors;

    // Decoding steps between MIDI notes, one per hop while following.
    t_clock* hop_clock;
    // Score autowatch: the file's modification time, polled.
    t_clock* watch_clock;
    // What other threads report, for Pd's thread.
    t_clock* drain_clock;
    std::mutex pending_mutex;
    std::vector<std::variant<PdMessage, ConsoleLine>> pending;
    bool autowatch = false;
    std::time_t score_mtime = 0;
};
