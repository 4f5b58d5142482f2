#include "FollowRender.hpp"

#include <algorithm>
#include <cmath>
#include <map>
#include <utility>

namespace {

using Key = std::pair<int, int>; // channel, pitch

SynthNote note_from(const MidiNote& on, double off) {
    return {on.time,
            {static_cast<float>(on.pitch)},
            std::max(0.0, off - on.time),
            static_cast<float>(on.velocity)};
}

} // namespace

std::vector<SynthNote> notes_of_performance(const std::vector<MidiNote>& events, double end) {
    std::vector<SynthNote> notes;
    std::map<Key, MidiNote> sounding;
    for (const MidiNote& e : events) {
        const Key key{e.channel, e.pitch};
        const auto it = sounding.find(key);
        if (it != sounding.end()) {
            notes.push_back(note_from(it->second, e.time));
            sounding.erase(it);
        }
        if (e.is_on()) sounding.emplace(key, e);
    }
    for (const auto& [key, on] : sounding)
        notes.push_back(note_from(on, std::max(end, on.time)));
    return notes;
}

std::vector<float> render_performance(const MidiReadResult& performance, int rate, const SynthVoice& voice) {
    return synthesize(notes_of_performance(performance.notes, performance.duration), rate, voice);
}

bool write_rendering(const std::string& path, const std::vector<float>& samples, int rate) {
    float peak = 0;
    for (float x : samples)
        peak = std::max(peak, std::fabs(x));
    if (peak <= 0.99f) return write_sound_file(path, samples, rate);
    std::vector<float> scaled(samples);
    for (float& x : scaled)
        x *= 0.99f / peak;
    return write_sound_file(path, scaled, rate);
}
