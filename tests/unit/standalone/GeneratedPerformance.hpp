// Scores written from a list of events of every kind, and performances of
// them generated as a pianist would play them (in time, with rubato, with
// wrong and stray notes, with a passage skipped or replaced), together with
// the true onset of every event; and the program's follow of such a
// performance, read back from its trace.
#pragma once

#include "MidiFile.hpp"

#include <map>
#include <string>
#include <vector>

// One written event and how it is played.
struct WrittenEvent {
    enum Kind { Note, Chord, Grace, Trill, Multi, Glide, Rest, Tie };
    Kind kind = Note;
    // Note, Grace, Tie: one pitch (a tie holds the previous note on).
    // Chord: the chord. Trill, Multi: one pitch per element. Glide: from
    // the first pitch to the second, by semitones when played.
    std::vector<int> pitches;
    double beats = 1;

    std::string text() const;
};

struct WrittenScore {
    double bpm = 60;
    std::vector<WrittenEvent> events;

    std::string text() const;
    // The beat of each event (1-based as the score numbers them; [0] is 0).
    std::vector<double> beats() const;
};

// How the performance departs from the score.
struct PlayStyle {
    double start = 1.0; // seconds before the first event
    // The tempo swings by this fraction around the written one, over a
    // period of `rubato_beats`.
    double rubato = 0;
    double rubato_beats = 6;
    // Every `wrong_every`-th struck note is a semitone off (0: none), and
    // every `stray_every`-th event gets a stray note just after it.
    int wrong_every = 0;
    int stray_every = 0;
    // Seconds a grace note comes before its main note, and between the
    // notes of a trill.
    double grace_lead = 0.07;
    double trill_step = 0.09;
    // Share of a note's written length that it sounds.
    double legato = 0.9;
};

struct Performance {
    std::vector<MidiNoteSpan> spans;
    // onsets[i]: when event i starts (for a rest or a tie: when its beat
    // comes); [0] unused.
    std::vector<double> onsets;
    double end = 0;
};

Performance perform(const WrittenScore& score, const PlayStyle& style);

// Onsets of a performance with the written beats played at a swinging
// tempo: seconds at `beat`.
double time_at_beat(double beat, double bpm, const PlayStyle& style);

// Follows `midi` against `score` with `cadenzium follow` (the MIDI
// profile) and reads the trace back: every position reported, in order,
// and the first time of each.
struct FollowedPositions {
    std::vector<int> positions;
    std::map<int, double> first;
};
FollowedPositions follow_midi(const std::string& score, const std::vector<MidiNoteSpan>& spans,
                              const std::vector<std::string>& settings = {});
// The same for a score and a MIDI file on disk.
FollowedPositions follow_midi_file(const std::string& score_path, const std::string& midi_path,
                                   const std::vector<std::string>& settings = {});

// True when every event from 1 to `last` is reported, each once, in order.
bool reported_in_order(const FollowedPositions& f, int last, std::string* why = nullptr);
