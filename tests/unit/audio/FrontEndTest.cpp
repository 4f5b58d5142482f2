// The audio front end: windowing, the transform and the packed magnitudes.
#include "AllocCounter.hpp"
#include "Listening/AudioFrontEnd.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <random>
#include <vector>

namespace {

std::vector<float> sine(int n, double cycles_per_window, double amplitude = 0.5) {
    std::vector<float> x(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i)
        x[static_cast<size_t>(i)] =
            static_cast<float>(amplitude * std::sin(2 * std::numbers::pi * cycles_per_window * i / n));
    return x;
}

// The packed magnitudes computed by a direct DFT of the windowed input.
std::vector<double> direct_magnitudes(const std::vector<float>& x, const std::vector<float>& w) {
    const size_t n = x.size();
    std::vector<double> out(n / 2 + 1);
    for (size_t k = 0; k <= n / 2; ++k) {
        std::complex<double> sum = 0;
        for (size_t i = 0; i < n; ++i)
            sum += double(x[i]) * w[i] * std::polar(1.0, -2 * std::numbers::pi * double(k * i) / double(n));
        out[k] = (k == n / 2) ? sum.real() : std::abs(sum);
    }
    return out;
}

size_t peak_bin(const std::vector<float>& s) {
    return static_cast<size_t>(std::max_element(s.begin(), s.end()) - s.begin());
}

} // namespace

TEST(AudioFrontEnd, HannWindowAndItsNorm) {
    AudioFrontEnd fe;
    fe.setAnalysis(4096);
    const auto& w = fe.window();
    ASSERT_EQ(w.size(), 4096u);
    EXPECT_FLOAT_EQ(w[0], 0.0f);
    EXPECT_FLOAT_EQ(w[2048], 1.0f);
    EXPECT_NEAR(w[1024], 0.5f, 1e-6);
    EXPECT_NEAR(w[1], w[4095], 1e-7) << "periodic Hann: symmetric around nfft/2";
    // The window sums to nfft/2, so the norm is 1 / (2 nfft + nfft / 4).
    EXPECT_NEAR(fe.window_norm(), 1.0 / (8192.0 + 1024.0), 1e-10);
}

TEST(AudioFrontEnd, MagnitudesMatchADirectTransform) {
    for (int n : {16, 64, 256}) {
        AudioFrontEnd fe;
        fe.setAnalysis(n);
        std::mt19937 rng(7);
        std::uniform_real_distribution<float> u(-1, 1);
        std::vector<float> x(static_cast<size_t>(n));
        for (float& v : x)
            v = u(rng);
        std::vector<float> out;
        fe.SigProc_frontend(x.data(), out);
        const auto expected = direct_magnitudes(x, fe.window());
        ASSERT_EQ(out.size(), expected.size()) << "n " << n;
        for (size_t k = 0; k < out.size(); ++k)
            EXPECT_NEAR(out[k], expected[k], 1e-4) << "n " << n << " bin " << k;
    }
}

TEST(AudioFrontEnd, DcIsAbsoluteAndNyquistKeepsItsSign) {
    AudioFrontEnd fe;
    fe.setAnalysis(64);
    std::vector<float> out;
    std::vector<float> x(64, -0.25f);
    fe.SigProc_frontend(x.data(), out);
    EXPECT_NEAR(out[0], 0.25 * 32, 1e-4) << "the DC term is a magnitude";
    for (int i = 0; i < 64; ++i)
        x[static_cast<size_t>(i)] = i % 2 ? 0.5f : -0.5f;
    fe.SigProc_frontend(x.data(), out);
    EXPECT_LT(out[32], -1.0f) << "an alternating signal starting low gives a negative Nyquist term";
    for (float& v : x)
        v = -v;
    fe.SigProc_frontend(x.data(), out);
    EXPECT_GT(out[32], 1.0f);
}

TEST(AudioFrontEnd, SinePeaksOnItsBinAndAnalysisCanChange) {
    AudioFrontEnd fe;
    fe.setAnalysis(4096);
    std::vector<float> out;
    auto x = sine(4096, 40);
    fe.SigProc_frontend(x.data(), out);
    EXPECT_EQ(out.size(), 2049u);
    EXPECT_EQ(peak_bin(out), 40u);
    // A windowed sine of amplitude A peaks at A * sum(window) / 2.
    EXPECT_NEAR(out[40], 0.5 * 2048 / 2, 1.0);

    fe.setAnalysis(1024);
    x = sine(1024, 100);
    fe.SigProc_frontend(x.data(), out);
    EXPECT_EQ(out.size(), 513u);
    EXPECT_EQ(peak_bin(out), 100u);
}

TEST(AudioFrontEnd, FrameAllocatesNothingOnceTheSpectrumExists) {
    AudioFrontEnd fe;
    fe.setAnalysis(4096);
    const auto x = sine(4096, 12.5);
    std::vector<float> out;
    fe.SigProc_frontend(x.data(), out);
    alloc_counter::start();
    for (int i = 0; i < 100; ++i)
        fe.SigProc_frontend(x.data(), out);
    EXPECT_EQ(alloc_counter::stop(), 0u);
}
