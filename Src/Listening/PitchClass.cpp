#include "Listening/PitchClass.hpp"

#include "Base/Console.hpp"

#include <tuple>

bool PitchClass::operator<(const PitchClass& other) const {
    return std::tie(pitches, tied, variance, harmlist, piano) <
           std::tie(other.pitches, other.tied, other.variance, other.harmlist, other.piano);
}

bool PitchClass::isSilence() const {
    return pitches.empty() || (pitches.front() <= 0 && pitches.back() <= 0);
}

int PitchClass::positive_count() const {
    int n = 0;
    for (float p : pitches)
        if (p > 0) ++n;
    return n;
}

std::string PitchClass::toString() const {
    std::string text;
    for (float p : pitches)
        text += str_printf("%g ", p);
    if (!tied.empty()) {
        text += "tied ";
        for (float p : tied)
            text += str_printf("%g ", p);
    }
    text += str_printf(" var=%g, PianoMode=%d , harm=(", variance, piano ? 1 : 0);
    for (size_t i = 0; i < harmlist.size(); ++i)
        text += str_printf(i ? " %g" : "%g", harmlist[i]);
    return text + ")";
}
