// Scores and their synthesised performances for the program's tests: a
// melody written at one tempo, played (rendered to audio) at another, and
// the trace of `cadenzium follow` read back.
#pragma once

#include "Synth.hpp"

#include <map>
#include <string>
#include <vector>

struct Melody {
    std::vector<int> pitches;
    double beats = 1; // every note
    double bpm = 60;  // as written

    std::string score() const;
    // Onsets when played at `bpm` from `start` seconds.
    std::vector<double> onsets(double played_bpm, double start) const;
    std::vector<SynthNote> performance(double played_bpm, double start) const;
};

// A melody of `n` notes that never repeats a pitch twice in a row.
Melody melody(int n, double bpm = 60);

struct TraceRead {
    std::map<int, double> first_report;                   // event index -> time
    std::vector<int> positions;                           // every position, in order
    std::vector<std::pair<double, std::string>> messages; // time, receiver
};
TraceRead read_trace(const std::string& path);

// Events 1..onsets.size() whose first report lies in [onset, onset + late).
int reported_in_time(const TraceRead& trace, const std::vector<double>& onsets, double late);
