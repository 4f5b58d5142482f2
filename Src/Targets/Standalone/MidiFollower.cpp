#include "MidiFollower.hpp"

#include "StandaloneHost.hpp"

#include <chrono>
#include <thread>

MidiFollower::MidiFollower(StandaloneHost& h, std::vector<MidiNote> n, double d)
    : host(h)
    , notes(std::move(n))
    , duration(d) {}

void MidiFollower::advance_clock(double t, bool realtime) {
    if (realtime) host.wait_until(t);
    host.set_time(t);
}

void MidiFollower::deliver_notes_until(double t) {
    for (; next_note < notes.size() && notes[next_note].time <= t; ++next_note) {
        const MidiNote& note = notes[next_note];
        host.set_time(note.time);
        host.deliver_note(note.pitch, note.velocity);
    }
}

void MidiFollower::run(bool realtime, double tail, const std::function<void(double)>& progress) {
    const double hop = host.engine().analysis_hop_size() / host.engine().analysis_sample_rate();
    const double end = duration + tail;
    if (realtime) host.start_wall_clock();
    long step = 0;
    for (double t = 0; t <= end && !host.engine().stopped_by_fault(); t = static_cast<double>(++step) * hop) {
        // Notes first, each at its own time, then the hop's decoding step.
        if (realtime && next_note < notes.size() && notes[next_note].time <= t)
            host.wait_until(notes[next_note].time);
        deliver_notes_until(t);
        advance_clock(t, realtime);
        host.decoding_step();
        if (progress && step % 256 == 0) progress(t);
    }
    if (progress) progress(end);
}
