#include "AudioRig.hpp"

#include <cassert>

std::string Piece::score() const {
    std::string text = "BPM " + std::to_string(static_cast<int>(bpm)) + "\n";
    for (const SynthPart& p : parts) {
        const std::string beats = std::to_string(p.beats);
        if (p.pitches.size() == 1) {
            text += "NOTE " + std::to_string(static_cast<int>(p.pitches[0])) + " " + beats + "\n";
            continue;
        }
        if (p.pitches.empty()) {
            text += "NOTE 0 " + beats + "\n";
            continue;
        }
        text += "CHORD (";
        for (float pitch : p.pitches)
            text += std::to_string(static_cast<int>(pitch)) + " ";
        text += ") " + beats + "\n";
    }
    return text;
}

std::vector<double> Piece::onsets(const std::vector<double>& periods, double start) const {
    assert(periods.size() == parts.size() && "one period per part");
    std::vector<double> out;
    double t = start;
    for (size_t i = 0; i < parts.size(); ++i) {
        out.push_back(t);
        t += parts[i].beats * periods[i];
    }
    return out;
}

std::vector<SynthNote> Piece::performance(const std::vector<double>& periods, double start) const {
    const std::vector<double> at = onsets(periods, start);
    std::vector<SynthNote> notes;
    for (size_t i = 0; i < parts.size(); ++i) {
        if (parts[i].pitches.empty()) continue;
        notes.push_back({at[i], parts[i].pitches, parts[i].beats * periods[i] - 0.03, 100});
    }
    return notes;
}
