// Drives the engine through a recorded sound: the samples go to the frame
// path a block at a time, each block at the time its last sample was
// captured, on the engine's virtual clock (as fast as possible) or paced by
// the wall clock. After the sound, silence goes on for the tail.
#pragma once

#include <functional>
#include <vector>

class StandaloneHost;

class AudioFollower {
public:
    // `samples` is one channel at the host's sample rate; it must outlive
    // the follower.
    AudioFollower(StandaloneHost& host, const std::vector<float>& samples);

    // Plays the whole sound, plus `tail` seconds of silence after its end.
    // `progress` is told the time reached, now and then.
    void run(bool realtime, double tail = 1.0, const std::function<void(double)>& progress = {});

private:
    // The block that starts at sample `first`, padded with silence past the
    // end of the sound.
    const float* block_at(size_t first);

    StandaloneHost& host;
    const std::vector<float>& samples;
    std::vector<float> padded;
};
