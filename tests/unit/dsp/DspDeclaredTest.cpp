// The audio graph that a score declares: its variables and nodes become the
// graph's when the engine follows it, its patches connect them, its
// assignments and curves drive their controls block by block, and what
// this build cannot compute is refused where it is declared.
#include "AllocCounter.hpp"
#include "AudioFile.hpp"
#include "Commands.hpp"
#include "ConsoleCapture.hpp"
#include "Dsp/DspGraph.hpp"
#include "Dsp/FluidsynthNode.hpp"
#include "DspTestNodes.hpp"
#include "Loudness.hpp"
#include "ScoreFiles.hpp"
#include "TestEngine.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <sstream>
#include <thread>

namespace {

class GraphHost : public TestHost {
public:
    DspPort* dsp() override { return graph; }
    void on_message(const message& m) override {
        std::string line = m.receiver;
        for (const Value& v : m.values)
            line += " " + show_text(*v);
        messages.push_back(line);
    }
    DspPort* graph = nullptr;
    std::vector<std::string> messages;
};

// A host's graph at 1000 Hz in blocks of 100 samples (0.1 s) with nodes
// that stand in for effects: "faust::f" (out = 2 in + 1) and
// "faust::scaled" (out = 2 in + 1 + control). The score declares the
// variables that connect them.
class DeclaredGraph : public ::testing::Test {
protected:
    DeclaredGraph() {
        graph.add_node(std::make_unique<Affine>("faust::f", 1, 0));
        graph.add_node(std::make_unique<Affine>("faust::scaled", 1, 1));
        host.graph = &graph;
    }
    void start() { ASSERT_TRUE(graph.start(1000.0f, kBlock, 1, 1)); }
    // One block of `input` ending at `until` (seconds): the first sample
    // of the output.
    float block(float input, double until) {
        std::vector<float> in(kBlock, input), out(kBlock);
        const float* ins[1] = {in.data()};
        float* outs[1] = {out.data()};
        graph.process(ins, 1, outs, 1, kBlock, until);
        return out[0];
    }
    // The engine at `seconds`, at event `index` when it is not negative.
    void at(double seconds, int index = -1) {
        host.engine.time().advance_to(seconds);
        if (index >= 0) host.engine.updatePosition(index);
    }

