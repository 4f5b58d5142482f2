// An engine that listens by audio on inlet 0 ("KL"), fed block by block from
// a synthesised performance on a virtual clock, keeping each position it
// reports with the time it reported it, and its console.
#pragma once

#include "Synth.hpp"
#include "TestEngine.hpp"

#include <string>
#include <vector>

constexpr int kRate = 44100;

class AudioEngine : public TestEngine {
public:
    explicit AudioEngine(int block = 256)
        : block(block) {
        obs_iomap.erase("MIDI");
        obs_iomap["KL"] = 0;
    }

    float Blocksize() const override { return static_cast<float>(block); }
    float Samplerate() const override { return kRate; }
    double GetTime() const override { return now; }
    void report_position(int index, const Event* e) override {
        TestEngine::report_position(index, e);
        times.push_back(now);
    }

    // Reads the score, takes the default analysis for the block size and
    // starts following; the report of the start position is not kept.
    bool start(const std::string& score) {
        if (!load(score)) return false;
        cadenzium_analysisParameters(-1, -1);
        cadenzium_start();
        positions.clear();
        times.clear();
        return is_running();
    }

    // Feeds `audio` a block at a time from the clock's current time; a block
    // is delivered at the time its last sample was captured.
    void play(const std::vector<float>& audio) {
        const double start = now;
        for (size_t i = 0; i + static_cast<size_t>(block) <= audio.size(); i += static_cast<size_t>(block)) {
            now = start + static_cast<double>(i + static_cast<size_t>(block)) / kRate;
            cadenzium_next_frame(audio.data() + i);
        }
    }

    // The time event `index` was first reported, or -1.
    double first_report(int index) const {
        for (size_t i = 0; i < positions.size(); ++i)
            if (positions[i] == index) return times[i];
        return -1;
    }

    ConsoleCapture console;
    int block;
    double now = 0;
    std::vector<double> times;
};

// A score and its performance from one list of parts: the score at its
// written tempo, the performance at the periods given, note by note.
struct Piece {
    std::vector<SynthPart> parts;
    double bpm = 60;

    std::string score() const;
    // Onsets of the parts when part i lasts parts[i].beats * periods[i].
    std::vector<double> onsets(const std::vector<double>& periods, double start) const;
    std::vector<SynthNote> performance(const std::vector<double>& periods, double start) const;
};
