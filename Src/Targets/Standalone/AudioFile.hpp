// Reading a recorded performance from a sound file (WAV, AIFF, FLAC and the
// other formats libsndfile reads). The first channel is kept, at the file's
// own sample rate. A file is streamed a block at a time, so that following
// a concert-length recording takes the memory of a block, not of the sound.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// One channel of samples, given a block at a time.
class SampleSource {
public:
    virtual ~SampleSource() = default;
    // Fills `out` with up to `n` samples; fewer only at the end.
    virtual std::size_t read(float* out, std::size_t n) = 0;
};

// Samples held in memory (a rendering, a test signal). They must outlive
// the source.
class MemorySamples : public SampleSource {
public:
    explicit MemorySamples(const std::vector<float>& samples)
        : samples(samples) {}
    std::size_t read(float* out, std::size_t n) override;

private:
    const std::vector<float>& samples;
    std::size_t next = 0;
};

// The sample rates a sound is followed at.
constexpr int kLowestRate = 8000;
constexpr int kHighestRate = 384000;

struct sf_private_tag; // libsndfile's SNDFILE

// A sound file open for reading. Samples that are not finite numbers are
// read as silence; a file that breaks off ends where it breaks. What went
// wrong while reading is said once, by `report_reading`.
class SoundFile : public SampleSource {
public:
    // Opens the file, or reports on the console why it cannot and returns
    // nothing: a missing file, a file that is no sound file, a sample rate
    // out of range, no samples at all.
    static std::unique_ptr<SoundFile> open(const std::string& path);
    ~SoundFile() override;

    std::size_t read(float* out, std::size_t n) override;

    int sample_rate() const { return rate; }
    int channels() const { return channel_count; }
    // The length its header declares.
    double seconds() const { return static_cast<double>(frames) / rate; }
    // "perf.wav: 44100 Hz, 2 channels (first used), 12.34 s".
    std::string describe() const;
    // Reports the damage met and the samples silenced; false when the file
    // was damaged.
    bool report_reading() const;

private:
    SoundFile(std::string path, sf_private_tag* file, int rate, int channels, long long frames);

    std::string path;
    sf_private_tag* file;
    int rate;
    int channel_count;
    long long frames;
    std::vector<float> frame_block; // interleaved frames, reused
    std::size_t silenced = 0;
    std::string damage;
};

// A whole sound file in memory, for tools and tests.
struct AudioFile {
    std::vector<float> samples; // the first channel
    int sample_rate = 0;
    int channels = 0;

    double seconds() const {
        return sample_rate > 0 ? static_cast<double>(samples.size()) / sample_rate : 0.0;
    }
};

// Reads the whole file, or reports why it cannot (the reasons of
// SoundFile::open, and damage) and returns nothing.
std::optional<AudioFile> read_audio_file(const std::string& path);
