// What the follow benchmark keeps of one case: the reports of the follower,
// the time it spent, and the per-event dump that shows where it went wrong.
#pragma once

#include "FollowScoring.hpp"

#include <filesystem>
#include <map>
#include <string>
#include <vector>

// Time spent, by the wall clock and by this process's processor time: on a
// machine shared with other work the second is what one core costs.
struct Spent {
    double wall = 0;
    double cpu = 0;
    void add(const Spent& o) {
        wall += o.wall;
        cpu += o.cpu;
    }
};

// Measures from construction to stop().
class Stopwatch {
public:
    Stopwatch();
    Spent stop() const;

private:
    double wall_start;
    double cpu_start;
};

// Every position the follower reported, in order, with the tempo it held.
struct Report {
    double time;
    int index;
    double bpm;
};

struct CaseRun {
    bool ok = false;
    std::map<int, double> first_report; // event index -> time first reported
    std::vector<Report> reports;
    Spent following;
    double render_seconds = 0;       // audio mode: rendering the performance (wall clock)
    double duration = 0;             // of the performance, seconds
    long hops = 0;                   // audio mode: blocks fed to the engine
    std::vector<double> hop_seconds; // per block, when timed
};

// The case folders of `data` whose name contains `only`, sorted.
std::vector<std::filesystem::path> list_cases(const std::filesystem::path& data, const std::string& only);

// Per event: truth against the first report (`<case>.events.tsv`), and the
// whole sequence of reports (`<case>.reports.tsv`), to see where and why the
// follower loses the player.
void dump_case(const std::filesystem::path& out_dir, const std::string& name,
               const std::vector<TruthEvent>& truth, const CaseRun& run, double tolerance);
