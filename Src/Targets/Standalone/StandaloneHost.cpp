#include "StandaloneHost.hpp"

#include "Osc/OscSender.hpp"
#include "RunTime/Environment_RunTime.hpp"

#include <thread>

StandaloneHost::StandaloneHost(HostClocks* clocks)
    : host_clocks(clocks)
    , core(*this) {
    // The standalone program listens to one input, inlet 0, by MIDI; its
    // pitches are read in midicents.
    core.set_inlet("MIDI", 0);
    // Every way the program follows MIDI runs a decoding step per hop.
    core.midi_steps_by_hop(true);
}

void StandaloneHost::listen_by_audio(int rate, int block_samples) {
    core.erase_inlet("MIDI");
    core.set_inlet("KL", 0);
    sample_rate_hz = static_cast<float>(rate);
    block = static_cast<float>(block_samples);
    core.cadenzium_init_dsp();
    core.cadenzium_analysisParameters(-1, -1);
}

void StandaloneHost::report_position(int index, const Event* event, double time, double tempo_bpm) {
    const std::lock_guard<std::mutex> hold(report_mutex);
    if (position_sink) position_sink(index, event, time, tempo_bpm);
}

void StandaloneHost::send_message(const message& m) {
    if (forward) forward->send("/" + m.receiver, {m.values});
    const std::lock_guard<std::mutex> hold(report_mutex);
    if (message_sink) message_sink(m);
}

void StandaloneHost::set_time(double seconds) {
    if (wall_clock) return;
    core.time().advance_to(seconds);
    if (time_sink) time_sink(seconds);
}

void StandaloneHost::start_wall_clock() {
    if (wall_clock) return;
    wall_clock = true;
    wall_origin = std::chrono::steady_clock::now();
    core.time().init_now();
}

void StandaloneHost::wait_until(double seconds) const {
    std::this_thread::sleep_until(wall_origin +
                                  std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                      std::chrono::duration<double>(seconds)));
}

void StandaloneHost::deliver_note(int pitch, int velocity) {
    const float values[2] = {static_cast<float>(pitch), static_cast<float>(velocity)};
    core.cadenzium_doit(2, values);
}

void StandaloneHost::deliver_control(int number, int value) {
    core.cadenzium_midi_control(number, value);
}

void StandaloneHost::decoding_step() {
    core.cadenzium_doit(0, nullptr);
}
