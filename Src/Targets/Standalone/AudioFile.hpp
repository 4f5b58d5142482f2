// Reading a recorded performance from a sound file (WAV, AIFF, FLAC and the
// other formats libsndfile reads). The first channel is kept, at the file's
// own sample rate.
#pragma once

#include <optional>
#include <string>
#include <vector>

struct AudioFile {
    std::string path;
    std::vector<float> samples; // the first channel
    int sample_rate = 0;
    int channels = 0;

    double seconds() const {
        return sample_rate > 0 ? static_cast<double>(samples.size()) / sample_rate : 0.0;
    }
    // "perf.wav: 44100 Hz, 2 channels (first used), 12.34 s".
    std::string describe() const;
};

// The sample rates a sound is followed at.
constexpr int kLowestRate = 8000;
constexpr int kHighestRate = 384000;

// Reads the file, or reports on the console why it cannot and returns
// nothing: a missing file, a file that is no sound file, a sample rate out
// of range, or one that breaks off while being read. Samples that are not
// finite numbers are read as silence, and said once.
std::optional<AudioFile> read_audio_file(const std::string& path);
