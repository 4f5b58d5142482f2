// The chain built from a score: state kinds, dummy silences, the end state,
// jumps, the decode window and the forced positions.
#include "Listening/StateCompound.hpp"
#include "Listening/StateSemiMarkov.hpp"
#include "ListeningRig.hpp"
#include "TestReading.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <span>
#include <string>
#include <vector>

namespace {

std::vector<std::string> kinds(const StateChain& chain) {
    std::vector<std::string> out;
    for (const State* s : chain)
        out.emplace_back(s->type_string());
    return out;
}

std::vector<int> window_events(const StateChain& chain) {
    std::vector<int> out;
    for (const State* s : chain.window())
        out.push_back(s->event->index());
    return out;
}

std::string notes(int count) {
    std::string text;
    for (int i = 0; i < count; ++i)
        text += "NOTE " + std::to_string(60 + i % 12) + " 1\n";
    return text;
}

std::string long_score(int count) {
    return "bpm 60\n" + notes(count);
}

TEST(StateChainBuild, EachEventKindGetsItsState) {
    ListeningRig rig("NOTE 60 1\nNOTE 62 0\nTRILL (60 62) 1\nMULTI ((60) (62)' 64) 1\nNOTE 0 1\n");
    ASSERT_TRUE(rig.loaded);
    EXPECT_EQ(kinds(rig.chain()),
              (std::vector<std::string>{"StateMarkov", "StateAggregateSM", "StateAggregateSM", "StateTrill",
                                        "StateGroup", "StateAggregateSM", "StateMarkov"}))
        << "a grace note is struck: it has an entry to hear its attack";
    const Score& score = rig.host.score();
    for (size_t i = 0; i < score.events.size(); ++i)
        EXPECT_EQ(rig.chain().state_of(i), rig.chain()[i]);
    EXPECT_TRUE(rig.chain().back()->pitchclass.isSilence()) << "the end state listens for silence";
    EXPECT_EQ(rig.chain().back()->event, score.events.back().get());

    auto* multi = static_cast<StateGroup*>(rig.chain()[4]);
    ASSERT_EQ(multi->sub_states.size(), 3u);
    EXPECT_STREQ(multi->sub_states[1]->type_string(), "StateTrill");
    EXPECT_EQ(multi->sub_states[0]->lastSubState()->successors.back(), multi->sub_states[1]->firstSubState());
}

// A glide moves by quarter tones; a key is struck once: the element that
// falls on the key the one before it struck is heard as held.
TEST(StateChainBuild, GlideElementsOnAKeyAlreadyStruckExpectNoAttack) {
    ListeningRig rig("BPM 60\nNOTE 57 1\nMULTI ((60) -> (62)) 2\n");
    ASSERT_TRUE(rig.loaded);
    auto* glide = static_cast<StateGroup*>(rig.chain().state_of(2));
    std::vector<bool> held;
    for (const State* s : glide->sub_states)
        held.push_back(!s->pitchclass.tied.empty());
    // 60, 60.5 (key 61), 61 (key 61 again), 61.5 (key 62)
    EXPECT_EQ(held, (std::vector<bool>{false, false, true, false}));
    std::vector<StateRecursion*> inner;
    glide->sub_states[2]->recursion_states(inner);
    for (const StateRecursion* r : inner)
        EXPECT_EQ(r->pitchclass.tied, r->pitchclass.pitches)
            << "every state within the element hears it held";
}

TEST(StateChainBuild, OtherInferenceVersionsMakePlainSemiMarkovNotes) {
    ParameterGuard guard;
    StateChain::INFERENCE_VERSION = 1;
    TestReading reader;
    ASSERT_TRUE(reader.load("NOTE 60 1\n"));
    CadAlign align;
    StateChain chain(&reader.score(), &align);
    chain.loadScore(&reader.score());
    EXPECT_EQ(kinds(chain), (std::vector<std::string>{"StateMarkov", "StateSemiMarkov", "StateMarkov"}));
}

TEST(StateChainBuild, DummySilencesWaitAfterDetachedNotes) {
    ListeningRig rig(
        "NOTE 60 1 @pizz\nNOTE 62 1\nNOTE 64 1 @staccato\nNOTE 0 1\nNOTE 65 1\nNOTE 67 1 @pizz\n");
    EXPECT_EQ(
        kinds(rig.chain()),
        (std::vector<std::string>{"StateMarkov", "StateAggregateSM", "StateDummyMarkov", "StateAggregateSM",
                                  "StateAggregateSM", "StateAggregateSM", "StateDummyMarkov",
                                  "StateAggregateSM", "StateAggregateSM", "StateMarkov"}));
    // The dummy of event 3 moved past the silence (event 4), and the last
    // event gets none.
    EXPECT_EQ(rig.chain()[2]->event->index(), 1);
    EXPECT_EQ(rig.chain()[6]->event->index(), 4);
    EXPECT_TRUE(rig.host.score().events[4]->withdummy());
    EXPECT_EQ(rig.chain()[2]->pitchclass.pitches, std::vector<float>{0.0f});
}

TEST(StateChainBuild, EmptyScoreHasNoStates) {
    ConsoleCapture console;
    Score empty("", nullptr, nullptr, false);
    CadAlign align;
    StateChain chain(&empty, &align);
    chain.loadScore(&empty);
    EXPECT_TRUE(chain.empty());
    chain.initStates();
    EXPECT_TRUE(
        console.has_error("StateChain::initStates():\t no state has a non-null initial probability!"));
    EXPECT_EQ(chain.frames_in_position, 0.0f);
    EXPECT_TRUE(chain.window().empty());
}

TEST(StateChainBuild, JumpTargetsReplaceTheSuccessorsAndJoinTheWindow) {
    ListeningRig rig("bpm 60\nNOTE 60 1\nNOTE 61 1 back\n" + notes(28) + "NOTE 60 1 @jump back, far\n" +
                     notes(30) + "NOTE 72 1 far\n");
    ASSERT_TRUE(rig.loaded);
    rig.align.set_Position(31);
    const std::vector<int> window = window_events(rig.chain());
    EXPECT_NE(std::find(window.begin(), window.end(), 2), window.end()) << "a target behind the window";
    EXPECT_NE(std::find(window.begin(), window.end(), 62), window.end()) << "a target far ahead";

    auto* jumper = static_cast<StateAggregateSM*>(rig.chain().state_of(31));
    ASSERT_EQ(jumper->semi->successors.size(), 3u);
    EXPECT_EQ(jumper->semi->successors[0], rig.chain().state_of(2)->firstSubState());
    EXPECT_EQ(jumper->semi->successors[2], jumper->markov) << "the tail stays, with the same weight";
    for (double t : jumper->semi->transitions)
        EXPECT_DOUBLE_EQ(t, 1.0 / 3.0);
}

TEST(StateChainBuild, MarkovJumpKeepsItsSelfLoopAndListedTwiceKeepsOneEntry) {
    ListeningRig rig("NOTE 60 1 a\nNOTE 62 1\n");
    auto* m = static_cast<StateMarkov*>(rig.chain()[0]);
    State* target = rig.chain()[1];
    std::vector<State*> list{target, target};
    m->addMultipleSuccessors(m, list);
    ASSERT_EQ(m->successors.size(), 2u);
    EXPECT_EQ(m->successors[0], target->firstSubState());
    EXPECT_EQ(m->successors[1], m);
    EXPECT_DOUBLE_EQ(m->transitions[0], 1.0 / 3.0);
}

// The weight of the exits `exits` into `target`, relative to that into
// `next`.
double exit_ratio(const std::vector<StateRecursion*>& exits, const StateRecursion* next,
                  const StateRecursion* target) {
    double into_next = 0, into_target = 0;
    for (const StateRecursion* r : exits)
        for (size_t i = 0; i < r->successors.size(); ++i) {
            if (r->successors[i] == next) into_next += r->transitions[i];
            if (r->successors[i] == target) into_target += r->transitions[i];
        }
    return into_next > 0 ? into_target / into_next : 0;
}

// The same for all the exits of event `from` into event `to`.
double exit_share(StateChain& chain, int from, int to) {
    std::vector<StateRecursion*> exits;
    chain.state_of(from)->recursion_states(exits);
    return exit_ratio(exits, chain.state_of(from + 1)->firstSubState(), chain.state_of(to)->firstSubState());
}

TEST(StateChainBuild, SkipsWeighTheEventsTheyLeaveOut) {
    ListeningRig rig("NOTE 60 1\nCHORD (62 65) 1\nNOTE 64 1\nNOTE 67 0.1\nNOTE 69 1\nNOTE 71 1\n");
    ASSERT_TRUE(rig.loaded);
    ParameterGuard guard;
    StateChain::skip_probability = 0.1;
    StateChain::skip_reach = 2;
    StateChain::skip_decay = 0.5;
    StateChain::skip_chord = 0.25;
    StateChain::skip_short = 3;
    StateChain& chain = rig.chain();
    chain.loadScore(&rig.host.score());
    const double kept = 1 - 0.1 * 0.25 - 0.1 * 0.5 * 0.25;
    EXPECT_NEAR(exit_share(chain, 1, 3), 0.1 * 0.25 / kept, 1e-9) << "over the chord";
    EXPECT_NEAR(exit_share(chain, 1, 4), 0.1 * 0.5 * 0.25 / kept, 1e-9) << "over the chord and a note";
    const double kept2 = 1 - 0.1 - 0.1 * 0.5 * 3;
    EXPECT_NEAR(exit_share(chain, 2, 4), 0.1 / kept2, 1e-9)
        << "over a note: the target's length does not count";
    EXPECT_NEAR(exit_share(chain, 2, 5), 0.1 * 0.5 * 3 / kept2, 1e-9) << "over a note and a short one";
}

TEST(StateChainBuild, ANoteHeldPastItsLawSkipsMoreFromItsTail) {
    ListeningRig rig("NOTE 60 1\nNOTE 62 1\nNOTE 64 1\nNOTE 65 1\n");
    ASSERT_TRUE(rig.loaded);
    ParameterGuard guard;
    StateChain::skip_probability = 0.05;
    StateChain::skip_reach = 1;
    StateChain::back_probability = 0.01;
    StateChain::back_reach = 1;
    StateChain::tail_skip = 4;
    StateChain& chain = rig.chain();
    chain.loadScore(&rig.host.score());
    auto* note = static_cast<StateAggregateSM*>(chain.state_of(2));
    const StateRecursion* next = chain.state_of(3)->firstSubState();
    const StateRecursion* over = chain.state_of(4)->firstSubState();
    const StateRecursion* back = chain.state_of(1)->firstSubState();
    EXPECT_NEAR(exit_ratio({note->semi}, next, over), 0.05 / (1 - 0.06), 1e-9) << "the body";
    EXPECT_NEAR(exit_ratio({note->markov}, next, over), 0.2 / (1 - 0.21), 1e-9) << "the tail";
    EXPECT_NEAR(exit_ratio({note->markov}, next, back), 0.01 / (1 - 0.21), 1e-9)
        << "going back is not a skip";
}

TEST(DecodeWindow, WholeChainWhenShorterThanTheWindow) {
    ListeningRig rig("NOTE 60 1\n");
    EXPECT_EQ(rig.chain().size(), 3u);
    EXPECT_EQ(window_events(rig.chain()), (std::vector<int>{0, 1, 1}));
}

TEST(DecodeWindow, OneThirdBehindTwoThirdsAhead) {
    ListeningRig rig(long_score(60));
    EXPECT_EQ(window_events(rig.chain()).front(), 0);
    EXPECT_EQ(window_events(rig.chain()).size(), 21u);

    rig.align.set_Position(30);
    const std::vector<int> around = window_events(rig.chain());
    ASSERT_EQ(around.size(), 21u);
    EXPECT_EQ(around.front(), 23);
    EXPECT_EQ(around.back(), 43);

    rig.align.set_Position(58); // near the end: the window slides back
    const std::vector<int> end = window_events(rig.chain());
    EXPECT_EQ(end.back(), 60) << "the end state";
    EXPECT_EQ(end.front(), 42);
}

// Dummy silences and a waiting state share the index of an event: the
// window is placed from the first state of the event asked for.
TEST(DecodeWindow, PlacedFromTheEventsOwnStatePastDummies) {
    std::string text = "bpm 60\n";
    for (int i = 0; i < 40; ++i)
        text += "NOTE " + std::to_string(60 + i % 12) + (i % 3 == 0 ? " 1 @staccato\n" : " 1\n");
    ListeningRig rig(text);
    rig.align.inference_decode_window_length(4);
    Score& score = rig.host.score();
    for (int i : {2, 3, 4, 20, 22, 40}) {
        rig.chain().updateDecodeWindow(score.events[static_cast<size_t>(i)].get());
        const std::span<State* const> window = rig.chain().window();
        ASSERT_EQ(window.size(), 4u) << "event " << i;
        EXPECT_EQ(window[2], rig.chain().state_of(i)) << "two states behind, event " << i;
    }
    rig.chain().waitPosition(score.events[23].get(), score.events[22].get());
    rig.chain().updateDecodeWindow(score.events[23].get());
    EXPECT_EQ(rig.chain().window()[2], rig.chain().state_of(23)) << "the waiting state stands behind";
    EXPECT_TRUE(rig.chain().window()[1]->isDummy());
}

TEST(DecodeWindow, LengthOneKeepsTheStateBehind) {
    ListeningRig rig(long_score(10));
    rig.align.inference_decode_window_length(1);
    EXPECT_TRUE(rig.console.has_post("cadenzium - Inference - Decode window length set to 1 (was 21)."));
    rig.align.set_Position(5);
    EXPECT_EQ(window_events(rig.chain()), (std::vector<int>{4, 5}));
}

// A state that leaves the window starts afresh, and gives back what it
// borrowed: only the window's states hold buffers.
TEST(DecodeWindow, StateLeavingTheWindowForgetsItsMassAndGivesBackItsBuffers) {
    ListeningRig rig(long_score(60));
    rig.align.set_Position(30);
    const size_t lent = rig.chain().stay_buffers.lent();
    EXPECT_GT(lent, 0u);
    State* leaving = rig.chain().state_of(23);
    leaving->ForwardLast = 0.25;
    rig.chain().updateDecodeWindow(rig.host.score().events[45].get());
    EXPECT_EQ(leaving->ForwardLast, STATE_FLOOR);
    EXPECT_FALSE(leaving->windowed);
    EXPECT_EQ(rig.chain().stay_buffers.lent(), lent) << "as many states in the window, as many buffers";
    State* staying = rig.chain().state_of(45);
    staying->ForwardLast = 0.5;
    rig.chain().updateDecodeWindow(rig.host.score().events[46].get());
    EXPECT_EQ(staying->ForwardLast, 0.5) << "a state that stays keeps its mass";
    EXPECT_EQ(rig.chain().stay_buffers.misses(), 0u);

    rig.chain().loadScore(&rig.host.score());
    EXPECT_EQ(rig.chain().stay_buffers.lent(), 0u) << "a chain built again finds its pool whole";
}

TEST(ForcedPosition, SetPositionPutsAllTheMassOnTheEntry) {
    ListeningRig rig(long_score(10));
    rig.note_on(60);
    rig.frames(10);
    rig.align.set_Position(4);
    auto* note = static_cast<StateAggregateSM*>(rig.chain().state_of(4));
    EXPECT_EQ(note->semi->StateIn, 1.0);
    EXPECT_TRUE(rig.chain().N_t.empty());
    EXPECT_EQ(rig.chain().best, nullptr);
    EXPECT_EQ(rig.chain().frames_in_position, 1.0f);
}

TEST(ForcedPosition, WaitPositionInsertsASilentStateAndRemovesIt) {
    ListeningRig rig(long_score(10));
    Score& score = rig.host.score();
    const size_t before = rig.chain().size();
    rig.chain().waitPosition(score.events[5].get(), score.events[4].get());
    ASSERT_EQ(rig.chain().size(), before + 1);
    State* dummy = rig.chain()[5];
    ASSERT_TRUE(dummy->isDummy());
    EXPECT_EQ(rig.chain().dummy_state, dummy);
    EXPECT_EQ(rig.chain()[6], rig.chain().state_of(5));
    auto* waiting = static_cast<StateMarkov*>(dummy);
    EXPECT_EQ(waiting->StateIn, 1.0);
    EXPECT_EQ(waiting->successors.back(), rig.chain().state_of(5)->firstSubState());

    rig.chain().waitPosition(score.events[7].get(), score.events[6].get()); // replaces the first
    EXPECT_EQ(rig.chain().size(), before + 1);
    rig.chain().removeDummyState();
    EXPECT_EQ(rig.chain().size(), before);
    EXPECT_EQ(rig.chain().dummy_state, nullptr);
}

TEST(ForcedPosition, WaitingStatePulledIntoTheChainByTheFirstNote) {
    ListeningRig rig(long_score(10));
    Score& score = rig.host.score();
    rig.engine.updatePosition(4);
    rig.chain().waitPosition(score.events[5].get(), score.events[4].get());
    rig.note_on(60 + 4); // event 5 plays pitch 64
    rig.frames(5);
    EXPECT_EQ(rig.position(), 5);
}

} // namespace
