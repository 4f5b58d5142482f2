// The engine's host in the standalone program: no patching environment, a
// console on the terminal, observations by MIDI on inlet 0.
#pragma once

#include "RunTime/CadenziumCore.hpp"

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

private:
    float block_size = 512.0f;
    float sample_rate_hz = 44100.0f;
    PositionSink position_sink;
};
