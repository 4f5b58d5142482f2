#include "AudioFollower.hpp"

#include "AudioFile.hpp"
#include "StandaloneHost.hpp"

#include <algorithm>

AudioFollower::AudioFollower(StandaloneHost& h, SampleSource& s, double tail)
    : host(h)
    , source(s)
    , block(static_cast<std::size_t>(std::max(0.0f, h.block_size())), 0.0f)
    , rate(h.sample_rate())
    , tail_samples(static_cast<std::size_t>(std::max(0.0, tail * rate))) {}

bool AudioFollower::fill_block() {
    const std::size_t n = block.size();
    std::size_t got = 0;
    if (!ended) {
        got = source.read(block.data(), n);
        if (got < n) {
            ended = true;
            sound_end = played + got;
        }
    }
    std::fill(block.begin() + static_cast<long>(got), block.end(), 0.0f);
    return !ended || played + n <= sound_end + tail_samples;
}

double AudioFollower::time() const {
    return rate > 0 ? static_cast<double>(played) / rate : 0.0;
}

bool AudioFollower::step(bool realtime) {
    if (block.empty() || rate <= 0 || host.engine().stopped_by_fault() || !fill_block()) return false;
    const double t = static_cast<double>(played + block.size()) / rate;
    if (realtime) host.wait_until(t);
    host.set_time(t);
    host.engine().cadenzium_next_frame(block.data());
    played += block.size();
    return true;
}

void AudioFollower::run(bool realtime, const std::function<void(double)>& progress) {
    if (realtime) host.start_wall_clock();
    for (long count = 0; step(realtime); ++count)
        if (progress && count % 256 == 0) progress(time());
    if (progress) progress(time());
}
