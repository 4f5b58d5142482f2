// The forward recursion on small hand-made chains, against values worked
// out by hand. Frames last one beat each (hop = sample rate, one second per
// beat), so a state's expected stay in frames is its duration in beats.
#include "Listening/CadAlign.hpp"
#include "Listening/StateChain.hpp"
#include "Listening/StateCompound.hpp"
#include "Listening/StateSemiMarkov.hpp"
#include "Listening/Tempo.hpp"
#include "Tree/Event.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <vector>

namespace {

class Recursion : public ::testing::Test {
protected:
    void SetUp() override {
        StateChain::restore_default_parameters();
        align.tempo_source = &tempo;
        align.setAnalysis(1.0f, 4096.0f, 1.0f);
    }
    void TearDown() override { StateChain::restore_default_parameters(); }

    // A note of `beats` at score index `index`, of the given type.
    Event* event(int index, double beats, int type = 0, float pitch = 6000) {
        events.push_back(std::make_unique<BasicEvent>(BasicEvent::NOTE, std::vector<float>{pitch}, 0, 0.3f,
                                                      AttributeList{}, nullptr, 1.0f, 0, beats));
        Event* e = events.back().get();
        e->index(index);
        e->type(type);
        return e;
    }
    StateSemiMarkov* semi(int index, double beats) {
        StateChain::INFERENCE_VERSION = 1;
        chain.addEvent(event(index, beats));
        return static_cast<StateSemiMarkov*>(chain.back());
    }
    StateMarkov* markov(int index) {
        StateChain::INFERENCE_VERSION = 1;
        chain.addEvent(event(index, 0, 1));
        return static_cast<StateMarkov*>(chain.back());
    }
    // One frame, with the observations already pushed.
    void frame() {
        chain.Observer();
        align.Inference();
        chain.Infere();
        chain.Decode();
    }

    t_tempo tempo;
    CadAlign align;
    std::vector<std::unique_ptr<Event>> events;
    StateChain chain{nullptr, &align};
};

TEST_F(Recursion, FirstFramesAfterSetPositionMatchTheHandComputation) {
    StateSemiMarkov* a = semi(1, 2.0);
    StateSemiMarkov* b = semi(2, 2.0);
    Observation obs_a{OBS_HISTORY}, obs_b{OBS_HISTORY};
    a->obs = &obs_a;
    b->obs = &obs_b;
    chain.setPosition(static_cast<State*>(a));

    // Frame 1: only `a` has entering mass; u_max is cut to 1. The law of a
    // 2-frame stay with the default model is a negative binomial with r = 1:
    // occupancy 0.5, 0.25, ...; survivor 1, 0.5, ...
    obs_a.push(0.7);
    obs_b.push(0.2);
    frame();
    EXPECT_EQ(a->u_max, 1);
    const double N1 = 0.7 + 2e-12;
    EXPECT_NEAR(a->ForwardLast, (0.7 + 1e-12) / N1, 1e-15) << "b(t) + floor, normalised";
    EXPECT_NEAR(b->ForwardLast, 1e-12 / N1, 1e-15) << "what `a` sends is seen at the next frame only";
    EXPECT_NEAR(b->StateIn, 0.35 / N1, 1e-12);
    EXPECT_DOUBLE_EQ(chain.N_t.back(), N1);
    EXPECT_EQ(chain.best, a);

    // Frame 2: `a` was entered one frame ago, `b` just now.
    obs_a.push(0.7);
    obs_b.push(0.9);
    frame();
    EXPECT_EQ(a->u_max, 2);
    const double a_last = 1e-12 + 0.5 * 1.0 * (0.7 / N1) * 0.7;
    const double b_last = 1e-12 + 1.0 * (0.35 / N1) * 0.9;
    const double N2 = a_last + b_last;
    EXPECT_NEAR(a->ForwardLast, a_last / N2, 1e-9);
    EXPECT_NEAR(b->ForwardLast, b_last / N2, 1e-9);
    EXPECT_NEAR(a->Forward, 0.25 * (0.7 / N1) * 0.7 / N2, 1e-9);
    EXPECT_EQ(chain.best, b);
}

TEST_F(Recursion, FrameWhereNothingIsHeardKeepsTheFloors) {
    StateMarkov* m1 = markov(1);
    StateMarkov* m2 = markov(2);
    double silent = 0.0;
    m1->obs = m2->obs = &silent;
    chain.setPosition(static_cast<State*>(m1));
    frame();
    EXPECT_DOUBLE_EQ(chain.N_t.back(), 1.0) << "a total of 0 is replaced by 1";
    EXPECT_EQ(m1->ForwardLast, 0.0) << "a Markov state has no floor";
    EXPECT_EQ(chain.best, m1) << "all at 0: the first of the window, since the search starts below 0";

    StateSemiMarkov* s = semi(3, 1.0);
    Observation zeros{OBS_HISTORY};
    s->obs = &zeros;
    chain.setPosition(static_cast<State*>(s));
    zeros.push(0.0);
    frame();
    EXPECT_DOUBLE_EQ(chain.N_t.back(), 1e-12) << "only the semi-Markov floor";
}

TEST_F(Recursion, FloorDurationLooksBackOneFrame) {
    StateSemiMarkov* s = semi(1, 0.0);
    EXPECT_FLOAT_EQ(s->FrameDurationFloat(align), 0.1f);
    Observation obs{OBS_HISTORY};
    s->obs = &obs;
    chain.setPosition(static_cast<State*>(s));
    for (int i = 0; i < 10; ++i) {
        obs.push(0.5);
        frame();
    }
    EXPECT_EQ(s->u_max, 1) << "ceil(0.1 * 4)";
    EXPECT_EQ(s->obsCumNorm.size(), 1u);
}

TEST_F(Recursion, LookBackGrowsWithTheHistoriesUpToFourStays) {
    StateSemiMarkov* s = semi(1, 3.0);
    Observation obs{OBS_HISTORY};
    s->obs = &obs;
    chain.setPosition(static_cast<State*>(s));
    std::vector<int> seen;
    for (int i = 0; i < 15; ++i) {
        obs.push(0.5);
        frame();
        seen.push_back(s->u_max);
    }
    EXPECT_EQ(seen, (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 12, 12, 12}));
}

