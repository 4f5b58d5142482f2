#include "Listening/AudioFrontEnd.hpp"

#include <cassert>
#include <cmath>
#include <fftw3.h>
#include <mutex>
#include <numbers>
#include <numeric>

namespace {
// FFTW's planner is not thread-safe; plan execution is.
std::mutex planner_mutex;
} // namespace

AudioFrontEnd::~AudioFrontEnd() {
    release();
}

void AudioFrontEnd::release() {
    std::lock_guard lock(planner_mutex);
    if (plan) fftwf_destroy_plan(static_cast<fftwf_plan>(plan));
    fftwf_free(time_buffer);
    fftwf_free(freq_buffer);
    plan = nullptr;
    time_buffer = nullptr;
    freq_buffer = nullptr;
}

void AudioFrontEnd::setAnalysis(int nfft) {
    assert(nfft >= 4 && nfft % 2 == 0 && "the analysis window must be even");
    if (nfft == size && plan) return;
    release();
    size = nfft;
    hann.resize(static_cast<size_t>(nfft));
    for (int i = 0; i < nfft; ++i)
        hann[static_cast<size_t>(i)] =
            static_cast<float>(0.5 * (1.0 - std::cos(2.0 * std::numbers::pi * i / nfft)));
    const double sum = std::accumulate(hann.begin(), hann.end(), 0.0);
    norm = static_cast<float>(1.0 / (nfft * 2.0 + sum / 2.0));

    std::lock_guard lock(planner_mutex);
    time_buffer = fftwf_alloc_real(static_cast<size_t>(nfft));
    freq_buffer = reinterpret_cast<float*>(fftwf_alloc_complex(static_cast<size_t>(nfft / 2 + 1)));
    plan = fftwf_plan_dft_r2c_1d(nfft, time_buffer, reinterpret_cast<fftwf_complex*>(freq_buffer),
                                 FFTW_ESTIMATE);
    assert(plan && "FFTW could not plan the analysis transform");
}

void AudioFrontEnd::SigProc_frontend(const float* samples, std::vector<float>& out) {
    assert(plan && "setAnalysis must run before the first frame");
    for (int i = 0; i < size; ++i)
        time_buffer[i] = samples[i] * hann[static_cast<size_t>(i)];
    fftwf_execute(static_cast<fftwf_plan>(plan));
    const int half = size / 2;
    out.resize(static_cast<size_t>(half + 1));
    out[0] = std::fabs(freq_buffer[0]);
    for (int k = 1; k < half; ++k) {
        const float re = freq_buffer[2 * k];
        const float im = freq_buffer[2 * k + 1];
        out[static_cast<size_t>(k)] = std::sqrt(re * re + im * im);
    }
    // The Nyquist bin of a real transform is real; it keeps its sign.
    out[static_cast<size_t>(half)] = freq_buffer[2 * half];
}
