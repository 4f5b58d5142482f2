// Attacks heard in audio: from the magnitude spectrum already computed for
// a frame, the energy of each semitone band of the piano's range (MIDI 21
// to 108), in decibels, and its rise over the last few frames, half-wave
// rectified (spectral flux): a band that grows is a note (or a partial of
// one) being struck; one that holds or decays is not. The frame's level is
// also measured against the loudest recent frames, so that silence is told
// by how far the sound has fallen rather than by its absolute level, which
// depends on the recording.
#pragma once

#include <array>
#include <bitset>
#include <vector>

struct OnsetSettings {
    // Frames back the rise of a band is measured over (the analysis window
    // spreads an attack over several hops).
    int lag = 3;
    // Rises below this many decibels are not attacks; above `cap` they
    // count as `cap`.
    double threshold_db = 4;
    // Band levels are measured down to this far below the running peak;
    // a rise from lower counts from there.
    double depth_db = 60;
    double cap_db = 30;
    // The flux of one struck note, summed over its partials' bands: the
    // unit in which the relocator counts attacks.
    double note_db = 40;
    // The summed flux at which a frame is surely an attack (strength 1).
    double attack_db = 120;
    // A band's rise counts fully when the band lies within `loud_range_db`
    // of the frame's loudest band, and less and less down to twice that:
    // the attack noise of a chord also raises bands near the noise floor.
    double loud_range_db = 30;
    // The share of a frame's flux in a pitch class's partial bands that
    // counts as the whole attack being its own: the rest of the flux lies
    // in the upper partials and the hammer's noise.
    double full_share = 0.5;
    // Partials of a note whose bands are its own (1 to 8).
    int partials = 4;
    // The running peak of the frame level falls this many decibels a second.
    double peak_decay_db = 4;
    // A frame this far below the peak is silence (a logistic of `width`).
    double silence_db = 45;
    double silence_width_db = 5;
    // A frame within `floor_margin_db` of the quietest recent level (the
    // noise floor, which rises `floor_rise_db` a second) is silence too:
    // before the first note the peak is the noise itself.
    double floor_margin_db = 12;
    double floor_rise_db = 1;
    // Where the floor starts, below the level of a full-scale sine: a
    // stream that opens on a note is not taken for its own noise floor.
    double start_floor_dbfs = -70;
};

class AudioOnsets {
public:
    static constexpr int LOW = 21;
    static constexpr int HIGH = 108;

    OnsetSettings settings;

    // The bins of each band for this analysis; histories are emptied.
    void setAnalysis(float samplerate, int nfft, float hop);
    void clear();
    // One frame's magnitude spectrum (nfft / 2 + 1 bins). No allocation.
    void frame(const std::vector<float>& magnitudes);

    // The rise of band (MIDI note) n this frame, in decibels above the
    // threshold and at most the cap; 0 outside the piano's range.
    float flux(int note) const { return note >= 0 && note < 128 ? rise[static_cast<size_t>(note)] : 0.0f; }
    // The sum of the rises of all bands, and of the bands in `bands`.
    double total_flux() const { return total; }
    // How surely the frame is an attack, from 0 to 1: the summed flux
    // against `attack_db`.
    double strength() const;
    double flux_in(const std::bitset<128>& bands) const;
    // The probability that the frame is silence: how far its level lies
    // below the running peak.
    double silence() const { return silent; }
    double level_db() const { return level; }

    // The bands a pitch class lights up: each note and its first
    // `partials` partials (octave, twelfth, double octave, ...).
    static std::bitset<128> partial_bands(const std::bitset<128>& notes, int partials = 4);

private:
    struct Band {
        int first_bin = 0;
        int last_bin = 0;
    };
    std::array<Band, 128> bands{};
    // The last lag + 1 frames of band levels, newest at `newest`.
    std::vector<std::array<float, 128>> past;
    int newest = 0;
    int filled = 0;
    std::array<float, 128> rise{};
    double total = 0;
    double peak = -200;
    double floor = 200;
    double level = -200;
    double silent = 1;
    double peak_fall = 0;  // decibels per frame
    double floor_rise = 0; // decibels per frame
    double full_scale = 0; // level of a full-scale sine, decibels

    void measure_level(const std::vector<float>& magnitudes);
};
