#include "FollowReport.hpp"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdio>

void FollowReport::position(const PositionReport& r) {
    if (human) {
        char line[256];
        std::snprintf(line, sizeof line, "%10.3fs  event %-5d beat %-9.3f tempo %6.1f", r.time, r.index, r.beat,
                      r.tempo);
        *human << line;
        if (!r.label.empty()) *human << "  \"" << r.label << '"';
        *human << '\n';
    }
    if (trace) {
        nlohmann::json j = {{"t", r.time},       {"type", "position"}, {"index", r.index},
                            {"beat", r.beat},    {"tempo", r.tempo},   {"label", r.label}};
        *trace << j.dump() << '\n';
    }
}

void FollowReport::progress(double done, double total) {
    if (!progress_on || total <= 0) return;
    const int percent = static_cast<int>(std::floor(100.0 * std::min(1.0, done / total)));
    if (percent == last_percent) return;
    last_percent = percent;
    const int width = 40;
    const int filled = percent * width / 100;
    std::fprintf(stderr, "\r[%.*s%*s] %3d%%", filled, "========================================", width - filled, "",
                 percent);
    std::fflush(stderr);
}

void FollowReport::end_progress() {
    if (progress_on && last_percent >= 0) std::fprintf(stderr, "\n");
    last_percent = -1;
}
