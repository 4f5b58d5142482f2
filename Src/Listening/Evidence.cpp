#include "Listening/Evidence.hpp"

#include <algorithm>
#include <cmath>

double power_of_count(double x, double n) {
    if (n <= 0) return 1.0;
    if (n == std::floor(n) && n <= 8) {
        double r = x;
        for (int i = 1; i < static_cast<int>(n); ++i)
            r *= x;
        return r;
    }
    return std::pow(x, n);
}

PhaseValues phase_values(const AttackCount& a, double sound, const EvidenceSettings& s, bool expects_attack) {
    const double heard = std::pow(std::max(sound, s.sound_floor), s.sound_power);
    const double foreign = power_of_count(s.extra, std::max(0.0, a.total - a.own));
    const double settled = heard * foreign * power_of_count(s.restrike, a.own);
    if (!expects_attack) return {settled, settled, settled};
    // A tied pitch struck at the entry is a re-strike as well. A wrong note
    // takes the place of a missing strike, and of its sound (what sounds is
    // the wrong key); it is then no extra attack.
    const double announced = std::min(a.struck, 1.0);
    const double wrong = s.wrong_note > 0 ? std::min(a.near, 1.0 - announced) : 0.0;
    const double others = power_of_count(s.extra, std::max(0.0, a.total - a.own - wrong));
    const double entry =
        others * power_of_count(s.restrike, std::max(0.0, a.own - a.struck)) *
        (heard * (announced + (1.0 - announced - wrong) * s.unannounced) + wrong * s.wrong_note);
    return {entry, heard * foreign, settled};
}

int EvidenceSettings::early_length(double frames) const {
    const int by_length = static_cast<int>(early_fraction * frames);
    return std::max(early_frames, std::min(by_length, early_limit));
}
