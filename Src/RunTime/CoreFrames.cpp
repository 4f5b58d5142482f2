// The audio and MIDI input of the engine: frames fill the analysis window,
// a full window is analysed, and a decoding step runs when following.
#include "RunTime/CadenziumCore.hpp"

#include "Base/Console.hpp"
#include "Listening/CadAlign.hpp"
#include "RunTime/HostPort.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>

// Copies one block into the analysis window (narrowing doubles to floats)
// and runs the analysis when the window is exactly full.
template <class Sample>
void cadenzium_core::next_frame(const Sample* block) {
    const ConsoleScope scope(&rt.console);
    std::unique_lock lock(frame_mutex);
    frame_cond.wait(lock, [this] { return !frame_busy; });
    const int n = static_cast<int>(port.block_size());
    const int window = static_cast<int>(window_size);
    if (n <= 0 || frame_fill + n > window) {
        // A block size that does not divide the window cannot reach it
        // exactly; start the window again rather than write past it.
        frame_fill = 0;
        if (n <= 0 || n > window) return;
    }
    // A sample that is no finite number would poison every spectrum after
    // it: it is heard as silence, and counted for the host to say.
    float* out = frame_buffer.data() + frame_fill;
    for (int i = 0; i < n; ++i) {
        const float x = static_cast<float>(block[i]);
        const bool finite = std::isfinite(x);
        out[i] = finite ? x : 0.0f;
        if (!finite) non_finite_samples.fetch_add(1, std::memory_order_relaxed);
    }
    if (frame_fill + n != window) {
        frame_fill += n;
        return;
    }
    window_full();
}

void cadenzium_core::cadenzium_next_frame(const float* block) {
    next_frame(block);
}
void cadenzium_core::cadenzium_next_frame_double(const double* block) {
    next_frame(block);
}

// The window is full: analyse it, keep its last (window - hop) samples for
// the next one, and decode when following. Called with frame_mutex held.
void cadenzium_core::window_full() {
    align->SigProc_frontend(frame_buffer.data());
    const int window = static_cast<int>(window_size);
    const int keep = window - static_cast<int>(hop_size);
    std::memmove(frame_buffer.data(), frame_buffer.data() + (window - keep),
                 static_cast<size_t>(keep) * sizeof(float));
    frame_fill = keep;
    if (calibrating && inlet_map.count("KL")) cadenzium_doit_calibration();
    if (!is_running() || !follow_on) return;
    std::lock_guard align_lock(align_mutex);
    align_busy = true;
    decoding_thread = std::this_thread::get_id();
    follow(*align, align->Align(GetTime()));
    decoding_thread = std::thread::id();
    align_busy = false;
    align_cond.notify_all();
}

void cadenzium_core::cadenzium_doit(int n, const float* values) {
    const ConsoleScope scope(&rt.console);
    if (!is_running() || !follow_on) return;
    std::lock_guard lock(align_mutex);
    align_busy = true;
    decoding_thread = std::this_thread::get_id();
    if (n >= 1) {
        align->set_observation(0, values, n);
        align->MIDI_prepareObs(GetTime());
    }
    if (n < 1 || !hop_clocked_midi) follow(*align, align->Align(GetTime()));
    decoding_thread = std::thread::id();
    align_busy = false;
    align_cond.notify_all();
}

void cadenzium_core::cadenzium_midi_control(int number, int value) {
    const ConsoleScope scope(&rt.console);
    std::lock_guard lock(align_mutex);
    align->MIDI_control(number, value);
}

// -1 asks for defaults: a window of 4096 with a hop of 512 (or the block
// size, if larger); a hop of -1 is the block size when below half the
// window, else half the window. A hop below the block size could not be
// kept by frames that arrive a block at a time: it becomes the block size.
void cadenzium_core::cadenzium_analysisParameters(int window, int hop) {
    const ConsoleScope scope(&rt.console);
    const int was_running = running.exchange(0);
    {
        std::lock_guard lock(frame_mutex);
        frame_busy = true;
        const int block = static_cast<int>(port.block_size());
        if (window == -1) {
            window = 4096;
            hop = std::max(block, 512);
        } else if (hop == -1) {
            hop = block > 0 && block < window / 2 ? block : window / 2;
        }
        if (block > 0 && hop < block) {
            error("%s: Hopsize must be greater than or equal to system vector size!", thisName());
            error("Hopsize is set to system blocksize: %i", block);
            hop = block;
        }
        apply_analysis(window, hop);
        frame_busy = false;
    }
    frame_cond.notify_all();
    if (was_running == 1) running = 1;
}

// Called with frame_mutex held and frames held off.
void cadenzium_core::apply_analysis(int window, int hop) {
    if (window < 8 || hop <= 0 || hop > window) {
        error("%s - Bad analysis parameters: window %d, hop %d", thisName(), window, hop);
        return;
    }
    const CadAlign& a = get_align();
    if (window == static_cast<int>(a.nfft) && hop == static_cast<int>(a.hop) && sample_rate == a.samplerate &&
        static_cast<int>(window_size) == window && static_cast<int>(hop_size) == hop)
        return;
    window_size = static_cast<float>(window);
    hop_size = static_cast<float>(hop);
    frame_buffer.assign(static_cast<size_t>(window), 0.0f);
    frame_fill = 0;
    get_align().setAnalysis(sample_rate, window_size, hop_size);
    inform("%s - Analysis parameters set to %i (winsz) %i (hopsz)", thisName(), window, hop);
}

void cadenzium_core::cadenzium_init_dsp() {
    const ConsoleScope scope(&rt.console);
    if (port.sample_rate() > 0) sample_rate = port.sample_rate();
    cadenzium_analysisParameters(static_cast<int>(window_size), static_cast<int>(hop_size));
}
