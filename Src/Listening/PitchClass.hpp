// The key of an observation template: what a state expects to hear. States
// with equal pitch classes share one template and one observation history.
#pragma once

#include <string>
#include <vector>

class PitchClass {
public:
    PitchClass() = default;
    PitchClass(std::vector<float> p, float v)
        : pitches(std::move(p))
        , variance(v) {}

    // Lexicographic over pitches, tied pitches, variance, harmonic list,
    // piano flag.
    bool operator<(const PitchClass& other) const;
    bool operator==(const PitchClass& other) const = default;

    // No pitch, or a list that starts and ends with a non-positive value.
    bool isSilence() const;
    // The number of pitches above 0.
    int positive_count() const;
    std::string toString() const;

    // Midicents or MIDI numbers; 0 or less means silence.
    std::vector<float> pitches;
    // The pitches held over from the previous event (written negative in
    // the score): heard, but not struck again.
    std::vector<float> tied;
    float variance = 0;
    std::vector<double> harmlist;
    bool piano = false;
};