TEST_F(Recursion, OverflowingProductKeepsItsLastFiniteValue) {
    StateSemiMarkov* s = semi(1, 2.0);
    Observation obs{OBS_HISTORY};
    s->obs = &obs;
    obs.push(1e300);
    obs.push(1e300);
    obs.push(2.0);
    chain.N_t.push_back(1e-300);
    chain.N_t.push_back(1e-300);
    // Mass entered two frames ago: the look-back reaches back that far.
    s->StateIn = 1.0;
    s->Infere(align);
    s->Infere(align);
    s->Observe(align, 3);
    ASSERT_EQ(s->obsCumNorm.size(), 3u);
    EXPECT_EQ(s->obsCumNorm[0], 2.0);
    EXPECT_EQ(s->obsCumNorm[1], 2.0) << "1e300 / 1e-300 * 2 is infinite";
    EXPECT_EQ(s->obsCumNorm[2], 2.0);
}

// The histories are rings of 1,000 entries: long after they have wrapped,
// the products and sums still run over the right frames, newest first.
TEST_F(Recursion, LookBackStopsAtTheOldestFrameThatBroughtMass) {
    StateSemiMarkov* s = semi(1, 10.0);
    Observation obs{OBS_HISTORY};
    s->obs = &obs;
    for (int i = 0; i < 6; ++i) {
        obs.push(0.5);
        chain.N_t.push_back(1.0);
    }
    obs.push(0.5);
    s->Observe(align, 6);
    EXPECT_EQ(s->obsCumNorm.size(), 1u) << "no mass has entered: only a stay entered now counts";
    s->StateIn = 0.3;
    s->Infere(align);
    s->Infere(align);
    s->Infere(align);
    s->Observe(align, 6);
    EXPECT_EQ(s->obsCumNorm.size(), 4u) << "mass entered three frames ago, and now";
}

TEST_F(Recursion, LookBackReadsWrappedHistoriesInFrameOrder) {
    StateSemiMarkov* s = semi(1, 400.0); // four stays reach past the bound
    StateMarkov* next = markov(2);
    Observation obs{OBS_HISTORY};
    double next_obs = 0.3;
    s->obs = &obs;
    next->obs = &next_obs;
    chain.setPosition(static_cast<State*>(s));
    int checked = 0;
    for (int t = 0; t < 2500; ++t) {
        obs.push(0.2 + 0.6 * std::fabs(std::sin(0.37 * t)));
        s->StateIn += 0.01 * (1 + t % 7);
        frame();
        if (t < 1200 || t % 433 != 0) continue;

        const std::vector<double>* occupancy = nullptr;
        const std::vector<double>* survivor = nullptr;
        align.computeDurationDistributions(occupancy, survivor, s->FrameDurationFloat(align), s->u_max);
        // After the frame the normalisers hold this frame's too, and the
        // oldest one the products used is gone.
        const size_t n = std::min(chain.N_t.size(), s->StateIns.size());
        ASSERT_GE(s->obsCumNorm.size(), n);
        double run = obs.settled.back(0);
        double last = 1e-12, leaving = 0;
        for (size_t u = 0; u < n; ++u) {
            if (u > 0) run *= obs.settled.back(u) / chain.N_t.back(u);
            ASSERT_NEAR(s->obsCumNorm[u], run, 1e-12 * run) << "frame " << t << ", u " << u;
            last += (*survivor)[u] * s->StateIns.back(u) * run;
            leaving += (*occupancy)[u] * s->StateIns.back(u) * run;
        }
        const double N = chain.N_t.back(0);
        EXPECT_NEAR(s->ForwardLast, last / N, 1e-12 * last / N) << "frame " << t;
        EXPECT_NEAR(s->Forward, leaving / N, 1e-12 * leaving / N) << "frame " << t;
        ++checked;
    }
    EXPECT_EQ(checked, 3);
}

