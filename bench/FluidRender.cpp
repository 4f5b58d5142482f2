#include "FluidRender.hpp"

#include <fluidsynth.h>

#include <algorithm>
#include <memory>

namespace {

// FluidSynth's console chatter is not the benchmark's.
void quiet_fluidsynth() {
    for (int level : {FLUID_PANIC, FLUID_ERR, FLUID_WARN, FLUID_INFO, FLUID_DBG})
        fluid_set_log_function(level, nullptr, nullptr);
}

struct Synth {
    fluid_settings_t* settings = new_fluid_settings();
    fluid_synth_t* synth = nullptr;
    ~Synth() {
        if (synth) delete_fluid_synth(synth);
        delete_fluid_settings(settings);
    }
};

// One note, controller change or the end, in time order.
struct Happening {
    double time;
    int rank; // controls first, then note-offs, then note-ons
    const MidiNote* note;
    const MidiControl* control;
};

std::vector<Happening> in_time(const MidiReadResult& p) {
    std::vector<Happening> all;
    for (const MidiControl& c : p.controls)
        all.push_back({c.time, 0, nullptr, &c});
    for (const MidiNote& n : p.notes)
        all.push_back({n.time, n.is_on() ? 2 : 1, &n, nullptr});
    std::stable_sort(all.begin(), all.end(), [](const Happening& a, const Happening& b) {
        return a.time != b.time ? a.time < b.time : a.rank < b.rank;
    });
    return all;
}

void apply(fluid_synth_t* synth, const Happening& h) {
    if (h.control) {
        fluid_synth_cc(synth, h.control->channel, h.control->number, h.control->value);
        return;
    }
    const MidiNote& n = *h.note;
    // Every channel plays the piano: the performance is a pianist's.
    if (n.is_on())
        fluid_synth_noteon(synth, n.channel, n.pitch, n.velocity);
    else
        fluid_synth_noteoff(synth, n.channel, n.pitch);
}

} // namespace

std::vector<float> render_with_fluidsynth(const MidiReadResult& performance, int rate,
                                          const std::string& soundfont, double tail, std::string& error) {
    quiet_fluidsynth();
    Synth s;
    fluid_settings_setnum(s.settings, "synth.sample-rate", rate);
    fluid_settings_setint(s.settings, "synth.polyphony", 512);
    fluid_settings_setint(s.settings, "synth.chorus.active", 0);
    s.synth = new_fluid_synth(s.settings);
    if (!s.synth || fluid_synth_sfload(s.synth, soundfont.c_str(), 1) == FLUID_FAILED) {
        error = "cannot load the sound font '" + soundfont + "'";
        return {};
    }
    for (int channel = 0; channel < 16; ++channel)
        fluid_synth_program_change(s.synth, channel, 0);

    const auto total = static_cast<size_t>((performance.duration + tail) * rate);
    std::vector<float> out(total, 0.0f);
    std::vector<float> left(4096), right(4096);
    size_t done = 0;
    auto render_until = [&](size_t end) {
        while (done < end) {
            const int n = static_cast<int>(std::min<size_t>(left.size(), end - done));
            fluid_synth_write_float(s.synth, n, left.data(), 0, 1, right.data(), 0, 1);
            for (int i = 0; i < n; ++i)
                out[done + static_cast<size_t>(i)] = 0.5f * (left[static_cast<size_t>(i)] + right[static_cast<size_t>(i)]);
            done += static_cast<size_t>(n);
        }
    };
    for (const Happening& h : in_time(performance)) {
        render_until(std::min(total, static_cast<size_t>(std::max(0.0, h.time) * rate)));
        apply(s.synth, h);
    }
    render_until(total);
    return out;
}
