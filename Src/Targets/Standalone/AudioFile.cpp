#include "AudioFile.hpp"

#include "Base/Console.hpp"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <sndfile.h>

namespace {

// Frames read from the file at once, whatever the caller asks for.
constexpr std::size_t kFramesAtOnce = 4096;

// Samples that are no finite number would poison every spectrum after
// them: they become silence. Gives how many there were.
std::size_t silence_non_finite(float* samples, std::size_t n) {
    std::size_t bad = 0;
    for (std::size_t i = 0; i < n; ++i) {
        if (std::isfinite(samples[i])) continue;
        samples[i] = 0.0f;
        ++bad;
    }
    return bad;
}

} // namespace

std::size_t MemorySamples::read(float* out, std::size_t n) {
    const std::size_t got = std::min(n, samples.size() - next);
    std::copy_n(samples.begin() + static_cast<long>(next), got, out);
    next += got;
    return got;
}

SoundFile::SoundFile(std::string p, SNDFILE* f, int r, int c, long long n)
    : path(std::move(p))
    , file(f)
    , rate(r)
    , channel_count(c)
    , frames(n)
    , frame_block(kFramesAtOnce * static_cast<std::size_t>(c)) {}

SoundFile::~SoundFile() { sf_close(file); }

std::unique_ptr<SoundFile> SoundFile::open(const std::string& path) {
    std::error_code ec;
    if (!std::filesystem::exists(path, ec)) {
        error("cadenzium - Audio file '%s' not found.", path.c_str());
        return nullptr;
    }
    SF_INFO info{};
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
    if (!f) {
        error("cadenzium - Cannot read audio file '%s': %s", path.c_str(), sf_strerror(nullptr));
        return nullptr;
    }
    if (info.samplerate < kLowestRate || info.samplerate > kHighestRate) {
        sf_close(f);
        error("cadenzium - Audio file '%s' declares %d Hz: sounds from %d to %d Hz are followed.", path.c_str(),
              info.samplerate, kLowestRate, kHighestRate);
        return nullptr;
    }
    if (info.frames <= 0 || info.channels <= 0) {
        sf_close(f);
        error("cadenzium - Audio file '%s' holds no samples.", path.c_str());
        return nullptr;
    }
    return std::unique_ptr<SoundFile>(new SoundFile(path, f, info.samplerate, info.channels, info.frames));
}

std::size_t SoundFile::read(float* out, std::size_t n) {
    const auto channels = static_cast<std::size_t>(channel_count);
    std::size_t done = 0;
    while (done < n && damage.empty()) {
        const std::size_t want = std::min(n - done, kFramesAtOnce);
        const auto got =
            static_cast<std::size_t>(sf_readf_float(file, frame_block.data(), static_cast<sf_count_t>(want)));
        for (std::size_t i = 0; i < got; ++i)
            out[done + i] = frame_block[i * channels];
        silenced += silence_non_finite(out + done, got);
        done += got;
        if (sf_error(file) != SF_ERR_NO_ERROR) damage = sf_strerror(file);
        if (got < want) break;
    }
    return done;
}

std::string SoundFile::describe() const {
    const std::string name = std::filesystem::path(path).filename().string();
    const char* which = channel_count > 1 ? " (first used)" : "";
    return str_printf("%s: %d Hz, %d channel%s%s, %.2f s", name.c_str(), rate, channel_count,
                      channel_count == 1 ? "" : "s", which, seconds());
}

bool SoundFile::report_reading() const {
    if (silenced)
        error("cadenzium - Audio file '%s': %zu samples that are not numbers (NaN or infinite) are read as "
              "silence.",
              path.c_str(), silenced);
    if (!damage.empty()) error("cadenzium - Audio file '%s' is damaged: %s", path.c_str(), damage.c_str());
    return damage.empty();
}

std::optional<AudioFile> read_audio_file(const std::string& path) {
    std::unique_ptr<SoundFile> sound = SoundFile::open(path);
    if (!sound) return std::nullopt;
    AudioFile file{{}, sound->sample_rate(), sound->channels()};
    std::vector<float> block(kFramesAtOnce);
    while (const std::size_t got = sound->read(block.data(), block.size())) {
        file.samples.insert(file.samples.end(), block.begin(), block.begin() + static_cast<long>(got));
        if (got < block.size()) break;
    }
    if (!sound->report_reading()) return std::nullopt;
    return file;
}
