// Spectral templates: what a pitch class is expected to sound like on the
// compared part of the spectrum. A template has `template_size` bins, from
// 0 Hz up to an eighth of the sample rate's FFT range, never holds a 0 and
// sums to 1, so it can be compared with a normalised spectrum by a
// Kullback-Leibler divergence.
#pragma once

#include "Listening/PitchClass.hpp"

#include <map>
#include <vector>

class AudioTemplates {
public:
    AudioTemplates() { setAnalysis(44100.0f, 4096); }

    // Rebuilds the frequency axis for a sample rate and an FFT size.
    void setAnalysis(float samplerate, int nfft);

    // A sum of Gaussian bumps on each harmonic of each pitch, the harmonics
    // taken from pc.harmlist and weighted down as they rise.
    void MakeKLtemplates(std::vector<float>& out, const PitchClass& pc) const;
    // The sum of the stored piano spectra of the pitches; the harmonic
    // template when no piano spectra are loaded.
    void PreparePianoTemplates(std::vector<float>& out, const PitchClass& pc) const;
    // Replaces a list of pitches by the frequencies of all their harmonics
    // (in harmlist order, pitch after pitch), each snapped to the nearest bin
    // of the axis. Silent pitches (0) give nothing.
    void harmlistgen(std::vector<float>& pitches, const std::vector<double>& harmlist) const;

    // The frequency of a MIDI number (up to 127) or of midicents (above).
    double fundamental(float pitch) const;
    // The axis frequency nearest to f.
    float snap_to_bin(double f) const;

    float samplerate = 44100.0f;
    int nfft = 4096;
    // (int)(nfft * 0.125 + 1) bins are compared.
    int template_size = 513;
    double tune = 440.0;
    // freqs[k] = k * samplerate / (nfft - 2).
    std::vector<float> freqs;
    // One bin of frequency: the narrowest spread a harmonic may have.
    float min_variance = 0;
    // Stored magnitude spectra for nfft 4096, keyed by midicents.
    std::map<float, std::vector<float>> piano_templates;

private:
    void add_harmonic(std::vector<float>& out, double f0, double h, float variance) const;
};

// Divides `v` by its sum, so that it becomes a distribution.
void normalize_template(std::vector<float>& v);
