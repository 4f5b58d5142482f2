#include "PerformanceFiles.hpp"

#include <nlohmann/json.hpp>

#include <fstream>

std::string Melody::score() const {
    std::string text = "BPM " + std::to_string(static_cast<int>(bpm)) + "\n";
    for (int p : pitches)
        text += "NOTE " + std::to_string(p) + " " + std::to_string(beats) + "\n";
    return text;
}

std::vector<double> Melody::onsets(double played_bpm, double start) const {
    std::vector<double> times;
    for (size_t i = 0; i < pitches.size(); ++i)
        times.push_back(start + static_cast<double>(i) * beats * 60.0 / played_bpm);
    return times;
}

std::vector<SynthNote> Melody::performance(double played_bpm, double start) const {
    const std::vector<double> at = onsets(played_bpm, start);
    const double length = beats * 60.0 / played_bpm - 0.03;
    std::vector<SynthNote> notes;
    for (size_t i = 0; i < pitches.size(); ++i)
        notes.push_back({at[i], {static_cast<float>(pitches[i])}, length, 100});
    return notes;
}

Melody melody(int n, double bpm) {
    static const int steps[] = {0, 4, 7, 5, 9, 2, 11, 12, 10, 3};
    Melody m;
    m.bpm = bpm;
    for (int i = 0; i < n; ++i)
        m.pitches.push_back(60 + steps[i % 10]);
    return m;
}

TraceRead read_trace(const std::string& path) {
    TraceRead read;
    std::ifstream in(path);
    for (std::string line; std::getline(in, line);) {
        const auto j = nlohmann::json::parse(line);
        const double t = j["t"].get<double>();
        if (j["type"] == "message") {
            read.messages.emplace_back(t, j["receiver"].get<std::string>());
            continue;
        }
        const int index = j["index"].get<int>();
        read.positions.push_back(index);
        read.first_report.emplace(index, t);
    }
    return read;
}

int reported_in_time(const TraceRead& trace, const std::vector<double>& onsets, double late) {
    int count = 0;
    for (size_t i = 0; i < onsets.size(); ++i) {
        const auto it = trace.first_report.find(static_cast<int>(i) + 1);
        if (it != trace.first_report.end() && it->second >= onsets[i] && it->second < onsets[i] + late)
            ++count;
    }
    return count;
}