    static constexpr int kBlock = 100;
    ConsoleCapture console;
    DspGraph graph;
    GraphHost host;
};

const char* const kChain = "@dsp_inlet $$in\n"
                           "@dsp_outlet $$out\n"
                           "@dsp_channel $$a\n"
                           "@dsp_cvar $$level\n"
                           "bpm 60\n"
                           "NOTE 60 1\n"
                           "  PATCH chain {\n"
                           "    $$out := faust::scaled($$a, $$level)\n"
                           "    $$a := faust::f($$in)\n"
                           "  }\n"
                           "NOTE 62 1\n";

TEST_F(DeclaredGraph, TheScoresVariablesConnectTheNodesInTheOrderOfTheirConnections) {
    for (const bool started_first : {true, false}) {
        SCOPED_TRACE(started_first ? "graph started before the score" : "score read before the graph starts");
        DspGraph fresh;
        fresh.add_node(std::make_unique<Affine>("faust::f", 1, 0));
        fresh.add_node(std::make_unique<Affine>("faust::scaled", 1, 1));
        fresh.set_verbosity(1);
        host.graph = &fresh;
        const bool ready = started_first ? fresh.start(1000.0f, kBlock, 1, 1) : true;
        ASSERT_TRUE(host.load(kChain)) << console.all();
        ASSERT_TRUE(ready && (started_first || fresh.start(1000.0f, kBlock, 1, 1)));

        ASSERT_NE(fresh.var("$$in"), nullptr);
        EXPECT_EQ(fresh.var("$$in")->kind(), DspVarKind::Inlet);
        EXPECT_EQ(fresh.var("$$out")->kind(), DspVarKind::Outlet);
        EXPECT_EQ(fresh.var("$$a")->kind(), DspVarKind::Channel);
        EXPECT_EQ(fresh.var("$$level")->kind(), DspVarKind::Control);
        ASSERT_NE(fresh.var("$$a")->get_buffer(), nullptr) << "buffers are ready before any block";

        host.engine.cadenzium_start();
        host.engine.updatePosition(1);
        // Written last to first: f feeds scaled, whose output is 2 (2 + 1) + 1.
        std::vector<float> in(kBlock, 1.0f), out(kBlock);
        const float* ins[1] = {in.data()};
        float* outs[1] = {out.data()};
        fresh.process(ins, 1, outs, 1, kBlock, 0.1);
        EXPECT_FLOAT_EQ(out[0], 7.0f);
        EXPECT_TRUE(console.has_post("Schedule rank 0: faust::f")) << console.all();
        EXPECT_TRUE(console.has_post("Schedule rank 1: faust::scaled")) << console.all();
        EXPECT_TRUE(console.errors.empty()) << console.all();
        host.engine.cadenzium_stop();
        host.graph = &graph;
    }
}

TEST_F(DeclaredGraph, AnotherScoreReplacesTheDeclarationsAndThePatchesOfTheFirst) {
    graph.declare("$$host", DspVarKind::Control);
    start();
    ASSERT_TRUE(host.load(kChain)) << console.all();
    host.engine.cadenzium_start();
    at(0.0, 1);
    EXPECT_FLOAT_EQ(block(1.0f, 0.1), 7.0f);

    ASSERT_TRUE(host.load("@dsp_channel $$other\nNOTE 60 1\n")) << console.all();
    EXPECT_EQ(graph.var("$$a"), nullptr);
    EXPECT_EQ(graph.var("$$in"), nullptr);
    EXPECT_NE(graph.var("$$other"), nullptr);
    EXPECT_NE(graph.var("$$host"), nullptr) << "the host's own definitions stay";
    EXPECT_FLOAT_EQ(block(1.0f, 0.2), 0.0f) << "the first score's patch went with it";

    ASSERT_TRUE(host.load("NOTE 60 1\n")) << console.all();
    EXPECT_EQ(graph.var("$$other"), nullptr) << "a score without declarations leaves none";
    EXPECT_FLOAT_EQ(block(1.0f, 0.3), 0.0f);
}

TEST_F(DeclaredGraph, AFaustOrCsoundNodeIsRefusedWhereItIsDeclaredAndTheRestOfTheScoreRuns) {
    start();
    ASSERT_TRUE(host.load("@dsp_outlet $$out\n"
                          "@faust_def faust::gain($g, $$in) { process = *(g); }\n"
                          "@csound_def csound::verb(\"verb.csd\")\n"
                          "NOTE 60 1\n"
                          "  print heard\n"))
        << console.all();
    EXPECT_EQ(std::count_if(console.errors.begin(), console.errors.end(),
                            [](const std::string& line) {
                                return line.find("This version of cadenzium does not handle DSP") !=
                                       std::string::npos;
                            }),
              2)
        << console.all();
    EXPECT_TRUE(console.has_post("Dsp: node 'faust::gain' left out, declared")) << console.all();
    EXPECT_TRUE(console.has_post(":2.1-")) << "file, line and columns of the declaration\n" << console.all();
    EXPECT_TRUE(console.has_post(":3.1-")) << console.all();
    EXPECT_EQ(graph.node("faust::gain"), nullptr);
    EXPECT_NE(graph.var("$$out"), nullptr);

    host.engine.cadenzium_start();
    at(0.0, 1);
    EXPECT_EQ(host.messages, std::vector<std::string>{"print heard"});
}

// ---- controls ----

const char* const kControls = "@dsp_inlet $$in\n"
                              "@dsp_outlet $$out\n"
                              "@dsp_channel $$wire\n"
                              "@dsp_cvar $$level\n"
                              "bpm 60\n"
                              "NOTE 60 1\n"
                              "  $$out := faust::scaled($$in, $$level)\n"
                              "NOTE 62 1\n"
                              "  $$level := 0.5\n"
                              "  print level $$level\n"
                              "NOTE 64 2\n"
                              "  curve ramp @grain 0.1s { $$level { {0} 1 {1} } }\n"
                              "NOTE 65 1\n";

TEST_F(DeclaredGraph, AnAssignmentAndACurveOnAControlReachTheNodeAtTheNextBlock) {
    start();
    ASSERT_TRUE(host.load(kControls)) << console.all();
    host.engine.cadenzium_start();
    at(0.0, 1);
    EXPECT_FLOAT_EQ(block(1.0f, 0.1), 3.0f);
    at(1.0, 2);
    EXPECT_FLOAT_EQ(block(1.0f, 1.1), 3.5f) << "the block after the instant";
    EXPECT_EQ(host.messages, std::vector<std::string>{"print level 0.5"})
        << "an expression reads the control";

    // Played in time, the curve's beat is a second: it starts at 2 s and
    // rises by a tenth at each grain; each block shows the value of the
    // last step before it (a step's date, a sum of grains, may round a
    // hair later than its tenth).
    at(2.0, 3);
    std::vector<float> seen;
    for (int i = 0; i < 12; ++i) {
        at(2.0 + 0.1 * i + 1e-6);
        seen.push_back(block(1.0f, 2.1 + 0.1 * i) - 3.0f);
    }
    for (int i = 0; i < 11; ++i)
        EXPECT_NEAR(seen[static_cast<std::size_t>(i)], 0.1f * static_cast<float>(i), 1e-3) << "block " << i;
    EXPECT_NEAR(seen.back(), 1.0f, 1e-4) << "the curve holds its last value";
    EXPECT_TRUE(console.errors.empty()) << console.all();
}

TEST_F(DeclaredGraph, WritesThatAreNotControlValuesAreRefusedWithTheirPlace) {
    start();
    ASSERT_TRUE(host.load("@dsp_channel $$wire\n"
                          "@dsp_cvar $$level\n"
                          "NOTE 60 1\n"
                          "  $$wire := 1\n"
                          "  $$nowhere := 1\n"
                          "  $$level := \"loud\"\n"
                          "  $$level := [0.25, 2]\n"
                          "  $$level := [\"a\"]\n"
                          "  curve bad @grain 0.1s { $$wire { {0} 1 {1} } }\n"))
        << console.all();
    host.engine.cadenzium_start();
    at(0.0, 1);
    at(0.5);
    EXPECT_EQ(std::count_if(console.errors.begin(), console.errors.end(),
                            [](const std::string& line) {
                                return line.find("Dsp variable $$wire is a @dsp_channel: cannot be used as a "
                                                 "curve variable (try to declare a @dsp_cvar)") !=
                                       std::string::npos;
                            }),
              1)
        << "refused once, when the curve starts\n"
        << console.all();
    EXPECT_TRUE(console.has_error("Cannot assign dsp var $$wire of kind @dsp_channel")) << console.all();
    EXPECT_TRUE(console.has_error("Undefined dsp definition '$$nowhere' called")) << console.all();
    EXPECT_TRUE(console.has_error("Bad value in dsp cvar $$level assignment")) << console.all();
    EXPECT_TRUE(console.has_error("Non numeric value in dsp cvar $$level non scalar assignment"))
        << console.all();
    EXPECT_TRUE(console.has_post("at ")) << console.all();
    EXPECT_FLOAT_EQ(graph.var("$$level")->get_control(), 0.25f) << "a tab gives its first element";
}

TEST_F(DeclaredGraph, ABlockAllocatesNothingWhenItTakesTheGraphOfANewScore) {
    start();
    ASSERT_TRUE(host.load(kControls)) << console.all();
    host.engine.cadenzium_start();
    at(0.0, 1);
    block(1.0f, 0.1);
    ASSERT_TRUE(host.load(kChain)) << console.all();
    host.engine.cadenzium_start();
    at(0.1, 1);
    std::vector<float> in(kBlock, 1.0f), out(kBlock);
    const float* ins[1] = {in.data()};
    float* outs[1] = {out.data()};
    alloc_counter::start();
    graph.process(ins, 1, outs, 1, kBlock, 0.2);
    const std::size_t allocations = alloc_counter::stop();
    EXPECT_EQ(allocations, 0u);
    EXPECT_FLOAT_EQ(out[0], 7.0f);
}

// The audio side keeps running the schedule it took while the control
// side replaces the score under it: what it runs must stay alive until it
// takes the next one.
TEST_F(DeclaredGraph, ScoresReplacedWhileTheAudioThreadRunsReachItBetweenBlocks) {
    start();
    std::atomic<bool> done{false};
    std::atomic<int> blocks{0};
    std::thread audio([&] {
        std::vector<float> in(kBlock, 1.0f), out(kBlock);
        const float* ins[1] = {in.data()};
        float* outs[1] = {out.data()};
        while (!done.load()) {
            graph.process(ins, 1, outs, 1, kBlock, 0.1 * ++blocks);
            std::this_thread::yield();
        }
    });
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(host.load(i % 2 == 0 ? kControls : kChain)) << console.all();
        host.engine.cadenzium_start();
        host.engine.updatePosition(1);
    }
    done.store(true);
    audio.join();
    EXPECT_GT(blocks.load(), 0);
    EXPECT_FLOAT_EQ(block(1.0f, 1e6), 7.0f) << "the last score's patch";
    EXPECT_TRUE(console.errors.empty()) << console.all();
}

