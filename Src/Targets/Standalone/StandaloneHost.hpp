// The engine's host in the standalone program: no patching environment, a
// console on the terminal, observations by MIDI on inlet 0.
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

    // Where position changes go (the program prints or traces them).
    using PositionSink = std::function<void(int index, const Event* event)>;
    void on_position(PositionSink sink) { position_sink = std::move(sink); }
    void report_position(int index, const Event* event) override;

    // ---- time ----
    // Offline the engine reads a virtual clock that the driver sets; in real
    // time it reads the wall clock from the start of the performance.
    double GetTime() const override;
    void set_time(double seconds) { virtual_now = seconds; }
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
    double virtual_now = 0;
    bool wall_clock = false;
    std::chrono::steady_clock::time_point wall_origin;
};
