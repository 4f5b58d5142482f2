// The test synthesiser: its recursive oscillators against the closed form
// of the sound, over long notes where drift would show, and the shape of
// the piano voice.
#include "Synth.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace {

constexpr int kSr = 44100;

// The default voice's sound written out: harmonic sines under one
// envelope (attack ramp, exponential decay, linear release).
double closed_form(const SynthNote& n, const SynthVoice& v, size_t i) {
    const double t = static_cast<double>(i) / kSr - n.onset;
    if (t < 0 || t > n.duration + v.release) return 0;
    const double f0 = 440.0 * std::pow(2.0, (n.pitches[0] - 69) / 12);
    double x = 0, weights = 0;
    const double phase = static_cast<double>(i - static_cast<size_t>(n.onset * kSr));
    for (int k = 1; k <= v.partials && k * f0 < kSr / 2.0; ++k) {
        const double a = std::pow(v.rolloff, k - 1);
        x += a * std::sin(2 * std::numbers::pi * k * f0 * phase / kSr);
        weights += a;
    }
    double env = std::min(1.0, t / v.attack) * std::exp(-t / v.decay);
    if (t > n.duration) env = std::exp(-n.duration / v.decay) * (1 - (t - n.duration) / v.release);
    return 0.3 * (n.velocity / 127.0) / weights * env * x;
}

double rms(const std::vector<float>& s, double from, double to) {
    double sum = 0;
    const auto a = static_cast<size_t>(from * kSr), b = static_cast<size_t>(to * kSr);
    for (size_t i = a; i < b; ++i)
        sum += static_cast<double>(s[i]) * s[i];
    return std::sqrt(sum / static_cast<double>(b - a));
}

// Magnitude of the component at `hz` over [from, to), by correlation.
double level_at(const std::vector<float>& s, double hz, double from, double to) {
    double re = 0, im = 0;
    for (auto i = static_cast<size_t>(from * kSr); i < static_cast<size_t>(to * kSr); ++i) {
        const double w = 2 * std::numbers::pi * hz * static_cast<double>(i) / kSr;
        re += s[i] * std::cos(w);
        im += s[i] * std::sin(w);
    }
    return std::hypot(re, im) * 2 / ((to - from) * kSr);
}

TEST(Synth, DefaultVoiceIsItsClosedFormOverLongNotes) {
    SynthVoice v;
    v.decay = 20; // slow enough that the end of the note is still loud
    for (const SynthNote& n : {SynthNote{0.0123, {69}, 0.5, 100}, SynthNote{0.5, {33}, 30.0, 80},
                               SynthNote{0.25, {6950}, 2.0, 120}}) {
        SCOPED_TRACE(n.pitches[0]);
        const std::vector<float> out = synthesize({n}, kSr, v);
        double worst = 0;
        for (size_t i = 0; i < out.size(); ++i)
            worst = std::max(worst, std::fabs(out[i] - closed_form(n, v, i)));
        EXPECT_LT(worst, 1e-4);
    }
}

TEST(Synth, NotesAddAndEndInSilenceAfterTheirRelease) {
    const SynthVoice v;
    const SynthNote a{0.1, {60}, 0.3, 90}, b{0.2, {67}, 0.4, 70};
    const std::vector<float> both = synthesize({a, b}, kSr, v);
    const std::vector<float> only_a = synthesize({a}, kSr, v);
    const std::vector<float> only_b = synthesize({b}, kSr, v);
    ASSERT_EQ(both.size(), static_cast<size_t>((0.6 + v.release + v.tail) * kSr));
    for (size_t i = 0; i < only_a.size(); ++i)
        ASSERT_NEAR(both[i], only_a[i] + only_b[i], 1e-6) << i;
    for (auto i = static_cast<size_t>((0.6 + v.release) * kSr) + 2; i < both.size(); ++i)
        ASSERT_EQ(both[i], 0.0f) << i;
}

TEST(Synth, PianoVoiceRingsLongerLowAndDullsAsItDecays) {
    const SynthVoice v = piano_voice();
    const std::vector<float> low = synthesize({{0.0, {36}, 4.0, 100}}, kSr, v);
    const std::vector<float> high = synthesize({{0.0, {84}, 4.0, 100}}, kSr, v);
    EXPECT_GT(rms(low, 3.0, 3.5) / rms(low, 0.1, 0.6), 2 * rms(high, 3.0, 3.5) / rms(high, 0.1, 0.6));

    const double f0 = 440.0 * std::pow(2.0, (60 - 69) / 12.0);
    const std::vector<float> c4 = synthesize({{0.0, {60}, 4.0, 100}}, kSr, v);
    const double fifth = 5 * f0 * std::sqrt(1 + v.inharmonicity * 25);
    const double early = level_at(c4, fifth, 0.1, 0.6) / level_at(c4, f0, 0.1, 0.6);
    const double late = level_at(c4, fifth, 3.0, 3.5) / level_at(c4, f0, 3.0, 3.5);
    EXPECT_LT(late, early / 2) << "the fifth partial fades faster than the fundamental";
}

TEST(Synth, PianoVoiceStretchesItsPartials) {
    const SynthVoice v = piano_voice();
    const std::vector<float> a2 = synthesize({{0.0, {45}, 1.0, 100}}, kSr, v);
    const double f = 8 * 110.0;
    const double stretched = f * std::sqrt(1 + v.inharmonicity * 64);
    EXPECT_GT(level_at(a2, stretched, 0.0, 1.0), 3 * level_at(a2, f, 0.0, 1.0));
}

} // namespace
