#include "FollowCases.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <ctime>
#include <fstream>

namespace fs = std::filesystem;

namespace {

double wall_seconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

double process_cpu_seconds() {
    timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

const char* status_of(const TruthEvent& e, const std::map<int, double>& first, double tolerance) {
    const auto it = first.find(e.index);
    if (e.onset < 0) return "unplayed";
    if (it == first.end()) return "missed";
    return std::fabs(it->second - e.onset) <= tolerance ? "correct" : "misaligned";
}

void write_event(std::ostream& out, const TruthEvent& e, const std::map<int, double>& first,
                 double tolerance) {
    const auto it = first.find(e.index);
    const bool reported = it != first.end();
    out << e.index << '\t' << e.beat << '\t';
    if (e.onset < 0)
        out << '-';
    else
        out << e.onset;
    out << '\t';
    if (reported)
        out << it->second;
    else
        out << '-';
    out << '\t';
    if (e.onset >= 0 && reported)
        out << 1000 * (it->second - e.onset);
    else
        out << '-';
    out << '\t' << status_of(e, first, tolerance) << '\n';
}

} // namespace

Stopwatch::Stopwatch()
    : wall_start(wall_seconds())
    , cpu_start(process_cpu_seconds()) {}

Spent Stopwatch::stop() const {
    return {wall_seconds() - wall_start, process_cpu_seconds() - cpu_start};
}

std::vector<fs::path> list_cases(const fs::path& data, const std::string& only) {
    std::vector<fs::path> cases;
    for (const auto& entry : fs::directory_iterator(data))
        if (entry.is_directory() && entry.path().filename().string().find(only) != std::string::npos)
            cases.push_back(entry.path());
    std::sort(cases.begin(), cases.end());
    return cases;
}

void dump_case(const fs::path& out_dir, const std::string& name, const std::vector<TruthEvent>& truth,
               const CaseRun& run, double tolerance) {
    std::ofstream events(out_dir / (name + ".events.tsv"));
    events << "index\tbeat\ttruth_s\treported_s\terror_ms\tstatus\n";
    for (const TruthEvent& e : truth)
        write_event(events, e, run.first_report, tolerance);
    std::ofstream reports(out_dir / (name + ".reports.tsv"));
    reports << "time_s\tindex\tbpm\n";
    for (const Report& r : run.reports)
        reports << r.time << '\t' << r.index << '\t' << r.bpm << '\n';
}
