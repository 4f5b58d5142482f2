// Scoring a follow against the truth of a performance: for each event with
// a known onset, whether it was first reported within a tolerance of it.
#pragma once

#include <map>
#include <string>
#include <vector>

struct TruthEvent {
    int index = 0;
    double beat = 0;
    double onset = -1; // seconds; negative when none of its notes was played
};

// Reads `index beat onset_s notes matched` lines (a header line first; '-'
// for an onset that was not played).
std::vector<TruthEvent> read_truth(const std::string& path);

struct FollowScore {
    int evaluated = 0;
    int correct = 0;
    int missed = 0;
    int misaligned = 0;
    double error_sum = 0;  // of correct events, seconds
    double completion = 0; // last correctly detected index over the last index (summed when pooled)

    double precision() const { return evaluated ? static_cast<double>(correct) / evaluated : 0; }
    double miss_rate() const { return evaluated ? static_cast<double>(missed) / evaluated : 0; }
    double mean_error() const { return correct ? error_sum / correct : 0; }
    void add(const FollowScore& other);
};

// `reports` maps an event index to the first time it was reported.
FollowScore score_follow(const std::vector<TruthEvent>& truth, const std::map<int, double>& reports,
                         double tolerance);
