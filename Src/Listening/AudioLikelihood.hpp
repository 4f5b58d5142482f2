// Matching a magnitude spectrum against spectral templates: the energy of a
// frame (how much sound there is), the probability that it is silence, and
// the likelihood of a template as exp(exponent * divergence).
#pragma once

#include <vector>

// Which divergence KL_likelihood measures.
enum KLMode : int { KL_LEFT = 0, KL_RIGHT = 1, KL_SYMMETRIC = 2 };

// "left", "right" or "symmetric"; null for any other mode.
const char* KL_mode_name(int mode);

// exp(exponent * d), d the divergence of `mode` between the normalised
// spectrum `s` and the template `t` (same size). Zero bins of both are
// replaced in place by a small floor (0.0001 for the one-sided modes, 1e-10
// for the symmetric one), so a later template of the same frame sees them
// floored too.
float KL_likelihood(std::vector<float>& s, std::vector<float>& t, int mode, float exponent);

// A template prepared for KLFrame: its logarithms and its self-information
// sum(t * log t), computed once when the template is built.
struct KLTemplate {
    std::vector<float> log;
    double t_log_t = 0;

    void build(const std::vector<float>& templ);
    bool matches(const std::vector<float>& templ) const { return log.size() == templ.size(); }
};

// The divergences of one frame's spectrum against the templates of the
// frame. Each divergence splits into sums of s, t, log s and log t; with the
// logarithms of the spectrum taken once a frame and those of a template once
// in its life, a template costs one pass of multiply-adds. The result equals
// KL_likelihood's up to rounding.
class KLFrame {
public:
    // Floors the zero bins of `s` in place as KL_likelihood does for `mode`
    // and takes its logarithms (no allocation once sized).
    void set_spectrum(std::vector<float>& s, int mode);
    float likelihood(const std::vector<float>& templ, const KLTemplate& t, float exponent) const;

private:
    const std::vector<float>* spectrum = nullptr;
    std::vector<float> log_s;
    double s_log_s = 0;
    int mode = KL_LEFT;
};

struct FrameEnergy {
    // 1 - exp(gamma * e): the weight given to notes.
    float energy = 0;
    // exp(gamma * e): the probability of silence.
    float silence_prob = 1;
};

// e is the square root of the population standard deviation of the
// spectrum's bins; with a negative gamma a quiet frame is likely silence.
FrameEnergy spectrum_energy(const std::vector<float>& spectrum, double gamma);

// Copies `raw` into `out` cut or zero-extended to `size` bins (no allocation
// once `out` has held that many).
void fit_spectrum(const std::vector<float>& raw, int size, std::vector<float>& out);

// Divides each bin by 1e-12 plus the sum: the spectrum becomes a
// distribution, and a silent one stays at 0.
void normalize_spectrum(std::vector<float>& spectrum);
