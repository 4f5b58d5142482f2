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
    // the follower. `tail` seconds of silence follow it.
    AudioFollower(StandaloneHost& host, const std::vector<float>& samples, double tail = 1.0);

    // Plays the whole sound and its tail. `progress` is told the time
    // reached, now and then.
    void run(bool realtime, const std::function<void(double)>& progress = {});
    // Plays the next block (waiting for its time when `realtime`); false
    // once the sound and its tail are over.
    bool step(bool realtime);
    // The time of the end of the last block played.
    double time() const;

private:
    // The block that starts at sample `first`, padded with silence past the
    // end of the sound.
    const float* block_at(size_t first);

    StandaloneHost& host;
    const std::vector<float>& samples;
    std::vector<float> padded;
    double rate;
    size_t last;     // samples of the sound and its tail
    size_t next = 0; // the first sample of the next block
};
