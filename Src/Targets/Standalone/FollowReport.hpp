// What `cadenzium follow` says about a performance: one human line per
// position change and per message of the score, and the same as JSON Lines
// in a trace file. Lines come from the decoding thread and, in real time,
// from the clock thread: each is written whole.
#pragma once

#include <cstdio>
#include <fstream>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>

#include "Exp/Values.hpp"

#include <vector>

class Event;
struct message;

// A position change as the engine reports it; the event (which the score
// owns) gives the beat and the label when the line is written.
struct PositionReport {
    double time = 0;
    int index = 0;
    const Event* event = nullptr;
    double tempo = 0;
};

class FollowReport {
public:
    // `trace_name` names the trace in the report of a failed write.
    FollowReport(std::ostream* human, std::ostream* trace, std::string trace_name = {})
        : human(human)
        , trace(trace)
        , trace_name(std::move(trace_name)) {}

    void position(const PositionReport& report);
    // A message at its logical date.
    void message(const ::message& m);
    // A command given while following, at the engine's time.
    void command(double time, const std::string& name, const std::vector<Value>& args);

    // The progress bar on a terminal: fraction done of the performance.
    void progress(double done, double total);
    void end_progress();
    void show_progress(bool on) { progress_on = on; }

    // Writes out what the trace still holds; whether every line was written.
    bool finish_trace();

private:
    // A human line, with the progress bar taken off the terminal first and
    // drawn again after.
    void say(const std::string& line);
    void trace_line(const std::string& json);
    void check_trace();
    void draw_progress();

    std::ostream* human;
    std::ostream* trace;
    std::string trace_name;
    std::mutex lines;
    bool progress_on = false;
    int last_percent = -1;
    bool trace_failed = false;
};
