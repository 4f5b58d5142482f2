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
    FollowReport(std::ostream* human, std::ostream* trace)
        : human(human)
        , trace(trace) {}

    void position(const PositionReport& report);
    // A message at its logical date.
    void message(const ::message& m);

    // The progress bar on a terminal: fraction done of the performance.
    void progress(double done, double total);
    void end_progress();
    void show_progress(bool on) { progress_on = on; }

private:
    std::ostream* human;
    std::ostream* trace;
    std::mutex lines;
    bool progress_on = false;
    int last_percent = -1;
};
