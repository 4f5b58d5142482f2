// An engine for tests, behind a host port of the test's own: it listens by
// MIDI on inlet 0, runs on its virtual clock, records the positions and the
// messages it is handed, and reads scores from text.
#pragma once

#include "ConsoleCapture.hpp"
#include "RunTime/CadenziumCore.hpp"
#include "RunTime/Environment_RunTime.hpp"
#include "RunTime/HostPort.hpp"
#include "ScoreFiles.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <string>
#include <vector>

class TestHost : public HostPort {
public:
    explicit TestHost(HostClocks* clocks = nullptr)
        : host_clocks(clocks)
        , engine(*this) {
        engine.set_inlet("MIDI", 0);
    }

    void send_message(const message& m) override { on_message(m); }
    void report_position(int index, const Event* e, double time, double tempo) override {
        positions.push_back(index);
        on_position(index, e, time, tempo);
    }
    HostClocks* clocks() override { return host_clocks; }
    float sample_rate() const override { return rate; }
    float block_size() const override { return block; }

    // What a test host does with what it is handed, beyond keeping the
    // positions.
    virtual void on_message(const message&) {}
    virtual void on_position(int, const Event*, double, double) {}

    // Loads a score given as text; false when it does not read.
    bool load(const std::string& text) {
        TempScore file(text);
        return engine.ScoreParsing(file.path);
    }

    Score& score() { return *engine.score(); }
    Event& event(int i) { return *score().events.at(static_cast<size_t>(i)); }
    Runtime& runtime() { return engine.runtime(); }
    GlobalEnvironment& env() { return engine.runtime().env; }

    std::vector<int> positions;
    float rate = 44100.0f;
    float block = 512.0f;

private:
    HostClocks* host_clocks;

public:
    // Last: built once the port is ready.
    cadenzium_core engine;
};
