// A sound node: a General MIDI synthesiser (libfluidsynth) playing a sound
// font, with two audio outputs (left, right), no audio inputs and one
// optional control, its gain (1 when no equation gives it). Notes come from
// the score's "fluidsynth::name(channel, key, velocity [, duration])"
// actions through the graph, which applies them on the audio thread; the
// synthesiser is built without its own locking for that reason.
#pragma once

#include "Dsp/DspDef.hpp"

#include <string>
#include <vector>

struct _fluid_hashtable_t;
struct _fluid_synth_t;

class FluidsynthNode final : public DspNode {
public:
    // `program` is the General MIDI program of every melodic channel; below
    // 0 the sound font's own choice.
    FluidsynthNode(std::string name, std::string soundfont, int program = -1);
    ~FluidsynthNode() override;
    FluidsynthNode(const FluidsynthNode&) = delete;
    FluidsynthNode& operator=(const FluidsynthNode&) = delete;

    void show(std::ostream& out) const override;
    // Loads the sound font at the graph's rate (reported when it fails).
    bool start_dsp(float rate, int max_block) override;
    void stop_dsp() override;
    void compute(int n) override;
    bool plays_unpatched() const override { return true; }
    int required_controls() const override { return 0; }
    void note_on(int channel, int key, int velocity) override;
    void note_off(int channel, int key) override;
    void all_notes_off() override;
    sample_t* own_output(int i) override;

    const std::string& soundfont() const { return font; }
    int program() const { return preset; }

private:
    void select_program();
    void apply_gain(int n);

    std::string font;
    int preset = -1;
    _fluid_hashtable_t* settings = nullptr;
    _fluid_synth_t* synth = nullptr;
    std::vector<sample_t> left, right;
};

// The version of the synthesiser library, for reports.
const char* fluidsynth_version_text();
