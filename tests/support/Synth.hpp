// A small additive synthesiser for tests of audio listening and for the
// follow benchmark: each note is a sum of partials with falling amplitudes,
// shaped by an attack, an exponential decay and a release, over optional
// white noise. Deterministic for a given seed. Partials run as recursive
// oscillators, so minutes of piano music with thousands of notes render in
// about a second.
#pragma once

#include <string>
#include <vector>

struct SynthNote {
    double onset = 0;           // seconds
    std::vector<float> pitches; // MIDI numbers, or midicents above 127; one or a chord
    double duration = 0;        // seconds until the release starts
    float velocity = 100;       // 0 to 127
};

struct SynthVoice {
    int partials = 8;
    double rolloff = 0.6; // partial k has amplitude rolloff^(k - 1)
    double decay = 2.0;   // seconds for the sustain to fall by e; 0 holds it
    double attack = 0.01; // seconds
    double release = 0.05;
    double noise = 0; // amplitude of white noise over the whole buffer
    unsigned seed = 1;
    double tune = 440.0;
    double tail = 0.2; // seconds of silence (or noise) after the last release
    // Piano-like refinements, all off by default. Partial k decays
    // 1 + partial_decay * (k - 1) times faster than the fundamental; the
    // decay doubles every 12 / pitch_decay semitones below MIDI 60 (and
    // halves as often above); partial k sits at k * f0 * sqrt(1 + B k^2)
    // with B = inharmonicity.
    double partial_decay = 0;
    double pitch_decay = 0;
    double inharmonicity = 0;
};

// A struck, damped string: bright attack, high partials dying first, low
// notes ringing longer, slightly stretched partials, a damper release.
SynthVoice piano_voice();

// Renders the notes to a mono buffer at `sample_rate`.
std::vector<float> synthesize(const std::vector<SynthNote>& notes, int sample_rate,
                              const SynthVoice& voice = {});

// One part of a melody: a note or chord (an empty list is a rest) lasting
// `beats`.
struct SynthPart {
    std::vector<float> pitches;
    double beats = 1;
};

// Writes channels of equal length to a sound file whose format follows the
// extension: ".wav" (float), ".aiff"/".aif" or ".flac" (16-bit). False when
// the file cannot be written.
bool write_sound_file(const std::string& path, const std::vector<std::vector<float>>& channels,
                      int sample_rate);
inline bool write_sound_file(const std::string& path, const std::vector<float>& mono, int sample_rate) {
    return write_sound_file(path, std::vector<std::vector<float>>{mono}, sample_rate);
}
