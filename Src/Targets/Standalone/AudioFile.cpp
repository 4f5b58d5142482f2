#include "AudioFile.hpp"

#include "Base/Console.hpp"

#include <cmath>
#include <filesystem>
#include <sndfile.h>

namespace {

constexpr sf_count_t CHUNK_FRAMES = 4096;

// Appends the first channel of every frame of `f` to `out`; false when the
// file ends before the frame count its header announced.
bool read_first_channel(SNDFILE* f, const SF_INFO& info, std::vector<float>& out) {
    const auto channels = static_cast<size_t>(info.channels);
    std::vector<float> chunk(static_cast<size_t>(CHUNK_FRAMES) * channels);
    if (info.frames > 0) out.reserve(static_cast<size_t>(info.frames));
    for (;;) {
        const sf_count_t got = sf_readf_float(f, chunk.data(), CHUNK_FRAMES);
        for (sf_count_t i = 0; i < got; ++i)
            out.push_back(chunk[static_cast<size_t>(i) * channels]);
        if (got < CHUNK_FRAMES) break;
    }
    return sf_error(f) == SF_ERR_NO_ERROR;
}

// Samples that are no finite number would poison every spectrum after
// them: they become silence. Gives how many there were.
std::size_t silence_non_finite(std::vector<float>& samples) {
    std::size_t bad = 0;
    for (float& x : samples) {
        if (std::isfinite(x)) continue;
        x = 0.0f;
        ++bad;
    }
    return bad;
}

} // namespace

std::string AudioFile::describe() const {
    const std::string name = std::filesystem::path(path).filename().string();
    const char* which = channels > 1 ? " (first used)" : "";
    return str_printf("%s: %d Hz, %d channel%s%s, %.2f s", name.c_str(), sample_rate, channels,
                      channels == 1 ? "" : "s", which, seconds());
}

std::optional<AudioFile> read_audio_file(const std::string& path) {
    std::error_code ec;
    if (!std::filesystem::exists(path, ec)) {
        error("cadenzium - Audio file '%s' not found.", path.c_str());
        return std::nullopt;
    }
    SF_INFO info{};
    SNDFILE* f = sf_open(path.c_str(), SFM_READ, &info);
    if (!f) {
        error("cadenzium - Cannot read audio file '%s': %s", path.c_str(), sf_strerror(nullptr));
        return std::nullopt;
    }
    if (info.samplerate < kLowestRate || info.samplerate > kHighestRate) {
        sf_close(f);
        error("cadenzium - Audio file '%s' declares %d Hz: sounds from %d to %d Hz are followed.", path.c_str(),
              info.samplerate, kLowestRate, kHighestRate);
        return std::nullopt;
    }
    AudioFile file{path, {}, info.samplerate, info.channels};
    const bool complete = read_first_channel(f, info, file.samples);
    const std::string why = complete ? "" : sf_strerror(f);
    sf_close(f);
    if (!complete) {
        error("cadenzium - Audio file '%s' is damaged: %s", path.c_str(), why.c_str());
        return std::nullopt;
    }
    if (file.samples.empty()) {
        error("cadenzium - Audio file '%s' holds no samples.", path.c_str());
        return std::nullopt;
    }
    if (const std::size_t bad = silence_non_finite(file.samples))
        error("cadenzium - Audio file '%s': %zu samples that are not numbers (NaN or infinite) are read as "
              "silence.",
              path.c_str(), bad);
    return file;
}
