// The score's own sound in the standalone program: its audio graph with a
// General MIDI sound node, heard through JACK while it follows, or
// rendered offline to a sound file in step with the engine's virtual
// clock.
//
// A fluidsynth node the score names without defining it plays on the
// program's sound font (FluidR3 by default).
#pragma once

#include "Dsp/DspGraph.hpp"

#include <chrono>
#include <memory>
#include <string>
#include <vector>

struct sf_private_tag;

class ScoreSound {
public:
    ScoreSound();
    ~ScoreSound();
    ScoreSound(const ScoreSound&) = delete;
    ScoreSound& operator=(const ScoreSound&) = delete;

    // Offline: the graph renders into `path` (WAV, stereo, 16 bit) as the
    // engine's time passes. False (reported) when the sound font or the
    // file cannot be opened.
    bool render_to(const std::string& path, const std::string& soundfont, int rate = 44100);
    // Live: the graph plays through the JACK client "cadenzium-sound",
    // connected to the system's playback ports. False (reported) without a
    // JACK server.
    bool play_live(const std::string& soundfont, const std::string& server);
    // Live: the moment of the engine's logical time 0 (by default the
    // opening of the client). Notes fall due as the wall clock reaches
    // their dates.
    void set_time_origin(std::chrono::steady_clock::time_point origin);

    DspGraph& graph() { return dsp; }
    // Offline: computes the blocks that end at or before `seconds`.
    void render_until(double seconds);
    // Closes the file or the client; false when writing failed.
    bool finish();

private:
    bool start_graph(const std::string& soundfont, int rate, int block);

    DspGraph dsp;
    sf_private_tag* file = nullptr;
    std::string file_path;
    int rate = 44100;
    long long rendered = 0; // samples written
    bool write_failed = false;
    std::vector<float> left, right, interleaved;
    struct Jack;
    std::unique_ptr<Jack> jack;
};
