// The engine's host in the standalone program: no patching environment, a
// console on the terminal, observations by MIDI on inlet 0, and the
// messages of the score handed to whoever listens.
#pragma once

#include "RunTime/CadenziumCore.hpp"

#include <chrono>
#include <functional>
#include <string>

class StandaloneHost : public cadenzium_core {
public:
    StandaloneHost();

    const char* thisName() const override { return "cadenzium"; }
    float Blocksize() const override { return block_size; }
    float Samplerate() const override { return sample_rate_hz; }

    void set_block_size(float n) { block_size = n; }
    void set_sample_rate(float hz) { sample_rate_hz = hz; }

    // Listen to inlet 0 by audio (spectra against the score's pitches)
    // instead of MIDI, with blocks of `block` samples at `rate` Hz and the
    // default analysis (a window of 4096, a hop of 512 or the block size).
    // Call it before reading the score: the templates are built with it.
    void listen_by_audio(int rate, int block);

    // Where position changes go (the program prints or traces them).
    using PositionSink = std::function<void(int index, const Event* event)>;
    void on_position(PositionSink sink) { position_sink = std::move(sink); }
    void report_position(int index, const Event* event) override;

    // Where the score's messages go, in the order of their instants.
    using MessageSink = std::function<void(const message&)>;
    void on_message(MessageSink sink) { message_sink = std::move(sink); }
    void send_one_message(const message& m) override;

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
    // The per-hop decoding step while following.
    void decoding_step();
    // The tempo the engine follows now, in BPM.
    double tempo_bpm();

private:
    float block_size = 512.0f;
    float sample_rate_hz = 44100.0f;
    PositionSink position_sink;
    MessageSink message_sink;
    bool wall_clock = false;
    std::chrono::steady_clock::time_point wall_origin;
};
