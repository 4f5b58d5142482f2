// The audio graph driven by a score: its patches and its sound node's
// notes reach the host's graph at the dates of their instants, a host
// without a graph says once that it does not handle DSP, and the program
// renders a score's own sound to a file at the times the follower decides.
#include "AudioFile.hpp"
#include "Commands.hpp"
#include "ConsoleCapture.hpp"
#include "Dsp/DspGraph.hpp"
#include "DspTestNodes.hpp"
#include "Loudness.hpp"
#include "MidiFile.hpp"
#include "ScoreFiles.hpp"
#include "TestEngine.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <sstream>

namespace {

class GraphHost : public TestHost {
public:
    DspPort* dsp() override { return graph; }
    DspPort* graph = nullptr;
};

const char* const kPatchAndNotes = "bpm 120\n"
                                   "NOTE 60 1\n"
                                   "  fluidsynth::synth(0, 60, 100, 1)\n"
                                   "  $$out := faust::f($$in)\n"
                                   "NOTE 62 1\n"
                                   "  fluidsynth::synth(0, 62, 100)\n"
                                   "NOTE 64 1\n"
                                   "  fluidsynth::synth(0, 62, 0)\n";

TEST(DspScore, APatchAndTheNotesOfAnEventReachTheGraphAtTheEventsDate) {
    ConsoleCapture console;
    DspGraph graph;
    graph.declare("$$in", DspVarKind::Inlet);
    graph.declare("$$out", DspVarKind::Outlet);
    graph.add_node(std::make_unique<Affine>("faust::f", 1, 0));
    graph.add_node(std::make_unique<NoteCounter>("fluidsynth::synth"));
    ASSERT_TRUE(graph.start(1000.0f, 100, 1, 2));
    GraphHost host;
    host.graph = &graph;
    ASSERT_TRUE(host.load(kPatchAndNotes)) << console.all();
    host.engine.cadenzium_start();
    host.engine.time().advance_to(1.0);
    host.engine.updatePosition(1);

    // Blocks of 0.1 s from the start: the note of one beat at 120 BPM
    // sounds from 1.0 s to 1.5 s; the patch feeds the output from then on.
    std::vector<float> in(100, 1.0f), left(100), right(100);
    const float* ins[1] = {in.data()};
    float* outs[2] = {left.data(), right.data()};
    std::vector<float> sounding;
    for (int i = 0; i < 20; ++i) {
        graph.process(ins, 1, outs, 2, 100, (i + 1) * 0.1);
        sounding.push_back(right[0]);
        EXPECT_FLOAT_EQ(left[0], 3.0f) << "block " << i;
    }
    const std::vector<float> want{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 1, 0, 0, 0, 0, 0};
    EXPECT_EQ(sounding, want);
    // A note without duration sounds until a note of velocity 0 on its key.
    host.engine.time().advance_to(2.5);
    host.engine.updatePosition(2);
    graph.process(ins, 1, outs, 2, 100, 2.6);
    EXPECT_FLOAT_EQ(right[0], 1.0f);
    host.engine.time().advance_to(4.0);
    host.engine.updatePosition(3);
    graph.process(ins, 1, outs, 2, 100, 4.1);
    EXPECT_FLOAT_EQ(right[0], 0.0f);
    EXPECT_TRUE(console.errors.empty()) << console.all();
}

TEST(DspScore, AHostWithoutAGraphSaysOnceThatItDoesNotHandleDsp) {
    ConsoleCapture console;
    GraphHost host;
    ASSERT_TRUE(host.load(kPatchAndNotes)) << console.all();
    host.engine.cadenzium_start();
    host.engine.updatePosition(1);
    host.engine.updatePosition(2);
    EXPECT_EQ(std::count_if(console.errors.begin(), console.errors.end(),
                            [](const std::string& line) {
                                return line.find("This version of cadenzium does not handle DSP") !=
                                       std::string::npos;
                            }),
              1)
        << console.all();
}

// ---- the program's rendering ----

// The first date after `from` at which the sound passes `level`.
double first_sound_after(const AudioFile& sound, double from, float level) {
    for (auto i = static_cast<std::size_t>(from * sound.sample_rate); i < sound.samples.size(); ++i)
        if (std::fabs(sound.samples[i]) > level) return static_cast<double>(i) / sound.sample_rate;
    return -1;
}

TEST(DspRender, AScoreRenderedOfflineSoundsWhereTheFollowerPutsItsNotes) {
    if (!std::filesystem::exists(kScoreSoundFont)) GTEST_SKIP() << "no sound font at " << kScoreSoundFont;
    // Two notes heard at 1 s and 2 s; the first event plays half a second
    // at once, the second one a beat (a second) after it is heard.
    TempScore score("bpm 60\n"
                    "NOTE C4 1\n"
                    "  fluidsynth::piano(0, 72, 110, 0.5)\n"
                    "NOTE D4 1\n"
                    "  1 fluidsynth::piano(0, 76, 110, 0.5)\n");
    TempScore midi("", ".mid");
    TempScore wav("", ".wav");
    std::string problem;
    ASSERT_TRUE(write_midi_file(midi.path, midi_events_from_spans({{1.0, 60, 0.8, 80}, {2.0, 62, 0.8, 80}}),
                                480, 120, &problem))
        << problem;
    FollowOptions o;
    o.score = score.path;
    o.midi = midi.path;
    o.render = wav.path;
    o.quiet = true;
    std::ostringstream out;
    ASSERT_EQ(run_follow(o, out), 0) << out.str();

    const std::optional<AudioFile> sound = read_audio_file(wav.path);
    ASSERT_TRUE(sound);
    EXPECT_EQ(sound->channels, 2);
    EXPECT_GE(sound->seconds(), 4.0) << "the follow and its tail of two seconds";
    const double quiet = 1e-4;
    EXPECT_LT(loudness(*sound, 0.0, 0.95), quiet) << "nothing before the first note";
    EXPECT_GT(loudness(*sound, 1.05, 1.45), 10 * quiet);
    EXPECT_LT(loudness(*sound, 2.4, 2.95), loudness(*sound, 1.05, 1.45) / 20) << "the first note has faded";
    EXPECT_GT(loudness(*sound, 3.05, 3.45), 10 * quiet) << "the delayed note of the second event";
    EXPECT_NEAR(first_sound_after(*sound, 0.0, 0.005f), 1.0, 0.05);
    EXPECT_NEAR(first_sound_after(*sound, 2.5, 0.005f), 3.0, 0.05);
}

TEST(DspRender, InfoSaysWhichSoundEnginesTheBuildHas) {
    std::ostringstream out;
    EXPECT_EQ(run_info(out), 0);
    EXPECT_NE(out.str().find("Fluidsynth handling: yes (FluidSynth "), std::string::npos) << out.str();
    EXPECT_NE(out.str().find("Faust handling: no"), std::string::npos) << out.str();
}

TEST(DspRender, SoundOptionsAreRefusedWhereTheirClockIsNotAndWithoutASoundFont) {
    ConsoleCapture console;
    FollowOptions o;
    o.score = "score.cad";
    o.midi = "perf.mid";
    o.render = "out.wav";
    o.realtime = true;
    std::ostringstream out;
    EXPECT_EQ(run_follow(o, out), 1);
    EXPECT_TRUE(console.has_error("--render works offline only")) << console.all();
    o.render.clear();
    o.realtime = false;
    o.sound = true;
    EXPECT_EQ(run_follow(o, out), 1);
    EXPECT_TRUE(console.has_error("--sound plays with --realtime or a live input")) << console.all();

    TempScore score("NOTE C4 1\n");
    TempScore midi("", ".mid");
    TempScore wav("", ".wav");
    ASSERT_TRUE(write_midi_file(midi.path, midi_events_from_spans({{0.5, 60, 0.5, 80}}), 480, 120, nullptr));
    o = FollowOptions{};
    o.score = score.path;
    o.midi = midi.path;
    o.render = wav.path;
    o.soundfont = "/nonexistent/font.sf2";
    EXPECT_EQ(run_follow(o, out), 1);
    EXPECT_TRUE(console.has_error("cannot load the sound font '/nonexistent/font.sf2'")) << console.all();
    EXPECT_TRUE(console.has_error("Error in DSP chain: cannot start")) << console.all();
}

} // namespace
