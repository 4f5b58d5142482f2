#include "FollowRun.hpp"

#include "AudioFile.hpp"
#include "AudioFollower.hpp"
#include "FluidRender.hpp"
#include "FollowRender.hpp"
#include "Listening/CadAlign.hpp"
#include "FollowInput.hpp"
#include "RunTime/ListeningProfile.hpp"
#include "MidiFile.hpp"
#include "MidiFollower.hpp"
#include "StandaloneHost.hpp"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <optional>

namespace fs = std::filesystem;

namespace {

ListeningProfile with_overrides(ListeningProfile p, const ListeningSettings& s) {
    override_profile(p, s.params);
    return p;
}

MidiReadResult read_performance(const fs::path& dir) {
    MidiReadResult performance = read_midi_file((dir / "perf.mid").string());
    if (!performance.ok()) std::fprintf(stderr, "%s: %s\n", dir.c_str(), performance.error.c_str());
    return performance;
}

// Reads the score and keeps every position reported.
bool load_score(StandaloneHost& host, const fs::path& dir, CaseRun& run) {
    if (!host.engine().ScoreParsing((dir / "score.txt").string())) return false;
    host.on_position([&run](int index, const Event*, double time, double tempo) {
        run.first_report.emplace(index, time);
        run.reports.push_back({time, index, tempo});
    });
    return true;
}

// Follows on the virtual clock, timing each block.
void feed_timed(StandaloneHost& host, const std::vector<float>& samples, double tail, CaseRun& run) {
    MemorySamples source(samples);
    AudioFollower follower(host, source, tail);
    for (;;) {
        const auto start = std::chrono::steady_clock::now();
        if (!follower.step(false)) return;
        run.hop_seconds.push_back(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
}

std::vector<float> rendering_of(const MidiReadResult& performance, const AudioSetup& setup) {
    if (setup.renderer == "synth")
        return render_performance(performance, setup.rate, setup.plain_voice ? SynthVoice{} : piano_voice());
    std::string error;
    std::vector<float> samples = render_with_fluidsynth(
        performance, setup.rate, setup.soundfont.empty() ? kDefaultSoundFont : setup.soundfont, 1.0, error);
    if (!error.empty()) std::fprintf(stderr, "%s\n", error.c_str());
    return samples;
}

// FluidSynth plays its General MIDI piano about 27 dB below full scale;
// its renderings are levelled to a peak of -6 dBFS, as a recording is.
void level(std::vector<float>& samples, const AudioSetup& setup) {
    if (setup.renderer == "synth" || samples.empty()) return;
    float peak = 0;
    for (float x : samples)
        peak = std::max(peak, std::fabs(x));
    if (peak <= 0) return;
    const float gain = 0.5f / peak;
    for (float& x : samples)
        x *= gain;
}

// A rendering kept in the cache is read back rather than made again.
void render(const fs::path& dir, const MidiReadResult& performance, const AudioSetup& setup,
            std::vector<float>& samples, CaseRun& run) {
    const Stopwatch watch;
    const std::string name = dir.filename().string() + "." + setup.renderer + ".wav";
    const fs::path cached = setup.cache_dir.empty() ? fs::path{} : fs::path(setup.cache_dir) / name;
    if (!cached.empty() && fs::exists(cached)) {
        if (std::optional<AudioFile> file = read_audio_file(cached.string())) {
            samples = std::move(file->samples);
            level(samples, setup);
            run.render_seconds = watch.stop().wall;
            return;
        }
    }
    samples = rendering_of(performance, setup);
    level(samples, setup);
    run.render_seconds = watch.stop().wall;
    if (!cached.empty()) {
        fs::create_directories(setup.cache_dir);
        write_sound_file(cached.string(), samples, setup.rate);
    }
    if (setup.write_dir.empty()) return;
    fs::create_directories(setup.write_dir);
    const fs::path wav = fs::path(setup.write_dir) / (dir.filename().string() + ".wav");
    if (!write_rendering(wav.string(), samples, setup.rate))
        std::fprintf(stderr, "cannot write %s\n", wav.c_str());
}

} // namespace

void ListeningSettings::apply_midi(StandaloneHost& host) const {
    cadenzium_core& engine = host.engine();
    apply_listening_profile(engine, with_overrides(design ? design_profile() : piano_midi_profile(), *this));
}

void ListeningSettings::apply_audio(StandaloneHost& host) const {
    cadenzium_core& engine = host.engine();
    apply_listening_profile(engine, with_overrides(design ? design_profile() : piano_audio_profile(), *this));
    if (gamma != 0) engine.gamma_set(gamma);
    if (klexp != 0) engine.KLexp_set(klexp);
    if (harmonics > 0) engine.nofharm_set(harmonics);
}

CaseRun follow_by_midi(const fs::path& dir, const ListeningSettings& settings) {
    CaseRun run;
    MidiReadResult performance = read_performance(dir);
    if (!performance.ok()) return run;
    run.duration = performance.duration;
    StandaloneHost host;
    settings.apply_midi(host);
    if (!load_score(host, dir, run)) return run;

    const Stopwatch watch;
    host.engine().cadenzium_start("");
    MidiFollower follower(host, std::move(performance.notes), performance.duration, std::move(performance.controls));
    follower.run(false);
    run.following = watch.stop();
    run.ok = true;
    return run;
}

CaseRun follow_by_audio(const fs::path& dir, const ListeningSettings& settings, const AudioSetup& setup) {
    CaseRun run;
    const MidiReadResult performance = read_performance(dir);
    if (!performance.ok()) return run;
    std::vector<float> samples;
    render(dir, performance, setup, samples, run);
    run.duration = performance.duration;
    StandaloneHost host;
    host.listen_by_audio(setup.rate, setup.block);
    settings.apply_audio(host);
    if (!load_score(host, dir, run)) return run;

    const double tail = 1.0;
    const Stopwatch watch;
    host.engine().cadenzium_start("");
    if (setup.time_hops) {
        feed_timed(host, samples, tail, run);
    } else {
        MemorySamples source(samples);
        AudioFollower(host, source, tail).run(false);
    }
    run.following = watch.stop();
    run.hops = static_cast<long>((samples.size() + static_cast<size_t>(tail * setup.rate)) / setup.block);
    run.ok = true;
    return run;
}
