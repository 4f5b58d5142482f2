#include "StandaloneHost.hpp"

#include "RunTime/CadClock.hpp"
#include "RunTime/VirtualTime.hpp"

#include <thread>

StandaloneHost::StandaloneHost() {
    // The standalone program listens to one input, inlet 0, by MIDI; its
    // pitches are read in midicents.
    obs_iomap["MIDI"] = 0;
}

void StandaloneHost::listen_by_audio(int rate, int block) {
    obs_iomap.erase("MIDI");
    obs_iomap["KL"] = 0;
    set_sample_rate(static_cast<float>(rate));
    set_block_size(static_cast<float>(block));
    cadenzium_init_dsp();
    cadenzium_analysisParameters(-1, -1);
}

void StandaloneHost::report_position(int index, const Event* event) {
    if (position_sink) position_sink(index, event);
}

void StandaloneHost::send_one_message(const message& m) {
    if (message_sink) message_sink(m);
}

void StandaloneHost::set_time(double seconds) {
    if (wall_clock || !CadClock::virtual_mode()) return;
    VirtualTime::run_until(seconds);
    if (seconds > CadClock::GetTime()) CadClock::SetTime(seconds);
}

void StandaloneHost::start_wall_clock() {
    if (wall_clock) return;
    wall_clock = true;
    wall_origin = std::chrono::steady_clock::now();
    CadClock::init_now();
}

void StandaloneHost::wait_until(double seconds) const {
    std::this_thread::sleep_until(wall_origin +
                                  std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                      std::chrono::duration<double>(seconds)));
}

void StandaloneHost::deliver_note(int pitch, int velocity) {
    const float values[2] = {static_cast<float>(pitch), static_cast<float>(velocity)};
    cadenzium_doit(2, values);
}

void StandaloneHost::decoding_step() {
    cadenzium_doit(0, nullptr);
}

double StandaloneHost::tempo_bpm() {
    return current_tempo_bpm();
}
