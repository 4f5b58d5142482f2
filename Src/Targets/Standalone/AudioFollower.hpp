// Drives the engine through a recorded sound: the samples go to the frame
// path a block at a time, each block at the time its last sample was
// captured, on the engine's virtual clock (as fast as possible) or paced by
// the wall clock. After the sound, silence goes on for the tail.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

class SampleSource;
class StandaloneHost;

class AudioFollower {
public:
    // `source` gives one channel at the host's sample rate; it must outlive
    // the follower. `tail` seconds of silence follow it.
    AudioFollower(StandaloneHost& host, SampleSource& source, double tail = 1.0);

    // Plays the whole sound and its tail. `progress` is told the time
    // reached, now and then.
    void run(bool realtime, const std::function<void(double)>& progress = {});
    // Plays the next block (waiting for its time when `realtime`); false
    // once the sound and its tail are over.
    bool step(bool realtime);
    // The time of the end of the last block played.
    double time() const;

private:
    // Fills the block from the source, then with silence once it has ended;
    // false when the tail is over too.
    bool fill_block();

    StandaloneHost& host;
    SampleSource& source;
    std::vector<float> block;
    double rate;
    std::size_t tail_samples;
    std::size_t played = 0;    // samples sent to the engine
    std::size_t sound_end = 0; // samples of the sound, once it has ended
    bool ended = false;
};
