// Practice: the musician rehearses alone, the score's actions silent, and
// each onset is measured against the score. The engine times an onset
// against the time written from the onset before it, at the period the
// tempo tracker follows: positive when early, negative when late. An onset
// more than 100 ms off is said at once, adds its signed error to the sum
// the report averages, and makes the event reached count as a timing miss.
// A tempo heard further from the score's than the tolerance is said.
#include "RunTime/Runtime.hpp"

#include "Base/Console.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <cmath>
#include <sstream>

namespace {

// The limit, in milliseconds, beyond which an onset is early or late.
constexpr double kTimingLimitMs = 100.0;

bool beyond_limit(double error_ms) {
    return std::fabs(error_ms) > kTimingLimitMs;
}

} // namespace

std::string Runtime::practice_event_text(const Event& e) const {
    std::ostringstream out;
    if (score) score->print_event(out, e.index());
    return out.str();
}

// Before the missed events are counted: in practice, an onset beyond the
// limit makes the event it reaches a timing miss.
void Runtime::practice_onset(const PositionFacts& facts) {
    switches.practice_on = switches.play_state == 1 && facts.timed && beyond_limit(facts.timing_error_ms);
}

// In practice mode this takes the place of the event's actions.
void Runtime::practice_action(const Event& e, const PositionFacts& facts) {
    if (facts.timed) practice_timing(e, static_cast<float>(facts.timing_error_ms));
    practice_tempo(e, facts.tempo_bpm);
}

void Runtime::practice_timing(const Event& e, float error_ms) {
    if (!beyond_limit(error_ms)) return;
    const std::string text = practice_event_text(e);
    if (error_ms > 0)
        post("Cadenzium -     EARLY event %i, %s by %.0f milli-seconds", e.notenum(), text.c_str(),
             static_cast<double>(error_ms));
    else
        post("Cadenzium -     LATE  event %i, %s by %.0f milli-seconds", e.notenum(), text.c_str(),
             static_cast<double>(-error_ms));
    practice.timing_error_sum += error_ms;
}

void Runtime::practice_tempo(const Event& e, double tempo_bpm) {
    const double written = e.ScoreTempo() != 0 ? 60.0 / std::fabs(e.ScoreTempo()) : 0.0;
    if (written > 0 && std::fabs(tempo_bpm - written) > switches.bpm_tolerance)
        post("Cadenzium -     TEMPO at event %i, %s: %.1f BPM against %.1f in the score", e.notenum(),
             practice_event_text(e).c_str(), tempo_bpm, written);
}
