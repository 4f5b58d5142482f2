#include "AudioFollower.hpp"

#include "StandaloneHost.hpp"

#include <algorithm>

AudioFollower::AudioFollower(StandaloneHost& h, const std::vector<float>& s, double tail)
    : host(h)
    , samples(s)
    , padded(static_cast<size_t>(h.block_size()), 0.0f)
    , rate(h.sample_rate())
    , last(s.size() + static_cast<size_t>(std::max(0.0, tail * rate))) {}

const float* AudioFollower::block_at(size_t first) {
    const size_t n = padded.size();
    if (first + n <= samples.size()) return samples.data() + first;
    std::fill(padded.begin(), padded.end(), 0.0f);
    if (first < samples.size())
        std::copy(samples.begin() + static_cast<long>(first), samples.end(), padded.begin());
    return padded.data();
}

double AudioFollower::time() const {
    return rate > 0 ? static_cast<double>(next) / rate : 0.0;
}

bool AudioFollower::step(bool realtime) {
    const size_t block = padded.size();
    if (block == 0 || rate <= 0 || next + block > last || host.engine().stopped_by_fault()) return false;
    const double t = static_cast<double>(next + block) / rate;
    if (realtime) host.wait_until(t);
    host.set_time(t);
    host.engine().cadenzium_next_frame(block_at(next));
    next += block;
    return true;
}

void AudioFollower::run(bool realtime, const std::function<void(double)>& progress) {
    if (realtime) host.start_wall_clock();
    for (long count = 0; step(realtime); ++count)
        if (progress && count % 256 == 0) progress(time());
    if (progress) progress(static_cast<double>(last) / std::max(rate, 1.0));
}
