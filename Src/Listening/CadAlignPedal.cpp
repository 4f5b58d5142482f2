// The pedal model and calibration of audio listening. On a sustaining
// instrument the recent past rings into the present frame: the pedal model
// subtracts from the spectrum a decaying sum of past spectra before it is
// compared with the templates. Calibration lets a user check the analysis
// before a concert: for a reference pitch, how loud the frame is and how
// well its spectrum fits the pitch's template. Only calibration feeds the
// pedal's history.
#include "Listening/AudioLikelihood.hpp"
#include "Listening/CadAlign.hpp"

#include <cmath>
#include <numeric>

namespace {

float sum_of(const std::vector<float>& v) {
    float s = 0;
    for (float x : v)
        s += x;
    return s;
}

} // namespace

// The weights run from the oldest spectrum (index 0, weight (1 - 2/N)^1)
// to the newest, so the oldest weighs most; and the corrected spectrum is
// scaled by the product of the levels before and after the correction.
// Both forms are the model's own and are kept.
void CadAlign::pedal_correction(std::vector<float>& s, int position) {
    (void)position;
    if (pedalcoeff <= 0) return;
    const float s0 = 1e-12f + sum_of(s);
    for (float& x : s)
        x /= s0;
    pedal_acc.assign(s.size(), 0.0f);
    const double N = pedal_frames;
    for (size_t i = 0; i < pedal_history.size(); ++i) {
        const auto w = static_cast<float>(std::pow(1.0 - 2.0 / N, static_cast<double>(i + 1)));
        const std::vector<float>& past = pedal_history[i];
        for (size_t k = 0; k < pedal_acc.size() && k < past.size(); ++k)
            pedal_acc[k] += w * past[k];
    }
    const float s1 = (1e-12f + sum_of(pedal_acc)) / pedalcoeff;
    for (size_t k = 0; k < s.size(); ++k) {
        s[k] -= pedal_acc[k] / s1;
        if (s[k] <= 1e-12f) s[k] = 1e-12f;
    }
    double s2 = 1e-12;
    for (float x : s)
        s2 += x;
    for (float& x : s)
        x = static_cast<float>(x * (s0 * s2));
}

void CadAlign::RawCalibration(float& frame_energy, float& likelihood) {
    const int inlet = AUDIO_input();
    fit_spectrum(observations[inlet < 0 ? 0 : inlet], template_size, calibration_spectrum);
    if (pedal != 0) pedal_correction(calibration_spectrum, 0);
    frame_energy = spectrum_energy(calibration_spectrum, gamma).energy;
    normalize_spectrum(calibration_spectrum);
    build_calibration_template();
    likelihood = KL_likelihood(calibration_spectrum, calibration_template);
    if (pedal == 0) return;
    fit_spectrum(observations[inlet < 0 ? 0 : inlet], template_size, calibration_feed);
    normalize_spectrum(calibration_feed);
    pedal_history.push(calibration_feed);
}

// The template of the one reference pitch, made again only when the pitch
// or the analysis has changed.
void CadAlign::build_calibration_template() {
    if (calibration_template.size() == static_cast<size_t>(template_size) &&
        calibration_template_pitch == calibration_pitch && !calibration_stale)
        return;
    PitchClass pc({static_cast<float>(calibration_pitch)}, 0.25f);
    pc.harmlist = harmlist;
    pc.piano = PianoMode;
    if (PianoMode)
        PreparePianoTemplates(calibration_template, pc);
    else
        MakeKLtemplates(calibration_template, pc);
    normalize_spectrum(calibration_template);
    calibration_template_pitch = calibration_pitch;
    calibration_stale = false;
}
