// The signal front end of audio listening: one analysis window of samples in,
// one magnitude spectrum out. The FFT plan and its buffers are made once per
// window size, so that a frame only multiplies, transforms and takes moduli.
#pragma once

#include <vector>

class AudioFrontEnd {
public:
    AudioFrontEnd() = default;
    ~AudioFrontEnd();
    AudioFrontEnd(const AudioFrontEnd&) = delete;
    AudioFrontEnd& operator=(const AudioFrontEnd&) = delete;

    // Prepares the Hann window, its norm, the FFT buffers and plan for a
    // window of `nfft` samples (even, at least 4). Not for the audio thread.
    void setAnalysis(int nfft);

    // Windows `nfft` samples, transforms them and writes the packed
    // magnitudes to `out`: |DC|, the moduli of bins 1 .. nfft/2 - 1, then the
    // Nyquist term with its sign. `out` gets nfft/2 + 1 entries and does not
    // allocate once it has held that many.
    void SigProc_frontend(const float* samples, std::vector<float>& out);

    int nfft() const { return size; }
    int spectrum_size() const { return size / 2 + 1; }
    const std::vector<float>& window() const { return hann; }
    // 1 / (2 nfft + sum(window) / 2): the scale of a full-scale sine's peak.
    float window_norm() const { return norm; }

private:
    void release();

    int size = 0;
    std::vector<float> hann;
    float norm = 0;
    float* time_buffer = nullptr;
    // Interleaved (re, im) pairs of the half spectrum, nfft/2 + 1 of them.
    float* freq_buffer = nullptr;
    void* plan = nullptr;
};
