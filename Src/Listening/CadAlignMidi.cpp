// The MIDI observation: the notes now sounding on a grid of half semitones,
// matched against one Gaussian template per pitch class.
#include "Listening/CadAlign.hpp"

#include "Base/Console.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace {

int inlet_number(const std::map<std::string, int>* inlets, const char* kind) {
    if (!inlets) return -1;
    const auto it = inlets->find(kind);
    return it == inlets->end() ? -1 : it->second;
}

} // namespace

int CadAlign::MIDI_input() const {
    return inlet_number(inlets, "MIDI");
}
int CadAlign::AUDIO_input() const {
    return inlet_number(inlets, "KL");
}

bool CadAlign::MIDI_statecheck(int i) const {
    const int m = MIDI_input();
    if (m < 0 || !score || i < 0 || i >= static_cast<int>(score->events.size())) return false;
    return score->events[static_cast<size_t>(i)]->obs_inlet() == m;
}

bool CadAlign::AUDIO_statecheck(int i) const {
    const int a = AUDIO_input();
    if (a < 0 || !score || i < 0 || i >= static_cast<int>(score->events.size())) return false;
    return score->events[static_cast<size_t>(i)]->obs_inlet() == a;
}

void CadAlign::set_observation(int inlet, const float* values, int n) {
    std::vector<float>& v = observations[inlet];
    v.assign(values, values + std::max(n, 0));
}

// Exact equality: a pitch off the half-semitone grid is ignored.
int CadAlign::grid_index(float pitch) const {
    const auto it = std::lower_bound(midi_grid.begin(), midi_grid.end(), pitch);
    if (it == midi_grid.end() || *it != pitch) return -1;
    return static_cast<int>(it - midi_grid.begin());
}

bool CadAlign::any_note_sounding() const {
    return std::any_of(midi_active.begin(), midi_active.end(), [](float a) { return a > 1e-12; });
}

// A note-off that leaves other notes sounding goes on through the note-on
// branch, which marks the released pitch as sounding again: a pitch is only
// released for good when every note is off.
void CadAlign::MIDI_prepareObs() {
    MIDI_prepareObs(last_time);
}

void CadAlign::MIDI_prepareObs(double now) {
    const int inlet = MIDI_input();
    if (inlet < 0) return;
    const auto start = std::chrono::steady_clock::now();
    std::vector<float>& v = observations[inlet];
    if (v.empty()) {
        if (verbosity > 1) post("NO MIDI ACTIVITY IN INLETS");
        return;
    }
    if (v.size() != 2) error("Cadenzium~: BAD MIDI MESSAGE! Inputs should be pitch+velocity lists.");
    if (v.size() < 2) {
        v.clear();
        return;
    }
    const float pitch = v[0];
    const float velocity = v[1];
    if (verbosity > 1)
        post("MIDI OBSERVATION (inlet %i): INPUT %i %i", inlet, static_cast<int>(pitch),
             static_cast<int>(velocity));
    const int bin = grid_index(pitch);
    bool note_on = true;
    if (velocity <= 0) {
        if (bin >= 0) midi_active[static_cast<size_t>(bin)] = 1e-12f;
        heard.note_off(bin);
        if (!any_note_sounding()) {
            silence_prob = 0.6f;
            note_on = false;
        }
    }
    if (note_on) {
        // A note-off with other notes still sounding keeps the machine
        // listening, but the released pitch stays released: re-sounding it
        // would leave every overlapped (legato) note sounding for ever.
        if (bin >= 0 && velocity > 0) {
            midi_active[static_cast<size_t>(bin)] = 1.0f;
            heard.note_on(bin, static_cast<int>(std::lround(pitch)), now);
            note_heard = true;
        }
        align_on = true;
        silence_prob = 1e-12f;
    }
    v.clear();
    if (verbosity > 2)
        post("MIDI observation prepared in %.3f ms",
             std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count());
}

void CadAlign::MIDI_control(int number, int value) {
    if (number == 64 && hear_pedal) heard.pedal(value >= 64);
}

void CadAlign::midi_envelope_set(double release_ms, double sustain_level, double sustain_ms) {
    heard.set_envelope(release_ms, sustain_level, sustain_ms);
    inform("%s - MIDI observation: release %.0f ms, sustain level %.2f reached in %.0f ms.", name(),
         heard.release_time(), heard.sustain(), heard.sustain_time());
}

// Pitches above 127 are midicents. A bump whose span reaches the end of the
// grid is left out.
void CadAlign::MakeMIDItemplates(std::vector<float>& out, const PitchClass& pc) const {
    out.assign(static_cast<size_t>(midi_size), 0.0f);
    const double var = pc.variance;
    for (float raw : pc.pitches) {
        double p = std::fabs(raw);
        if (p > 127) p /= 100.0;
        if (p <= 0) continue;
        const auto lo = std::lower_bound(midi_grid.begin(), midi_grid.end(), p - 4 * var);
        const auto hi = std::upper_bound(midi_grid.begin(), midi_grid.end(), p + 4 * var);
        if (hi == midi_grid.end() || lo >= hi) continue;
        for (auto g = lo; g != hi; ++g) {
            const double d = *g - p;
            const double bump = var > 0 ? std::exp(-(d * d) / (2 * var * var)) : (d == 0 ? 1.0 : 0.0);
            out[static_cast<size_t>(g - midi_grid.begin())] += static_cast<float>(bump);
        }
    }
    double sum = 1e-12;
    for (float x : out)
        sum += x;
    for (float& x : out)
        x = static_cast<float>(x / sum);
}

float CadAlign::midi_match(const std::vector<float>& templ, int positive,
                           const std::vector<float>& obs) const {
    double dot = 0;
    const size_t n = std::min(templ.size(), obs.size());
    for (size_t i = 0; i < n; ++i)
        dot += static_cast<double>(obs[i]) * templ[i];
    double sounding = 1e-12;
    for (float a : midi_active)
        sounding += a;
    const double value = dot / std::max(static_cast<double>(positive), sounding);
    return value < 1e-12 ? 1e-12f : static_cast<float>(value);
}

float CadAlign::MIDI_likelihood(const PitchClass& pc, const std::vector<float>& obs) {
    MakeMIDItemplates(likelihood_scratch, pc);
    return midi_match(likelihood_scratch, pc.positive_count(), obs);
}
