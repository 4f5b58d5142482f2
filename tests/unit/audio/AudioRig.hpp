// An engine that listens by audio on inlet 0 ("KL"), fed block by block from
// a synthesised performance on its virtual clock, keeping each position it
// reports with the time it reported it, and its console.
#pragma once

#include "Synth.hpp"
#include "TestEngine.hpp"

#include <string>
#include <vector>

constexpr int kRate = 44100;

class AudioRig : public TestHost {
public:
    explicit AudioRig(int block_size = 256) {
        engine.erase_inlet("MIDI");
        engine.set_inlet("KL", 0);
        block = static_cast<float>(block_size);
        rate = kRate;
    }

    void on_position(int, const Event*, double time, double) override { times.push_back(time); }

    // Reads the score, takes the default analysis for the block size and
    // starts following; the report of the start position is not kept.
    bool start(const std::string& score) {
        if (!load(score)) return false;
        engine.cadenzium_analysisParameters(-1, -1);
        engine.cadenzium_start();
        positions.clear();
        times.clear();
        return engine.is_running();
    }

    // Feeds `audio` a block at a time from the clock's current time; a block
    // is delivered at the time its last sample was captured.
    void play(const std::vector<float>& audio) {
        const double start = now;
        const auto n = static_cast<size_t>(block);
        for (size_t i = 0; i + n <= audio.size(); i += n) {
            now = start + static_cast<double>(i + n) / kRate;
            engine.time().advance_to(now);
            engine.cadenzium_next_frame(audio.data() + i);
        }
    }

    // The time event `index` was first reported, or -1.
    double first_report(int index) const {
        for (size_t i = 0; i < positions.size(); ++i)
            if (positions[i] == index) return times[i];
        return -1;
    }

    ConsoleCapture console;
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
