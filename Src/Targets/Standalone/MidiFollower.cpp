#include "MidiFollower.hpp"

#include "StandaloneHost.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <thread>

MidiFollower::MidiFollower(StandaloneHost& h, std::vector<MidiNote> n, double d, std::vector<MidiControl> c)
    : host(h)
    , notes(std::move(n))
    , controls(std::move(c))
    , duration(d) {}

void MidiFollower::advance_clock(double t, bool realtime) {
    if (realtime) host.wait_until(t);
    host.set_time(t);
}

void MidiFollower::begin_at(double t) {
    origin = t;
    for (MidiNote& note : notes)
        note.time += t;
    for (MidiControl& control : controls)
        control.time += t;
}

// In time order; a controller change before a note of the same time.
void MidiFollower::deliver_notes_until(double t) {
    for (;;) {
        const bool note = next_note < notes.size() && notes[next_note].time <= t;
        const bool control = next_control < controls.size() && controls[next_control].time <= t;
        if (control && (!note || controls[next_control].time <= notes[next_note].time)) {
            const MidiControl& c = controls[next_control++];
            host.set_time(c.time);
            host.deliver_control(c.number, c.value);
        } else if (note) {
            const MidiNote& n = notes[next_note++];
            host.set_time(n.time);
            host.deliver_note(n.pitch, n.velocity);
        } else {
            return;
        }
    }
}

// Offline, silence costs nothing: once the machine has waited for notes
// for a few seconds (what was heard has faded by then), the hops up to a
// second before the next note, or the end, are skipped. The clock still
// passes through them, so timed actions fire at their times.
constexpr double kSettle = 5.0;
constexpr double kLeadIn = 1.0;

long MidiFollower::skip_silence(long step, double t, double hop, double end) {
    if (!host.engine().waiting_for_notes()) {
        waiting_since = -1;
        return step;
    }
    if (waiting_since < 0) waiting_since = t;
    if (t - waiting_since < kSettle) return step;
    const double next = next_note < notes.size() ? std::min(notes[next_note].time, end) : end;
    const long resume = static_cast<long>(std::floor((next - origin - kLeadIn) / hop));
    return std::max(step, resume - 1);
}

void MidiFollower::run(bool realtime, double tail, const std::function<void(double)>& progress) {
    const double hop = host.engine().analysis_hop_size() / host.engine().analysis_sample_rate();
    if (!realtime) begin_at(host.engine().GetTime());
    const double end = origin + duration + tail;
    if (realtime) host.start_wall_clock();
    long step = 0;
    for (double t = origin; t <= end && !host.engine().stopped_by_fault();
         t = origin + static_cast<double>(++step) * hop) {
        // Notes first, each at its own time, then the hop's decoding step.
        if (realtime && next_note < notes.size() && notes[next_note].time <= t)
            host.wait_until(notes[next_note].time);
        deliver_notes_until(t);
        advance_clock(t, realtime);
        host.decoding_step();
        if (!realtime) step = skip_silence(step, t, hop, end);
        if (progress && step % 256 == 0) progress(t - origin);
    }
    if (progress) progress(end - origin);
}