// ---- a FluidSynth node declared by the score ----

TEST(DspDeclaredSound, AScoresFluidsynthNodeLoadsItsFontAndProgramAndPlaysUnpatched) {
    if (!std::filesystem::exists(kScoreSoundFont)) GTEST_SKIP() << "no sound font at " << kScoreSoundFont;
    ConsoleCapture console;
    DspGraph graph;
    GraphHost host;
    host.graph = &graph;
    ASSERT_TRUE(graph.start(44100.0f, 64, 0, 2));
    ASSERT_TRUE(host.load(std::string("@fluidsynth_def fluidsynth::organ(\"") + kScoreSoundFont +
                          "\", 19)\nNOTE 60 1\n  fluidsynth::organ(0, 60, 100)\n"))
        << console.all();
    auto* organ = dynamic_cast<FluidsynthNode*>(graph.node("fluidsynth::organ"));
    ASSERT_NE(organ, nullptr);
    EXPECT_EQ(organ->program(), 19);
    host.engine.cadenzium_start();
    host.engine.updatePosition(1);
    std::vector<float> left(64), right(64);
    float* outs[2] = {left.data(), right.data()};
    double energy = 0;
    alloc_counter::start();
    for (int i = 0; i < 40; ++i) {
        graph.process(nullptr, 0, outs, 2, 64, (i + 1) * 64 / 44100.0);
        for (float s : left)
            energy += static_cast<double>(s) * s;
    }
    const std::size_t allocations = alloc_counter::stop();
    EXPECT_GT(energy, 1e-3) << "the note sounds";
    EXPECT_EQ(allocations, 0u);

    ASSERT_TRUE(host.load("@fluidsynth_def fluidsynth::lost(\"missing.sf2\", 0)\nNOTE 60 1\n"));
    EXPECT_TRUE(console.has_error("cannot load the sound font")) << console.all();
    EXPECT_EQ(graph.node("fluidsynth::lost"), nullptr) << "a node that cannot start is left out";
}

