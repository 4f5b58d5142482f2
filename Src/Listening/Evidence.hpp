// From what a frame brings to the three phase probabilities of one pitch
// class. A frame brings attacks (MIDI note-ons, or the rise of spectral
// energy in semitone bands, counted in notes) and a sound (how well what
// sounds now matches the pitch class). An attack is weighed by whom it
// belongs to: a pitch the event strikes, one of its pitches held from before
// (tied), or none of its pitches.
//
//   entry:   attacks of struck pitches are what is expected; an entry with
//            none of them is unannounced, unless a note a semitone off one
//            of them stands for it (a wrong note); other attacks are extra.
//   early:   late notes of the event's own pitches are welcome, others extra.
//   settled: any attack is unexpected; an own pitch struck again is a
//            re-strike, a foreign one extra.
//
// A state that expects no attack (a rest, a fully tied event) weighs every
// phase as settled.
#pragma once

#include "Listening/Observation.hpp"

// Attacks of one frame, counted against one pitch class. Counts may be
// fractional (audio: flux in units of a typical note's).
struct AttackCount {
    double total = 0;  // all attacks of the frame
    double own = 0;    // on pitches of the class, struck or tied
    double struck = 0; // on pitches the event strikes
    double near = 0;   // a semitone from a struck pitch, not own: a wrong note
};

struct EvidenceSettings {
    // Probability factor of an attack the phase does not expect.
    double extra = 0.05;
    // Of an own pitch struck again once the state has settled.
    double restrike = 0.2;
    // Of an entry without any attack of the event's struck pitches.
    double unannounced = 0.05;
    // Of an entry announced by a wrong note: an attack a semitone from the
    // one pitch it strikes stands for the strike that did not come. 0: a
    // wrong note is an extra attack like any other.
    double wrong_note = 0;
    // The sound match enters as max(sound, sound_floor) ^ sound_power: a
    // tempered likelihood, so that one frame cannot take all the mass.
    double sound_floor = 0.02;
    double sound_power = 0.5;
    // By MIDI: the sound is the coverage of the pitch class by the notes
    // heard (recall times precision, each raised by `coverage_floor`)
    // rather than the template match.
    bool coverage = false;
    double coverage_floor = 0.05;
    // Frames after the entry that read the early phase: at least
    // `early_frames`, or `early_fraction` of the event's expected length
    // (a rolled chord takes its time), up to `early_limit`.
    int early_frames = 6;
    double early_fraction = 0;
    int early_limit = 60;

    // The early phase of an event expected to last `frames`.
    int early_length(double frames) const;
};

// `expects_attack`: the event strikes at least one pitch.
PhaseValues phase_values(const AttackCount& a, double sound, const EvidenceSettings& s, bool expects_attack);

// x ^ n for a count: repeated products for small whole counts, pow else.
double power_of_count(double x, double n);
