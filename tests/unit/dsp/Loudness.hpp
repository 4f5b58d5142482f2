// The loudness of a rendered sound file, for tests that check where a
// score's own sound plays and where it is silent.
#pragma once

#include "AudioFile.hpp"

#include <algorithm>
#include <cmath>
#include <cstddef>

// The loudness (RMS) of the first channel between two dates, in seconds.
inline double loudness(const AudioFile& sound, double from, double to) {
    const auto first = static_cast<std::size_t>(from * sound.sample_rate);
    const auto last = std::min(sound.samples.size(), static_cast<std::size_t>(to * sound.sample_rate));
    double sum = 0;
    for (std::size_t i = first; i < last; ++i)
        sum += static_cast<double>(sound.samples[i]) * sound.samples[i];
    return last > first ? std::sqrt(sum / static_cast<double>(last - first)) : 0.0;
}
