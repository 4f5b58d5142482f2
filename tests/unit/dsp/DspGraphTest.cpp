// The audio graph on its own: equations scheduled by their connections,
// refused when they cannot run, changed between blocks without allocating,
// and notes applied in the blocks of their dates.
#include "Dsp/DspGraph.hpp"
#include "AllocCounter.hpp"
#include "ConsoleCapture.hpp"
#include "DspTestNodes.hpp"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

// A graph at 1000 Hz in blocks of 10 samples (0.01 s), one input, two
// outputs; each block is computed up to the next hundredth of a second.
class DspGraphBlocks : public ::testing::Test {
protected:
    void SetUp() override {
        in = graph.declare("$$in", DspVarKind::Inlet);
        for (const char* name : {"$$a", "$$b", "$$c", "$$d", "$$e"})
            graph.declare(name, DspVarKind::Channel);
        graph.declare("$$out", DspVarKind::Outlet);
        gain = graph.declare("$$gain", DspVarKind::Control);
        for (const char* name : {"f", "g", "h", "k"})
            graph.add_node(std::make_unique<Affine>(name, 1, 0));
        graph.add_node(std::make_unique<Affine>("scaled", 1, 1));
    }
    void start(bool with_notes = false) {
        if (with_notes)
            notes = static_cast<NoteCounter*>(graph.add_node(std::make_unique<NoteCounter>("synth")));
        ASSERT_TRUE(graph.start(1000.0f, kBlock, 1, 2));
    }
    // One block with `input` on every sample: the first sample of each
    // output.
    std::pair<float, float> block(float input) {
        std::fill(input_samples.begin(), input_samples.end(), input);
        const float* ins[1] = {input_samples.data()};
        float* outs[2] = {left.data(), right.data()};
        ++blocks;
        graph.process(ins, 1, outs, 2, kBlock, blocks * 0.01);
        return {left[0], right[0]};
    }
    bool install(std::vector<DspEquationNames> eqs) { return graph.install(eqs); }

    static constexpr int kBlock = 10;
    ConsoleCapture console;
    DspGraph graph;
    DspVarDef* in = nullptr;
    DspVarDef* gain = nullptr;
    NoteCounter* notes = nullptr;
    std::vector<float> input_samples = std::vector<float>(kBlock);
    std::vector<float> left = std::vector<float>(kBlock), right = std::vector<float>(kBlock);
    int blocks = 0;
};

TEST_F(DspGraphBlocks, NodesComputeInTheOrderOfTheirConnectionsWhateverThePatchSays) {
    start();
    graph.set_verbosity(1);
    // Written last to first: h reads what g writes, g what f writes.
    ASSERT_TRUE(install({{{"$$out"}, "h", {"$$b"}}, {{"$$b"}, "g", {"$$a"}}, {{"$$a"}, "f", {"$$in"}}}));
    EXPECT_FLOAT_EQ(block(1.0f).first, 15.0f) << "((1*2+1)*2+1)*2+1";
    EXPECT_TRUE(console.has_post("Schedule rank 2: h")) << console.all();

    // A new patch of g changes the graph from the next block on; h no
    // longer writes the output g now writes.
    ASSERT_TRUE(install({{{"$$out"}, "g", {"$$in"}}}));
    EXPECT_TRUE(graph.switch_pending());
    EXPECT_FLOAT_EQ(block(1.0f).first, 3.0f);
    EXPECT_FALSE(graph.switch_pending());
    EXPECT_TRUE(console.has_post("Dsp: input channel '$$b' no longer used")) << console.all();
    EXPECT_TRUE(console.has_post("Dsp: output channel '$$b' no longer feeded.")) << console.all();
}

TEST_F(DspGraphBlocks, APatchBeforeTheGraphHasBuffersIsRefused) {
    EXPECT_FALSE(install({{{"$$out"}, "f", {"$$in"}}}));
    EXPECT_TRUE(console.has_error("Warning: dsp buffer not already allocated")) << console.all();
}

TEST_F(DspGraphBlocks, ACycleIsRefusedAndTheGraphGoesOnAsItWas) {
    start();
    ASSERT_TRUE(install({{{"$$out"}, "f", {"$$in"}}}));
    EXPECT_FALSE(install({{{"$$a"}, "g", {"$$b"}}, {{"$$b"}, "h", {"$$a"}}}));
    EXPECT_TRUE(console.has_error("DSP Cycle detected: g h")) << console.all();
    EXPECT_FLOAT_EQ(block(2.0f).first, 5.0f);
    EXPECT_FALSE(install({{{"$$a"}, "g", {"$$a"}}})) << "a node that reads its own output";
    // The refused equations were not kept: a later patch is not refused
    // for them.
    EXPECT_TRUE(install({{{"$$a"}, "g", {"$$in"}}}));
}

