// A listening machine driven by hand on a score the reader read: a driver
// and a tempo of the test's own on a MIDI inlet, whose decisions an engine
// accepts (or refuses) as it does its own, keeping the positions it
// reports; and helpers that play notes and run decoding steps.
#pragma once

#include "Listening/CadAlign.hpp"
#include "Listening/StateChain.hpp"
#include "Listening/Tempo.hpp"
#include "TestEngine.hpp"

#include <cmath>
#include <map>
#include <string>

// Restores the shared parameters of inference when a test ends.
struct ParameterGuard {
    ~ParameterGuard() { StateChain::restore_default_parameters(); }
};

// Decoding steps per second at the default analysis (hop 512 at 44.1 kHz).
constexpr double FRAMES_PER_SECOND = 44100.0 / 512.0;

class ListeningRig {
public:
    explicit ListeningRig(const std::string& score_text) {
        StateChain::restore_default_parameters();
        loaded = host.load(score_text);
        if (!loaded) return;
        inlets["MIDI"] = 0;
        align.setAnalysis(44100.0f, 4096.0f, 512.0f);
        align.setScore(&host.score());
        tempo.TempoUpdate(std::fabs(host.score().events[1]->ScoreTempo()));
        align.setPointers(&inlets, &tempo);
    }

    void note_on(float pitch) { send(pitch, 100); }
    void note_off(float pitch) { send(pitch, 0); }
    // One list at the MIDI inlet and its decoding step.
    void send(float pitch, float velocity) {
        receive(pitch, velocity);
        step();
    }
    // One decoding step, its decision followed as the engine follows its
    // own machine's.
    void step() { engine.follow(align, align.Align(engine.GetTime())); }
    // A list that arrives within the same hop as the next one: no step.
    void press(float pitch) { receive(pitch, 100); }
    void release(float pitch) { receive(pitch, 0); }
    void receive(float pitch, float velocity) {
        const float values[2] = {pitch, velocity};
        align.set_observation(0, values, 2);
        align.MIDI_prepareObs();
    }
    void frames(int n) {
        for (int i = 0; i < n; ++i)
            step();
    }
    // Holds a note for `beats` at `period` seconds per beat, released just
    // before the next one.
    void play(float pitch, double beats, double period = 1.0) {
        const int length = static_cast<int>(beats * period * FRAMES_PER_SECOND);
        note_on(pitch);
        frames(length - 3);
        note_off(pitch);
        frames(1);
    }
    StateChain& chain() { return *align.chain; }
    int position() const { return engine.Position(); }

    ConsoleCapture console;
    TestHost host;
    cadenzium_core& engine = host.engine;
    std::vector<int>& positions = host.positions;
    std::map<std::string, int> inlets;
    t_tempo tempo;
    CadAlign align;
    bool loaded = false;
};
