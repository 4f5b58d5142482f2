// The audio and MIDI input of the engine: frames fill the analysis window,
// a full window is analysed, and a decoding step runs when following.
#include "RunTime/CadenziumCore.hpp"

#include "RunTime/Console.hpp"

#include <algorithm>
#include <cstring>

// Copies one block into the analysis window (narrowing doubles to floats)
// and runs the analysis when the window is exactly full.
template <class Sample>
void cadenzium_core::next_frame(const Sample* block) {
    std::unique_lock lock(frame_mutex);
    frame_cond.wait(lock, [this] { return !frame_busy; });
    const int n = static_cast<int>(Blocksize());
    const int window = static_cast<int>(window_size);
    if (n <= 0 || frame_fill + n > window) {
        // A block size that does not divide the window cannot reach it
        // exactly; start the window again rather than write past it.
        frame_fill = 0;
        if (n <= 0 || n > window) return;
    }
    float* out = frame_buffer.data() + frame_fill;
    for (int i = 0; i < n; ++i) out[i] = static_cast<float>(block[i]);
    if (frame_fill + n != window) {
        frame_fill += n;
        return;
    }
    window_full();
}

void cadenzium_core::cadenzium_next_frame(const float* block) { next_frame(block); }
void cadenzium_core::cadenzium_next_frame_double(const double* block) { next_frame(block); }

// The window is full: analyse it, keep its last (window - hop) samples for
// the next one, and decode when following. Called with frame_mutex held.
void cadenzium_core::window_full() {
    listening_front_end(frame_buffer.data());
    const int window = static_cast<int>(window_size);
    const int keep = window - static_cast<int>(hop_size);
    std::memmove(frame_buffer.data(), frame_buffer.data() + (window - keep), static_cast<size_t>(keep) * sizeof(float));
    frame_fill = keep;
    if (running != 1 || !follow_on) return;
    std::lock_guard align_lock(align_mutex);
    align_busy = true;
    listening_step();
    align_busy = false;
    align_cond.notify_all();
}

void cadenzium_core::cadenzium_doit(int n, const float* values) {
    if (running != 1 || !follow_on) return;
    std::lock_guard lock(align_mutex);
    align_busy = true;
    if (n >= 1) listening_observe(n, values);
    listening_step();
    align_busy = false;
    align_cond.notify_all();
}

void cadenzium_core::cadenzium_analysisParameters(int window, int hop) {
    if (window <= 0 || hop <= 0 || hop > window) {
        error("%s - Bad analysis parameters: window %d, hop %d", thisName(), window, hop);
        return;
    }
    std::lock_guard lock(frame_mutex);
    frame_busy = true;
    window_size = static_cast<float>(window);
    hop_size = static_cast<float>(hop);
    frame_buffer.assign(static_cast<size_t>(window), 0.0f);
    frame_fill = 0;
    frame_busy = false;
    frame_cond.notify_all();
}

void cadenzium_core::cadenzium_init_dsp() {
    if (Samplerate() > 0) sample_rate = Samplerate();
    cadenzium_analysisParameters(static_cast<int>(window_size), static_cast<int>(hop_size));
}