TEST_F(Recursion, TiesGoToTheEarlierStateAndSubState) {
    StateMarkov* m1 = markov(1);
    StateMarkov* m2 = markov(2);
    chain.setPosition(static_cast<State*>(m1));
    m1->ForwardLast = m2->ForwardLast = 0.5;
    chain.Decode();
    EXPECT_EQ(chain.best, m1);

    StateChain::INFERENCE_VERSION = 2;
    chain.addEvent(event(3, 1.0));
    auto* note = static_cast<StateAggregateSM*>(chain.back());
    double heard = 1.0;
    note->markov->obs = &heard;
    note->markov->StateIn = 0.25;
    note->semi->obs = nullptr; // nothing heard yet: the body keeps its floor
    note->semi->StateIn = 0;
    note->Infere(align);
    EXPECT_EQ(note->best_sub, note->markov);
    note->markov->StateIn = 1e-12;
    note->Infere(align);
    EXPECT_EQ(note->best_sub, note->semi) << "equal values: the body, first";
    EXPECT_NEAR(note->ForwardLast, 3e-12, 1e-20);
}

TEST_F(Recursion, MarkovStateLoopsOnItselfAndLeaks) {
    StateMarkov* m1 = markov(1);
    StateMarkov* m2 = markov(2);
    double heard = 1.0;
    m1->obs = m2->obs = &heard;
    chain.setPosition(static_cast<State*>(m1));
    frame();
    EXPECT_NEAR(m1->StateIn, 0.85, 1e-12);
    EXPECT_NEAR(m2->StateIn, 0.15, 1e-12);
    frame();
    EXPECT_NEAR(m1->ForwardLast, 0.85, 1e-12);
    EXPECT_NEAR(m2->ForwardLast, 0.15, 1e-12);
}

TEST_F(Recursion, AggregateNoteSendsFromBodyAndTail) {
    StateChain::INFERENCE_VERSION = 2;
    chain.addEvent(event(1, 4.0));
    chain.addEvent(event(2, 1.0));
    auto* note = static_cast<StateAggregateSM*>(chain[0]);
    auto* next = static_cast<StateAggregateSM*>(chain[1]);
    EXPECT_DOUBLE_EQ(note->semi->frame_offset, 1.0);
    EXPECT_FLOAT_EQ(note->semi->FrameDurationFloat(align), 3.0f) << "one frame shorter than the event";
    ASSERT_EQ(note->semi->successors.size(), 2u);
    EXPECT_EQ(note->semi->successors[0], note->markov);
    EXPECT_EQ(note->semi->successors[1], next->semi);
    EXPECT_DOUBLE_EQ(note->semi->transitions[0], 0.5);
    EXPECT_DOUBLE_EQ(note->semi->transitions[1], 0.5);
    ASSERT_EQ(note->markov->successors.size(), 2u);
    EXPECT_EQ(note->markov->successors[0], note->markov);
    EXPECT_EQ(note->markov->successors[1], next->semi);
}

TEST_F(Recursion, TrillHearsItsBestNote) {
    std::vector<std::vector<float>> notes{{7200}, {7400}};
    events.push_back(std::make_unique<TrillEvent>(notes, 0, 0.3f, AttributeList{}, nullptr, 1.0f, 0, 2.0));
    Event* e = events.back().get();
    e->index(1);
    e->type(2);
    chain.addEvent(e);
    auto* trill = static_cast<StateTrill*>(chain.back());
    ASSERT_EQ(trill->trill_micro.size(), 2u);
    Observation low{OBS_HISTORY}, high{OBS_HISTORY};
    trill->trill_micro[0]->obs = &low;
    trill->trill_micro[1]->obs = &high;
    chain.setPosition(static_cast<State*>(trill));
    low.push(0.1);
    high.push(0.8);
    frame();
    EXPECT_EQ(trill->bestState(), trill->trill_micro[1]);
    EXPECT_NEAR(trill->ForwardLast, 1.0, 1e-9) << "alone in the window: normalised to 1";
    EXPECT_DOUBLE_EQ(trill->obsCumNorm[0], 0.8);
}

} // namespace
