#include "Listening/AudioLikelihood.hpp"

#include <algorithm>
#include <cassert>
#include <cmath>

namespace {

void floor_zeros(std::vector<float>& v, float floor) {
    for (float& x : v)
        if (x == 0) x = floor;
}

// Sum over bins where `other` is above 0 of weight * log(weight / other).
double one_sided(const std::vector<float>& weight, const std::vector<float>& other) {
    double d = 0;
    for (size_t i = 0; i < weight.size(); ++i) {
        const float o = other[i];
        if (o > 0) d += weight[i] * std::log(weight[i] / o);
    }
    return d;
}

double symmetric(const std::vector<float>& s, const std::vector<float>& t) {
    double d = 0;
    for (size_t i = 0; i < s.size(); ++i)
        d += (s[i] - t[i]) * std::log(s[i] / t[i]);
    return 0.5 * d;
}

} // namespace

const char* KL_mode_name(int mode) {
    switch (mode) {
    case KL_LEFT:
        return "left";
    case KL_RIGHT:
        return "right";
    case KL_SYMMETRIC:
        return "symmetric";
    default:
        return nullptr;
    }
}

float KL_likelihood(std::vector<float>& s, std::vector<float>& t, int mode, float exponent) {
    assert(s.size() == t.size() && "spectrum and template must have the same size");
    double d = 0;
    if (mode == KL_SYMMETRIC) {
        floor_zeros(s, 1e-10f);
        floor_zeros(t, 1e-10f);
        d = symmetric(s, t);
    } else {
        floor_zeros(s, 0.0001f);
        floor_zeros(t, 0.0001f);
        d = mode == KL_RIGHT ? one_sided(t, s) : one_sided(s, t);
    }
    return static_cast<float>(std::exp(exponent * d));
}

void KLTemplate::build(const std::vector<float>& templ) {
    log.resize(templ.size());
    t_log_t = 0;
    for (size_t i = 0; i < templ.size(); ++i) {
        log[i] = std::log(templ[i]);
        t_log_t += templ[i] * log[i];
    }
}

void KLFrame::set_spectrum(std::vector<float>& s, int m) {
    mode = m;
    floor_zeros(s, m == KL_SYMMETRIC ? 1e-10f : 0.0001f);
    spectrum = &s;
    log_s.resize(s.size());
    s_log_s = 0;
    for (size_t i = 0; i < s.size(); ++i) {
        log_s[i] = std::log(s[i]);
        s_log_s += s[i] * log_s[i];
    }
}

// left:      sum s log s - sum s log t
// right:     sum t log t - sum t log s
// symmetric: (sum s log s - sum s log t - sum t log s + sum t log t) / 2
float KLFrame::likelihood(const std::vector<float>& templ, const KLTemplate& t, float exponent) const {
    assert(spectrum && spectrum->size() == templ.size() && t.matches(templ) && "template of another size");
    const std::vector<float>& s = *spectrum;
    double s_log_t = 0;
    double t_log_s = 0;
    for (size_t i = 0; i < s.size(); ++i) {
        s_log_t += s[i] * t.log[i];
        t_log_s += templ[i] * log_s[i];
    }
    double d = 0;
    if (mode == KL_LEFT)
        d = s_log_s - s_log_t;
    else if (mode == KL_RIGHT)
        d = t.t_log_t - t_log_s;
    else
        d = 0.5 * (s_log_s - s_log_t - t_log_s + t.t_log_t);
    return static_cast<float>(std::exp(exponent * d));
}

FrameEnergy spectrum_energy(const std::vector<float>& spectrum, double gamma) {
    if (spectrum.empty()) return {};
    const double n = static_cast<double>(spectrum.size());
    double sum = 0;
    for (float x : spectrum)
        sum += x;
    const double mean = sum / n;
    double squares = 0;
    for (float x : spectrum)
        squares += (x - mean) * (x - mean);
    const double e = std::sqrt(std::sqrt(squares / n));
    const double silence = std::exp(gamma * e);
    return {static_cast<float>(1.0 - silence), static_cast<float>(silence)};
}

void fit_spectrum(const std::vector<float>& raw, int size, std::vector<float>& out) {
    out.resize(static_cast<size_t>(size));
    const size_t n = std::min(raw.size(), out.size());
    std::copy_n(raw.begin(), n, out.begin());
    std::fill(out.begin() + static_cast<std::ptrdiff_t>(n), out.end(), 0.0f);
}

void normalize_spectrum(std::vector<float>& spectrum) {
    double sum = 1e-12;
    for (float x : spectrum)
        sum += x;
    for (float& x : spectrum)
        x = static_cast<float>(x / sum);
}
