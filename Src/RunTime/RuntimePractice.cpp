// Practice: the musician rehearses alone, the score's actions silent, and
// each onset is measured against the score: against the written time from
// the onset before it, at the score's tempo (not the tempo followed, which
// bends with the musician). An onset more than 100 ms off counts as a
// timing miss; a tempo heard further from the score's than the tolerance
// is said.
#include "RunTime/Runtime.hpp"

#include "Base/Console.hpp"
#include "Tree/Event.hpp"

#include <cmath>

namespace {

// The limit, in milliseconds, beyond which an onset is early or late.
constexpr double kTimingLimitMs = 100.0;

std::string event_text(const Event& e) {
    std::string text = e.type_string() + " " + e.pitch_list_string();
    if (!e.cuename().empty()) text += " \"" + e.cuename() + "\"";
    return text;
}

} // namespace

// How early (positive) or late event `e`, heard at `onset`, came after the
// event before it, against the score's written time between them, in
// milliseconds. Only an event heard right after the one before it is timed:
// across a jump, the written time is not what the onsets span (and the
// jump counts already); and the event a jump lands on is heard late, once
// the follower is sure, so the event after it is not timed either. False
// when `e` is not timed (nor is the top of the score an onset).
bool Runtime::practice_timing(const Event& e, double onset, double& error_ms) {
    if (e.index() == 0) return false;
    const double previous = practice.last_onset;
    const bool follows = previous_event && e.notenum() == previous_event->notenum() + 1;
    const bool timed = follows && previous >= 0 && practice.steady;
    practice.last_onset = onset;
    practice.steady = follows;
    if (!timed) return false;
    const Event& from = *previous_event;
    const double written = from.IOI_beat_duration() * std::fabs(from.ScoreTempo());
    error_ms = (written - (onset - previous)) * 1000.0;
    return true;
}

void Runtime::practice_action(const Event& e, const PositionFacts& facts) {
    double err = 0;
    if (!practice_timing(e, facts.onset_time, err)) return;
    if (err > kTimingLimitMs)
        post("Cadenzium -     EARLY event %i, %s by %.0f milli-seconds", e.notenum(), event_text(e).c_str(),
             err);
    else if (err < -kTimingLimitMs)
        post("Cadenzium -     LATE  event %i, %s by %.0f milli-seconds", e.notenum(), event_text(e).c_str(),
             -err);
    if (std::fabs(err) > kTimingLimitMs) {
        // The size of the miss, early or late alike: the mean says how far
        // off the musician was, not which way.
        practice.timing_error_sum += static_cast<float>(std::fabs(err));
        practice.timing_misses += 1;
        practice.missed_count += 1;
        practice.missed_duration += static_cast<float>(e.beat_duration());
        practice.missed_events.push_back(e.index());
    }
    const double written = e.ScoreTempo() != 0 ? 60.0 / std::fabs(e.ScoreTempo()) : 0.0;
    if (written > 0 && std::fabs(facts.tempo_bpm - written) > switches.bpm_tolerance)
        post("Cadenzium -     TEMPO at event %i, %s: %.1f BPM against %.1f in the score", e.notenum(),
             event_text(e).c_str(), facts.tempo_bpm, written);
}
