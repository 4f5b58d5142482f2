// The piano key nearest a score pitch, given as a MIDI number or in
// midicents (tied notes carry a negative pitch).
#pragma once

#include <cmath>

inline int nearest_key(float pitch) {
    double p = std::fabs(pitch);
    if (p > 127) p /= 100.0;
    return static_cast<int>(std::lround(p));
}
