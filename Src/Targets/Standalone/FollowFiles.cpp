// Following recorded performances: a Standard MIDI File or a sound file,
// offline on the virtual clock or paced by the wall clock.
#include "FollowInput.hpp"

#include "AudioFile.hpp"
#include "AudioFollower.hpp"
#include "MidiFile.hpp"
#include "MidiFollower.hpp"
#include "Base/Console.hpp"

#include <unistd.h>

bool performance_length_ok(const std::string& path, double seconds) {
    if (seconds <= kLongestPerformance) return true;
    error("cadenzium: cannot follow '%s': it lasts %.0f hours; a performance lasts at most %.0f hours", path.c_str(),
          seconds / 3600, kLongestPerformance / 3600);
    return false;
}

namespace {

// The progress bar of an offline run on a terminal, over the performance
// and its tail.
std::function<void(double)> progress_of(FollowReport& report, const FollowOptions& options, double length) {
    report.show_progress(!options.quiet && isatty(STDERR_FILENO) && !options.realtime);
    const double end = length + options.tail;
    return [&report, end](double t) { report.progress(t, end); };
}

class MidiFileInput : public FollowInput {
public:
    explicit MidiFileInput(std::string path)
        : path(std::move(path)) {}

    ListeningProfile profile(const FollowOptions& options) const override { return midi_listening(options); }

    bool open(StandaloneHost&) override {
        performance = read_midi_file(path);
        if (!performance.ok()) {
            error("cadenzium: cannot read '%s': %s", path.c_str(), performance.error.c_str());
            return false;
        }
        return performance_length_ok(path, performance.duration);
    }

    bool run(StandaloneHost& host, FollowReport& report, const FollowOptions& options) override {
        MidiFollower follower(host, std::move(performance.notes), performance.duration,
                              std::move(performance.controls));
        follower.run(options.realtime, options.tail, progress_of(report, options, performance.duration));
        return true;
    }

private:
    std::string path;
    MidiReadResult performance;
};

// Blocks of 512 samples: the default hop, so each block completes a hop.
constexpr int kFileBlock = 512;

class AudioFileInput : public FollowInput {
public:
    explicit AudioFileInput(std::string path)
        : path(std::move(path)) {}

    ListeningProfile profile(const FollowOptions& options) const override { return audio_listening(options); }

    bool open(StandaloneHost& host) override {
        sound = SoundFile::open(path);
        if (!sound || !performance_length_ok(path, sound->seconds())) return false;
        post("cadenzium - %s", sound->describe().c_str());
        host.listen_by_audio(sound->sample_rate(), kFileBlock);
        return true;
    }

    bool run(StandaloneHost& host, FollowReport& report, const FollowOptions& options) override {
        AudioFollower follower(host, *sound, options.tail);
        follower.run(options.realtime, progress_of(report, options, sound->seconds()));
        return sound->report_reading();
    }

private:
    std::string path;
    std::unique_ptr<SoundFile> sound;
};

} // namespace

std::unique_ptr<FollowInput> midi_file_input(const std::string& path) {
    return std::make_unique<MidiFileInput>(path);
}

std::unique_ptr<FollowInput> audio_file_input(const std::string& path) {
    return std::make_unique<AudioFileInput>(path);
}
