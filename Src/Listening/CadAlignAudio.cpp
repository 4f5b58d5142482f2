// Listening by audio: the spectrum of each analysis window, its energy and
// probability of silence, and the spectral match of each template; with the
// settings that shape templates and likelihoods.
#include "Listening/AudioLikelihood.hpp"
#include "Listening/CadAlign.hpp"
#include "Base/Console.hpp"

#include <algorithm>
#include <cassert>

// Sizes the front end and the template axis for a new analysis. Templates
// built for another size no longer match template_size and are rebuilt at
// their next use.
void CadAlign::setAnalysis(float sr, float n, float h) {
    assert(sr > 0 && n >= 8 && h > 0 && "analysis needs a sample rate, a window and a hop");
    samplerate = sr;
    nfft = n;
    hop = h;
    template_size = static_cast<int>(nfft * 0.125f + 1);
    front_end.setAnalysis(static_cast<int>(n));
    templates.setAnalysis(sr, static_cast<int>(n));
    onsets.setAnalysis(sr, static_cast<int>(n), h);
    pedal_frames = std::max(1, static_cast<int>(samplerate * (pedaltime / 1000.0f) / hop));
    pedal_history.reset(static_cast<size_t>(pedal_frames), static_cast<size_t>(template_size));
    pedal_acc.reserve(static_cast<size_t>(template_size));
    calibration_stale = true;
    spectrum.reserve(static_cast<size_t>(template_size));
    if (const int kl = AUDIO_input(); kl >= 0) {
        std::vector<float>& raw = observations[kl];
        raw.clear();
        raw.reserve(static_cast<size_t>(front_end.spectrum_size()));
    }
}

void CadAlign::SigProc_frontend(const float* samples) {
    int inlet = AUDIO_input();
    if (inlet < 0) {
        error("BIG PROBLEM! Audio Missing?!");
        inlet = 0;
    }
    front_end.SigProc_frontend(samples, observations[inlet]);
}

// The compared part of the spectrum, its energy and silence probability,
// then the spectrum as a distribution for the divergences.
void CadAlign::observe_audio() {
    if (audio_attacks) onsets.frame(observations[AUDIO_input()]);
    fit_spectrum(observations[AUDIO_input()], template_size, spectrum);
    if (pedal != 0) pedal_correction(spectrum, 0);
    const FrameEnergy e = spectrum_energy(spectrum, gamma);
    energy = e.energy;
    silence_prob = e.silence_prob;
    normalize_spectrum(spectrum);
    kl_frame.set_spectrum(spectrum, KL_mode);
}

// KL_likelihood of the frame's spectrum and the template, by the frame's
// shared logarithms.
float CadAlign::spectral_match(UniqueObs& r) {
    if (!r.kl.matches(r.templ)) r.kl.build(r.templ);
    return kl_frame.likelihood(r.templ, r.kl, KLexp);
}

float CadAlign::KL_likelihood(std::vector<float>& s, std::vector<float>& t) const {
    return ::KL_likelihood(s, t, KL_mode, KLexp);
}

void CadAlign::MakeKLtemplates(std::vector<float>& out, const PitchClass& pc) {
    templates.tune = tune;
    templates.MakeKLtemplates(out, pc);
}

void CadAlign::PreparePianoTemplates(std::vector<float>& out, const PitchClass& pc) {
    templates.tune = tune;
    templates.PreparePianoTemplates(out, pc);
}

// Emptied templates have the wrong size, so insert_PitchClass rebuilds them
// with the new settings when their states next ask.
void CadAlign::rebuild_stale_templates() {
    if (!templates_stale.exchange(false)) return;
    for (auto& [pc, r] : obs_map)
        r->templ.clear();
}

// ---- settings ----

void CadAlign::set_harmlist(const std::vector<double>& list) {
    harmlist = list;
    invalidate_templates();
    inform("%s - harmonics list changed", name());
}

void CadAlign::cadenzium_variance(double v) {
    if (v >= 1.0) {
        error("%s - Observation variance should be a percentage factor, between 0 and 1.", name());
        return;
    }
    variance = v;
}

void CadAlign::gamma_set(double g) {
    gamma = g;
    inform("%s - Boltzmann temperature is set to %f.", name(), g);
}

void CadAlign::tuning_set(double hz) {
    tune = static_cast<float>(hz);
    invalidate_templates();
}

void CadAlign::KLexp_set(double e) {
    if (e >= -0.1) {
        error("Cadenzium - Observation tightness should be less than -0.1 !");
        return;
    }
    KLexp = static_cast<float>(e);
}

void CadAlign::observation_kl_mode(int mode) {
    const char* mode_name = KL_mode_name(mode);
    if (!mode_name) {
        error("%s - Observer - KL mode should be 0, 1 or 2.", name());
        return;
    }
    KL_mode = mode;
    inform("%s - Observer - KL mode is %s.", name(), mode_name);
}

void CadAlign::set_piano_mode(bool on) {
    if (on == PianoMode) return;
    PianoMode = on;
    invalidate_templates();
}
