// Reading scores in tests without an engine: the reader against a runtime
// as the value layer sees it (TestContext), from a text or a file.
#pragma once

#include "Parser/ParseDriver.hpp"
#include "ScoreFiles.hpp"
#include "TestContext.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <memory>
#include <string>

class TestReading {
public:
    TestReading() { inlets["MIDI"] = 0; }

    // Reads `text` as a score file; false when it does not read.
    bool load(const std::string& text) {
        TempScore file(text);
        return load_file(file.path);
    }
    bool load_file(const std::string& path) {
        ctx.global.clear();
        Reading reading = read_score_file(path, {&ctx, &inlets, 0, false});
        diagnostics = reading.diagnostics;
        read = std::move(reading.score);
        return read != nullptr;
    }

    Score& score() { return *read; }
    Event& event(int i) { return *read->events.at(static_cast<size_t>(i)); }

    TestContext ctx;
    InletMap inlets;
    std::unique_ptr<Score> read;
    Diagnostics diagnostics;
};
