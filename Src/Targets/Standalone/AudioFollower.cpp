#include "AudioFollower.hpp"

#include "StandaloneHost.hpp"

#include <algorithm>

AudioFollower::AudioFollower(StandaloneHost& h, const std::vector<float>& s)
    : host(h)
    , samples(s)
    , padded(static_cast<size_t>(h.Blocksize()), 0.0f) {}

const float* AudioFollower::block_at(size_t first) {
    const size_t n = padded.size();
    if (first + n <= samples.size()) return samples.data() + first;
    std::fill(padded.begin(), padded.end(), 0.0f);
    if (first < samples.size())
        std::copy(samples.begin() + static_cast<long>(first), samples.end(), padded.begin());
    return padded.data();
}

void AudioFollower::run(bool realtime, double tail, const std::function<void(double)>& progress) {
    const double rate = host.Samplerate();
    const size_t block = padded.size();
    if (block == 0 || rate <= 0) return;
    const auto last = samples.size() + static_cast<size_t>(tail * rate);
    if (realtime) host.start_wall_clock();
    long count = 0;
    for (size_t first = 0; first + block <= last; first += block, ++count) {
        const double t = static_cast<double>(first + block) / rate;
        if (realtime) host.wait_until(t);
        host.set_time(t);
        host.cadenzium_next_frame(block_at(first));
        if (progress && count % 256 == 0) progress(t);
    }
    if (progress) progress(static_cast<double>(last) / rate);
}
