// Nodes whose output tells what the graph did with them.
#pragma once

#include "Dsp/DspDef.hpp"

#include <algorithm>
#include <array>
#include <vector>

// out = 2 * in + 1 + control: the order of a chain shows in its result.
class Affine : public DspNode {
public:
    Affine(const char* name, int inputs, int controls)
        : DspNode(name, inputs, controls, 1) {}
    void compute(int n) override {
        if (!outs[0]) return;
        for (int i = 0; i < n; ++i) {
            const float x = ins.empty() || !ins[0] ? 0.0f : ins[0][i];
            const float c = ctls.empty() || !ctls[0] ? 0.0f : ctls[0][i];
            outs[0][i] = 2.0f * x + 1.0f + c;
        }
    }
};

// A sound node whose second output is the number of notes sounding.
class NoteCounter : public DspNode {
public:
    explicit NoteCounter(const char* name)
        : DspNode(name, 0, 0, 2) {}
    bool start_dsp(float rate, int max_block) override {
        silence.assign(static_cast<std::size_t>(max_block), 0.0f);
        count.assign(static_cast<std::size_t>(max_block), 0.0f);
        return DspNode::start_dsp(rate, max_block);
    }
    bool plays_unpatched() const override { return true; }
    void note_on(int channel, int key, int) override { on[index(channel, key)] = true; }
    void note_off(int channel, int key) override {
        if (!on[index(channel, key)]) released_unknown = true;
        on[index(channel, key)] = false;
    }
    void all_notes_off() override { on.fill(false); }
    void compute(int n) override {
        const auto sounding = static_cast<float>(std::count(on.begin(), on.end(), true));
        std::fill_n(count.begin(), n, sounding);
    }
    sample_t* own_output(int i) override { return i == 0 ? silence.data() : count.data(); }

    bool released_unknown = false;

private:
    static std::size_t index(int channel, int key) { return static_cast<std::size_t>(channel * 128 + key); }
    std::array<bool, 16 * 128> on{};
    std::vector<sample_t> silence, count;
};