TEST_F(DspGraphBlocks, AnEquationThatDoesNotFitIsLeftOutAndTheRestOfItsPatchRuns) {
    start();
    ASSERT_TRUE(install({
        {{"$$out"}, "f", {"$$in"}},
        {{"$$e"}, "nowhere", {"$$in"}},
        {{"$$nope"}, "g", {"$$in"}},
        {{"$$d"}, "h", {"$$in", "$$b"}},
        {{"$$a", "$$b"}, "k", {"$$in"}},
        {{"$$c"}, "scaled", {"$$in", "$$gain"}},
        {{"$$c"}, "scaled", {"$$in"}},
    }));
    EXPECT_TRUE(console.has_error("Undefined dsp definition 'nowhere' called")) << console.all();
    EXPECT_TRUE(console.has_error("Undefined DSP out channel '$$nope'")) << console.all();
    EXPECT_TRUE(
        console.has_error("Warning: DspNode: disconnect 'h' because 1 audio args are expected and got 2"))
        << console.all();
    EXPECT_TRUE(
        console.has_error("Warning: DspNode: disconnect 'k', because 1 outputs are expected and got 2"))
        << console.all();
    EXPECT_TRUE(
        console.has_error("Warning: DspNode: disconnect 'scaled', because 1 control are expected and got 0"))
        << "the later equation of a node replaces the earlier" << console.all();
    EXPECT_FLOAT_EQ(block(1.0f).first, 3.0f) << "f still runs";
    // What was left out is not kept: the next patch does not say it again.
    console.clear();
    ASSERT_TRUE(install({{{"$$a"}, "g", {"$$in"}}}));
    EXPECT_TRUE(console.errors.empty()) << console.all();
}

TEST_F(DspGraphBlocks, AControlValueReachesItsNodeAtTheNextBlock) {
    start();
    ASSERT_TRUE(install({{{"$$out"}, "scaled", {"$$in", "$$gain"}}}));
    EXPECT_FLOAT_EQ(block(1.0f).first, 3.0f);
    gain->set_control(10.0f);
    EXPECT_FLOAT_EQ(block(1.0f).first, 13.0f);
}

TEST_F(DspGraphBlocks, ABlockAllocatesNothingWhenItTakesANewPatchAndNotes) {
    start(true);
    ASSERT_TRUE(install({{{"$$a"}, "f", {"$$in"}}, {{"$$out"}, "g", {"$$a"}}}));
    block(0.0f);
    ASSERT_TRUE(install({{{"$$out"}, "h", {"$$in"}}}));
    graph.note("synth", {0, 60, 90, 0.0, 0.02}, nullptr);
    alloc_counter::start();
    const float out = block(1.0f).first;
    const std::size_t allocations = alloc_counter::stop();
    EXPECT_EQ(allocations, 0u);
    EXPECT_FLOAT_EQ(out, 3.0f);
}

// The synth's second output counts its sounding notes.
TEST_F(DspGraphBlocks, NotesStartAndEndInTheBlocksOfTheirDatesAndAKeyStruckAgainStays) {
    start(true);
    graph.note("synth", {0, 60, 90, 0.01, 0.02}, nullptr);
    graph.note("synth", {0, 60, 90, 0.03, 0.0}, nullptr); // again, as the first ends
    graph.note("synth", {1, 64, 90, 0.045, 0.01}, nullptr);
    std::vector<float> sounding;
    for (int i = 0; i < 7; ++i)
        sounding.push_back(block(0.0f).second);
    EXPECT_EQ(sounding, (std::vector<float>{0, 1, 1, 1, 2, 1, 1}));
    EXPECT_FALSE(notes->released_unknown) << "every release had its note";
}

TEST_F(DspGraphBlocks, AResetSilencesHeldNotesAndDropsThePatches) {
    start(true);
    ASSERT_TRUE(install({{{"$$out"}, "f", {"$$in"}}}));
    graph.note("synth", {0, 60, 90, 0.0, 0.0}, nullptr);
    EXPECT_EQ(block(1.0f), std::make_pair(3.0f, 1.0f));
    graph.reset();
    EXPECT_EQ(block(1.0f), std::make_pair(0.0f, 0.0f));
    EXPECT_FALSE(notes->released_unknown);
}

TEST_F(DspGraphBlocks, ANoteForANodeTheGraphDoesNotHaveFallsToTheDefaultSoundOrIsReported) {
    start(true);
    graph.note("fluidsynth::elsewhere", {0, 60, 90, 0.0, 0.0}, nullptr);
    EXPECT_TRUE(console.has_error("Undefined dsp definition 'fluidsynth::elsewhere' called"))
        << console.all();
    EXPECT_FLOAT_EQ(block(0.0f).second, 0.0f);
    graph.set_default_sound(notes);
    graph.note("fluidsynth::elsewhere", {0, 60, 90, 0.0, 0.0}, nullptr);
    EXPECT_FLOAT_EQ(block(0.0f).second, 1.0f);
}

} // namespace
