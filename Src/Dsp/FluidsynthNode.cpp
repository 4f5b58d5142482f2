#include "Dsp/FluidsynthNode.hpp"

#include "Base/Console.hpp"

#include <fluidsynth.h>

#include <algorithm>
#include <ostream>

namespace {

// MIDI numbers out of range are clamped rather than refused: a score's
// computed key may stray.
int midi_range(int v, int high) {
    return std::clamp(v, 0, high);
}

} // namespace

FluidsynthNode::FluidsynthNode(std::string name, std::string soundfont, int program)
    : DspNode(std::move(name), 0, 1, 2)
    , font(std::move(soundfont))
    , preset(program) {}

FluidsynthNode::~FluidsynthNode() {
    stop_dsp();
}

void FluidsynthNode::show(std::ostream& out) const {
    out << "fluidsynth " << name() << " (" << font;
    if (preset >= 0) out << ", program " << preset;
    out << ')';
}

bool FluidsynthNode::start_dsp(float r, int max_block) {
    stop_dsp();
    if (!DspNode::start_dsp(r, max_block) || max_block <= 0) return false;
    settings = new_fluid_settings();
    fluid_settings_setnum(settings, "synth.sample-rate", r);
    fluid_settings_setint(settings, "synth.threadsafe-api", 0);
    fluid_settings_setint(settings, "synth.cpu-cores", 1);
    synth = new_fluid_synth(settings);
    if (!synth || fluid_synth_sfload(synth, font.c_str(), 1) == FLUID_FAILED) {
        error("Dsp: fluidsynth node '%s' cannot load the sound font '%s'", name().c_str(), font.c_str());
        stop_dsp();
        return false;
    }
    select_program();
    left.assign(static_cast<std::size_t>(max_block), 0.0f);
    right.assign(static_cast<std::size_t>(max_block), 0.0f);
    return true;
}

// Channel 10 (9 from 0) keeps its drum kit.
void FluidsynthNode::select_program() {
    if (preset < 0) return;
    constexpr int kDrums = 9;
    for (int channel = 0; channel < 16; ++channel)
        if (channel != kDrums) fluid_synth_program_change(synth, channel, midi_range(preset, 127));
}

void FluidsynthNode::stop_dsp() {
    if (synth) delete_fluid_synth(synth);
    if (settings) delete_fluid_settings(settings);
    synth = nullptr;
    settings = nullptr;
}

void FluidsynthNode::compute(int n) {
    const auto count = static_cast<std::size_t>(n);
    if (!synth || count > left.size()) return;
    fluid_synth_write_float(synth, n, left.data(), 0, 1, right.data(), 0, 1);
    apply_gain(n);
    if (outs[0]) std::copy_n(left.data(), count, outs[0]);
    if (outs[1]) std::copy_n(right.data(), count, outs[1]);
}

void FluidsynthNode::apply_gain(int n) {
    const sample_t* gain = ctls[0];
    if (!gain) return;
    for (int i = 0; i < n; ++i) {
        left[static_cast<std::size_t>(i)] *= gain[i];
        right[static_cast<std::size_t>(i)] *= gain[i];
    }
}

void FluidsynthNode::note_on(int channel, int key, int velocity) {
    if (synth)
        fluid_synth_noteon(synth, midi_range(channel, 15), midi_range(key, 127), midi_range(velocity, 127));
}

void FluidsynthNode::note_off(int channel, int key) {
    if (synth) fluid_synth_noteoff(synth, midi_range(channel, 15), midi_range(key, 127));
}

void FluidsynthNode::all_notes_off() {
    if (synth) fluid_synth_all_notes_off(synth, -1);
}

sample_t* FluidsynthNode::own_output(int i) {
    if (i == 0) return left.data();
    if (i == 1) return right.data();
    return nullptr;
}

const char* fluidsynth_version_text() {
    return fluid_version_str();
}
