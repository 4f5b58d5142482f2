#include "StandaloneHost.hpp"

#include <thread>

StandaloneHost::StandaloneHost() {
    // The standalone program listens to one input, inlet 0, by MIDI; its
    // pitches are read in midicents.
    obs_iomap["MIDI"] = 0;
}

void StandaloneHost::report_position(int index, const Event* event) {
    if (position_sink) position_sink(index, event);
}

double StandaloneHost::GetTime() const {
    if (!wall_clock) return virtual_now;
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - wall_origin).count();
}

void StandaloneHost::start_wall_clock() {
    wall_clock = true;
    wall_origin = std::chrono::steady_clock::now();
}

void StandaloneHost::wait_until(double seconds) const {
    std::this_thread::sleep_until(wall_origin + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                                    std::chrono::duration<double>(seconds)));
}

void StandaloneHost::deliver_note(int pitch, int velocity) {
    const float values[2] = {static_cast<float>(pitch), static_cast<float>(velocity)};
    cadenzium_doit(2, values);
}

void StandaloneHost::decoding_step() { cadenzium_doit(0, nullptr); }

double StandaloneHost::tempo_bpm() { return current_tempo_bpm(); }
