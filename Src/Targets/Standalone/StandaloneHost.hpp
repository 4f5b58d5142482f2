// The engine's host in the standalone program: no patching environment, a
// console on the terminal, observations by MIDI on inlet 0 (or by audio),
// and the messages and positions of the score handed to whoever listens. It
// is the engine's port and owns the engine.
#pragma once

#include "RunTime/CadenziumCore.hpp"
#include "RunTime/HostPort.hpp"

#include <chrono>
#include <functional>
#include <mutex>
#include <string>

class OscSender;

class StandaloneHost : public HostPort {
public:
    // `clocks`: the scheduler thread of a run paced by the wall clock, which
    // outlives the host; null for a run on the engine's virtual clock.
    explicit StandaloneHost(HostClocks* clocks = nullptr);

    cadenzium_core& engine() { return core; }
    const cadenzium_core& engine() const { return core; }

    // ---- the port ----
    const char* name() const override { return "cadenzium"; }
    void send_message(const message& m) override;
    void report_position(int index, const Event* event, double time, double tempo_bpm) override;
    HostClocks* clocks() override { return host_clocks; }
    ChannelPort* channels() override { return score_channels; }
    DspPort* dsp() override { return graph; }
    float sample_rate() const override { return sample_rate_hz; }
    float block_size() const override { return block; }

    // Listen to inlet 0 by audio (spectra against the score's pitches)
    // instead of MIDI, with blocks of `block` samples at `rate` Hz and the
    // default analysis (a window of 4096, a hop of 512 or the block size).
    // Call it before reading the score: the templates are built with it.
    void listen_by_audio(int rate, int block);

    // Where position changes go (the program prints or traces them).
    using PositionSink = std::function<void(int index, const Event* event, double time, double tempo_bpm)>;
    void on_position(PositionSink sink) { position_sink = std::move(sink); }
    // Where the score's messages go, in the order of their instants.
    using MessageSink = std::function<void(const message&)>;
    void on_message(MessageSink sink) { message_sink = std::move(sink); }

    // The score's OSC channels and files (they outlive the engine's runs),
    // and a peer to which every message the host gets is forwarded as
    // "/receiver values...". Both outlive the host's use of them.
    void set_channels(ChannelPort* channels) { score_channels = channels; }
    void forward_to(const OscSender* peer) { forward = peer; }
    // The score's audio graph (null: none), which outlives the engine's use.
    void set_dsp(DspPort* g) { graph = g; }
    // Offline, after each move of the virtual clock: where time stands.
    using TimeSink = std::function<void(double seconds)>;
    void on_time(TimeSink sink) { time_sink = std::move(sink); }

    // ---- time ----
    // Offline the engine's clocks are virtual and the driver moves time on:
    // the timers due meanwhile fire at their own dates first. In real time
    // the clocks are the host's and time is the wall clock's.
    void set_time(double seconds);
    // Logical time 0 is now; the first call only counts.
    void start_wall_clock();
    // Sleeps until `seconds` after the start of the wall clock.
    void wait_until(double seconds) const;
    bool realtime() const { return wall_clock; }

    // ---- input ----
    // One MIDI note (velocity 0 is a note-off) as it arrives.
    void deliver_note(int pitch, int velocity);
    // One controller change (the sustain pedal) as it arrives.
    void deliver_control(int number, int value);
    // The per-hop decoding step while following.
    void decoding_step();

private:
    HostClocks* host_clocks;
    float block = 512.0f;
    float sample_rate_hz = 44100.0f;
    PositionSink position_sink;
    MessageSink message_sink;
    ChannelPort* score_channels = nullptr;
    const OscSender* forward = nullptr;
    DspPort* graph = nullptr;
    TimeSink time_sink;
    // Reports come from the driver's thread, the clocks' and the OSC
    // receivers': one at a time.
    std::mutex report_mutex;
    bool wall_clock = false;
    std::chrono::steady_clock::time_point wall_origin;
    // Last: built once the port's settings are in place.
    cadenzium_core core;
};
