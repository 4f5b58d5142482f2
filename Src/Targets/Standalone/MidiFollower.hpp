// Drives the engine through a recorded MIDI performance: the notes and the
// controller changes (the sustain pedal) arrive at their times and a decoding step runs once per analysis hop, on the
// engine's virtual clock (as fast as possible) or paced by the wall clock.
#pragma once

#include "MidiFile.hpp"

#include <functional>
#include <vector>

class StandaloneHost;

class MidiFollower {
public:
    MidiFollower(StandaloneHost& host, std::vector<MidiNote> notes, double duration,
                 std::vector<MidiControl> controls = {});

    // Plays the whole performance, plus `tail` seconds after its end.
    // `progress` is told the time reached, now and then. Offline, the
    // performance begins at the engine's present: after a start from a
    // label, the notes come after the actions run up to it.
    void run(bool realtime, double tail = 1.0, const std::function<void(double)>& progress = {});

private:
    void begin_at(double origin);
    void deliver_notes_until(double t);
    void advance_clock(double t, bool realtime);
    long skip_silence(long step, double t, double hop, double end);

    StandaloneHost& host;
    std::vector<MidiNote> notes;
    std::vector<MidiControl> controls;
    double duration;
    size_t next_note = 0;
    size_t next_control = 0;
    double origin = 0.0;       // the logical time of the performance's start
    double waiting_since = -1; // when the machine began to wait for notes
};
