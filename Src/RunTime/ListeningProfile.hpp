// How the standalone program listens to a musician, by MIDI or by audio.
//
// A profile gathers the settings of the listening machine that are chosen
// for a kind of input rather than for a piece: the occupancy law of notes,
// how long a note may wait past its law for the next one, the detours of
// the mass (a note skipped, a passage played again), what an attack or a
// held sound is worth in each phase of a stay (EvidenceSettings), and, by
// MIDI, the envelope of heard notes.
#pragma once

#include "Listening/AudioOnsets.hpp"
#include "Listening/Evidence.hpp"
#include "Listening/Relocator.hpp"

#include <string>

class CadAlign;
class cadenzium_core;

struct ListeningProfile {
    double occupancy = 0.5;
    // Above 0: the spread of note durations, as a fraction of their mean.
    double spread = 0;
    // MIDI observation: the envelope of heard notes (HeardNotes).
    double release_ms = 0;
    double sustain_level = 1;
    double sustain_ms = 0;
    // A note's tail: the share of its leaving mass that waits there and
    // its self-loop; negative values take the occupancy parameter.
    double hold = -1;
    double hold_loop = -1;
    // Detours of the leaving mass.
    double skip = 0;
    int skip_reach = 1;
    double skip_decay = 0.1;
    double tail_skip = 1;
    double skip_chord = 1;
    double skip_short = 1;
    double reentry = 0;
    double back = 0;
    int back_reach = 0;
    int window = 21;
    EvidenceSettings evidence;
    // The score-wide search for a lost musician.
    bool relocation = false;
    RelocatorSettings relocator;
    bool through_silence = false;
    // By MIDI: one decoding step per hop only (true), or also one at each
    // note as it comes, so that a decision follows the note at once.
    bool hop_steps = true;
    bool pedal = true;
    // Audio: attacks from the rise of semitone bands, and the lateness of
    // decisions to take off reported onsets (seconds).
    bool audio_attacks = false;
    OnsetSettings onsets;
    double onset_lag = 0;

    // Sets the named field ("occupancy", "hold", "extra", ...) from text;
    // false for an unknown name.
    bool set(const std::string& name, double value);
};

// The engine's own defaults.
ListeningProfile design_profile();
// What the program uses for a pianist by MIDI.
ListeningProfile piano_midi_profile();
// What the program uses for a pianist by audio.
ListeningProfile piano_audio_profile();

// Applies a profile; call it before reading the score, since the states
// take some of these settings when they are built.
void apply_listening_profile(cadenzium_core& engine, const ListeningProfile& profile);
// The same on a listening machine of one's own (all but how the host steps
// it by MIDI).
void apply_listening_profile(CadAlign& align, const ListeningProfile& profile);
