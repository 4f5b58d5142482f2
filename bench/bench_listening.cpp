// One decoding step of the listening machine by MIDI on a realistic chain: a
// generated score of 300 events (notes of several lengths, chords, trills,
// rests) played at the score's tempo, one step per hop. Each step is timed
// alone; the mean and the 99th percentile are reported in microseconds.
#include "Listening/CadAlign.hpp"
#include "Listening/StateChain.hpp"
#include "Listening/Tempo.hpp"
#include "RunTime/ListeningProfile.hpp"
#include "StandaloneHost.hpp"
#include "Base/Console.hpp"
#include "Tree/Event.hpp"
#include "Tree/Score.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <numeric>
#include <vector>

namespace fs = std::filesystem;

namespace {

std::string generated_score(int events) {
    const std::string path = (fs::temp_directory_path() / "cadenzium-bench-listening.cad").string();
    std::ofstream out(path);
    out << "bpm 90\n";
    const char* lengths[] = {"1", "0.5", "0.5", "0.25", "1.5", "0.25", "2", "0.5"};
    for (int i = 0; i < events; ++i) {
        const int p = 55 + (i * 7) % 24;
        if (i % 11 == 5)
            out << "CHORD (" << p << ' ' << p + 4 << ' ' << p + 7 << ") 1\n";
        else if (i % 37 == 20)
            out << "TRILL (" << p << ' ' << p + 2 << ") 2\n";
        else if (i % 23 == 9)
            out << "NOTE 0 0.5\n";
        else
            out << "NOTE " << p << ' ' << lengths[i % 8] << '\n';
    }
    return path;
}

// A performance: each event's pitches pressed at its onset and released
// just before the next one, one decoding step per hop in between.
struct Performance {
    struct Step {
        std::vector<float> on, off;
    };
    std::vector<Step> steps;

    explicit Performance(const Score& score, double period, double frames_per_second) {
        for (size_t i = 1; i < score.events.size(); ++i) {
            const Event* e = score.events[i].get();
            const int length = std::max(2, static_cast<int>(e->beat_duration() * period * frames_per_second));
            std::vector<float> pitches;
            for (float p : e->pitch_list())
                if (p > 0) pitches.push_back(p > 127 ? p / 100 : p);
            if (e->type() == 2 && pitches.size() > 1) pitches.erase(pitches.begin() + 1, pitches.end());
            const size_t first = steps.size();
            steps.resize(first + static_cast<size_t>(length));
            steps[first].on = pitches;
            steps.back().off = pitches;
        }
    }
};

void feed(CadAlign& align, const std::vector<float>& pitches, float velocity) {
    for (float p : pitches) {
        const float values[2] = {p, velocity};
        align.set_observation(0, values, 2);
        align.MIDI_prepareObs();
    }
}

void report(benchmark::State& state, std::vector<double>& micros) {
    if (micros.empty()) return;
    const double mean =
        std::accumulate(micros.begin(), micros.end(), 0.0) / static_cast<double>(micros.size());
    const size_t k = static_cast<size_t>(0.99 * static_cast<double>(micros.size() - 1));
    std::nth_element(micros.begin(), micros.begin() + static_cast<long>(k), micros.end());
    state.counters["mean_us"] = mean;
    state.counters["p99_us"] = micros[k];
    state.counters["max_us"] = *std::max_element(micros.begin(), micros.end());
}

// With the engine's defaults, or (piano) the program's piano MIDI profile.
void decoding_steps(benchmark::State& state, bool piano) {
    set_console_sink([](ConsoleLevel, std::string_view) {});
    StateChain::restore_default_parameters();
    const ListeningProfile profile = piano ? piano_midi_profile() : design_profile();
    StandaloneHost host;
    cadenzium_core& engine = host.engine();
    std::map<std::string, int> inlets{{"MIDI", 0}};
    if (!engine.ScoreParsing(generated_score(300))) {
        state.SkipWithError("the generated score does not read");
        return;
    }
    Score& score = *engine.score();
    t_tempo tempo;
    CadAlign align;
    apply_listening_profile(align, profile);
    align.setScore(&score);
    tempo.TempoUpdate(std::fabs(score.events[1]->ScoreTempo()));
    align.setPointers(&inlets, &tempo);
    const Performance performance(score, tempo.period, 44100.0 / 512.0);

    std::vector<double> micros;
    micros.reserve(1 << 22);
    size_t at = 0;
    int first_pass_end = -1;
    for (auto _ : state) {
        if (at == performance.steps.size()) {
            if (first_pass_end < 0) first_pass_end = engine.Position();
            at = 0;
            engine.cadenzium_init();
            align.setPointers(&inlets, &tempo);
        }
        const Performance::Step& step = performance.steps[at++];
        feed(align, step.off, 0);
        feed(align, step.on, 100);
        const auto t0 = std::chrono::steady_clock::now();
        engine.follow(align, align.Align(engine.GetTime()));
        const auto t1 = std::chrono::steady_clock::now();
        micros.push_back(std::chrono::duration<double, std::micro>(t1 - t0).count());
    }
    report(state, micros);
    state.counters["chain_states"] = static_cast<double>(align.chain->size());
    state.counters["events"] = score.CountEvents();
    // How far the follower got at the end of the first performance.
    state.counters["first_pass_end"] = first_pass_end;
    StateChain::restore_default_parameters();
}

void BM_DecodingStepMidi(benchmark::State& state) {
    decoding_steps(state, false);
}
void BM_DecodingStepMidiPianoProfile(benchmark::State& state) {
    decoding_steps(state, true);
}
BENCHMARK(BM_DecodingStepMidi)->Iterations(200000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_DecodingStepMidiPianoProfile)->Iterations(200000)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
