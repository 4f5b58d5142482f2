// Standard MIDI File reading and writing, reduced to what a score follower
// needs: the notes of a performance, each at its absolute time in seconds.
//
// Controller changes (the sustain pedal, CC 64, among them) are kept apart
// from the notes, each at its time.
//
// The reader accepts format 0 and format 1 files with metrical (ticks per
// quarter note) or SMPTE division. It applies every set-tempo event, wherever
// it stands, to all tracks; it skips other meta events and sysex. Malformed
// input never crashes it: it returns an error naming the fault and the byte
// offset where it was found. Memory stays proportional to the input.
//
// The writer makes format-0 files at one fixed tempo, for tests and examples.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// One note-on or note-off. A note-off (or a note-on of velocity 0 in the
// file) has velocity 0.
struct MidiNote {
    double time = 0.0; // seconds from the start of the file
    uint8_t pitch = 0;
    uint8_t velocity = 0;
    uint8_t channel = 0; // 0-15
    uint16_t track = 0;  // index of the track chunk, from 0

    bool is_on() const { return velocity > 0; }
    bool operator==(const MidiNote&) const = default;
};

// One controller change.
struct MidiControl {
    double time = 0.0; // seconds from the start of the file
    uint8_t number = 0;
    uint8_t value = 0;
    uint8_t channel = 0;

    bool operator==(const MidiControl&) const = default;
};

// The sustain pedal's controller; down from a value of 64.
inline constexpr uint8_t kSustainPedal = 64;

struct MidiReadResult {
    // Sorted by time; events of equal time keep the file's order (track
    // order, then order within the track).
    std::vector<MidiNote> notes;
    // Sorted as the notes are.
    std::vector<MidiControl> controls;
    double duration = 0.0; // seconds, up to the latest end of track
    uint16_t format = 0;
    uint16_t tracks = 0;
    std::string error; // empty when the file was read

    bool ok() const { return error.empty(); }
};

// Larger inputs are refused rather than read: a performance is a few
// hundred kilobytes at most.
inline constexpr std::size_t kMaxMidiFileBytes = 64u << 20;

MidiReadResult read_midi_bytes(const uint8_t* data, std::size_t size);
MidiReadResult read_midi_file(const std::string& path);

// Writes `notes` as a format-0 file with one set-tempo event at `bpm`.
// Events are sorted by time (stably) first; `track` is ignored. Times are
// rounded to the nearest tick; negative times become 0. Pitch and velocity
// are limited to 127, channel to 15. Note-offs are written as note-ons of
// velocity 0 so that running status covers them.
// Controller changes, when given, are written among the notes at their
// times (before notes of the same tick).
std::vector<uint8_t> write_midi_bytes(const std::vector<MidiNote>& notes, uint16_t ticks_per_quarter = 480,
                                      double bpm = 120.0, const std::vector<MidiControl>& controls = {});
// Returns false and sets `error` (when given) if the file cannot be written.
bool write_midi_file(const std::string& path, const std::vector<MidiNote>& notes,
                     uint16_t ticks_per_quarter = 480, double bpm = 120.0, std::string* error = nullptr,
                     const std::vector<MidiControl>& controls = {});

// A played note with a duration, as one thinks of a performance.
struct MidiNoteSpan {
    double onset = 0.0; // seconds
    uint8_t pitch = 0;
    double duration = 0.0; // seconds; negative counts as 0
    uint8_t velocity = 64; // 0 is raised to 1, since it would mean note-off
    uint8_t channel = 0;
};

// Turns spans into note-on and note-off events, sorted by time. At equal
// times a note-off of an earlier note comes before a note-on, so a repeated
// pitch is released before it is struck again; the note-off of a
// zero-length note comes right after its own note-on.
std::vector<MidiNote> midi_events_from_spans(const std::vector<MidiNoteSpan>& spans);
