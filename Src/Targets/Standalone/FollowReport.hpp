// What `cadenzium follow` says about a performance: one human line per
// position change (and later per fired message), and the same as JSON Lines
// in a trace file.
#pragma once

#include <cstdio>
#include <fstream>
#include <memory>
#include <ostream>
#include <string>

class Event;

struct PositionReport {
    double time = 0;
    int index = 0;
    double beat = 0;
    double tempo = 0;
    std::string label;
};

class FollowReport {
public:
    FollowReport(std::ostream* human, std::ostream* trace) : human(human), trace(trace) {}

    void position(const PositionReport& report);

    // The progress bar on a terminal: fraction done of the performance.
    void progress(double done, double total);
    void end_progress();
    void show_progress(bool on) { progress_on = on; }

private:
    std::ostream* human;
    std::ostream* trace;
    bool progress_on = false;
    int last_percent = -1;
};