// The node's outputs go through the declared outlets; its gain is full for
// the first note and brought to nothing by a curve before the second,
// which is then not heard.
std::string fading_score() {
    return std::string("@fluidsynth_def fluidsynth::piano(\"") + kScoreSoundFont +
           "\", 0)\n"
           "@dsp_outlet $$left, $$right\n"
           "@dsp_cvar $$gain\n"
           "bpm 60\n"
           "NOTE C4 1\n"
           "  $$gain := 1\n"
           "  $$left, $$right := fluidsynth::piano($$gain)\n"
           "  fluidsynth::piano(0, 72, 110, 0.5)\n"
           "NOTE D4 1\n"
           "  curve fade @grain 0.05s { $$gain { {1} 0.5 {0} } }\n"
           "  1 fluidsynth::piano(0, 76, 110, 0.5)\n";
}

TEST(DspDeclaredSound, APlayedScoreRendersItsOwnNodeAtItsOwnTempo) {
    if (!std::filesystem::exists(kScoreSoundFont)) GTEST_SKIP() << "no sound font at " << kScoreSoundFont;
    TempScore score(fading_score());
    TempScore wav("", ".wav");
    PlayOptions o;
    o.score = score.path;
    o.render = wav.path;
    o.quiet = true;
    std::ostringstream out;
    ConsoleCapture console;
    ASSERT_EQ(run_play(o, out), 0) << out.str() << console.all();
    const std::optional<AudioFile> sound = read_audio_file(wav.path);
    ASSERT_TRUE(sound);
    EXPECT_GE(sound->seconds(), 3.0) << "two beats at 60 BPM and the tail";
    EXPECT_GT(loudness(*sound, 0.05, 0.45), 1e-3) << "the first note from the start";
    EXPECT_LT(loudness(*sound, 2.05, 2.45), 1e-4) << "the second note after the fade";

    o.realtime = true;
    EXPECT_EQ(run_play(o, out), 1);
    EXPECT_TRUE(console.has_error("--render works offline only")) << console.all();
}

} // namespace
