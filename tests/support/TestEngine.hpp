// An engine for tests: listens by MIDI on inlet 0, records the positions it
// is told, and reads scores from text.
#pragma once

#include "ConsoleCapture.hpp"
#include "RunTime/CadenziumCore.hpp"
#include "ScoreFiles.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <string>
#include <vector>

class TestEngine : public cadenzium_core {
public:
    TestEngine() { obs_iomap["MIDI"] = 0; }

    void report_position(int index, const Event*) override { positions.push_back(index); }
    void set_inlet(const std::string& kind, int number) { obs_iomap[kind] = number; }

    // Loads a score given as text; false when it does not read.
    bool load(const std::string& text) {
        TempScore file(text);
        return ScoreParsing(file.path);
    }

    Score& score() { return *get_x_netscore(); }
    Event& event(int i) { return *score().events.at(static_cast<size_t>(i)); }

    std::vector<int> positions;
};
