// The scheduler's lists on the virtual clock: dates, ties, ageing, tempo
// changes, removal, the local tempo list and the steady state.
#include "AllocCounter.hpp"
#include "ConsoleCapture.hpp"
#include "SchedulerRig.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

// ---- absolute list ----

using AbsoluteList = SchedulerRig;

TEST_F(AbsoluteList, TimersWakeInDateOrderEachInItsInstant) {
    sched.insertAbsoluteTimer(&timer("b"), 1.0);
    sched.insertAbsoluteTimer(&timer("a"), 0.5);
    sched.insertAbsoluteTimer(&timer("c"), 2.0);
    EXPECT_EQ(env.clock.queue.pending(), 1) << "one clock per list, armed for the head";

    env.clock.queue.run_to_end();
    EXPECT_THAT(trace, ElementsAre(Wake{"a", 0.5, 1}, Wake{"b", 1.0, 2}, Wake{"c", 2.0, 3}));
    EXPECT_FALSE(sched.is_armed(SCHED_ABSOLUTE));
}

TEST_F(AbsoluteList, EqualDatesWakeInInsertionOrderInOneInstant) {
    sched.insertAbsoluteTimer(&timer("first"), 1.0);
    sched.insertAbsoluteTimer(&timer("early"), 0.5);
    sched.insertAbsoluteTimer(&timer("second"), 1.0);
    sched.insertAbsoluteTimer(&timer("third"), 1.0);
    env.clock.queue.run_to_end();
    EXPECT_THAT(trace, ElementsAre(Wake{"early", 0.5, 1}, Wake{"first", 1.0, 2}, Wake{"second", 1.0, 2},
                                   Wake{"third", 1.0, 2}));
}

TEST_F(AbsoluteList, DelayBelowEpsilonWakesInsideTheInsertion) {
    instant_at(0.25);
    sched.insertAbsoluteTimer(&timer("abs"), 0.00009);
    sched.insertRelativeTimer(&timer("rel"), 0.00009);
    sched.insertLocalTempoTimer(&timer("loc"), 0.00009);
    EXPECT_THAT(trace, ElementsAre(Wake{"abs", 0.25, 0}, Wake{"rel", 0.25, 0}, Wake{"loc", 0.25, 0}));
    EXPECT_EQ(env.clock.queue.pending(), 0);

    sched.insertAbsoluteTimer(&timer("at epsilon"), 0.0001);
    EXPECT_EQ(trace.size(), 3u) << "the epsilon itself is a delay";
}

TEST_F(AbsoluteList, InsertionAgesTheHeadByTheTimeGone) {
    sched.insertAbsoluteTimer(&timer("a"), 2.0);
    instant_at(1.5);
    sched.insertAbsoluteTimer(&timer("b"), 0.25); // due 1.75, before a
    sched.insertAbsoluteTimer(&timer("c"), 0.5);  // due 2.0, tied with a
    env.clock.queue.run_to_end();
    EXPECT_THAT(trace, ElementsAre(Wake{"b", 1.75, 1}, Wake{"a", 2.0, 2}, Wake{"c", 2.0, 2}));
}

TEST_F(AbsoluteList, TimerMayScheduleItselfAgainFromItsWakeUp) {
    TraceTimer& tick = timer("tick");
    int left = 2;
    tick.on_wake = [&] {
        if (left-- > 0) sched.insertAbsoluteTimer(&tick, 0.5);
    };
    sched.insertAbsoluteTimer(&tick, 0.5);
    sched.insertAbsoluteTimer(&timer("other"), 1.25);
    env.clock.queue.run_to_end();
    EXPECT_THAT(trace, ElementsAre(Wake{"tick", 0.5, 1}, Wake{"tick", 1.0, 2}, Wake{"other", 1.25, 3},
                                   Wake{"tick", 1.5, 4}));
}

TEST_F(AbsoluteList, ClockThatFiresEarlyIsArmedAgainForWhatIsLeft) {
    sched.insertAbsoluteTimer(&timer("a"), 1.0);
    sched.callback_abs(); // no time has passed since the insertion
    EXPECT_THAT(trace, IsEmpty());
    EXPECT_TRUE(sched.is_armed(SCHED_ABSOLUTE));
    env.clock.queue.run_to_end();
    EXPECT_THAT(trace, ElementsAre(Wake{"a", 1.0, 1}));
}

TEST_F(AbsoluteList, TempoChangeMovesDatesInBeatsButNotWakeUps) {
    TraceTimer& a = timer("a");
    a.at(2.0, 0.0, 60.0);
    sched.insertAbsoluteTimer(&a, 2.0);
    instant_at(1.0);
    a.local_tempo = 120.0; // its scope now counts two beats a second
    set_tempo(120.0);
    EXPECT_DOUBLE_EQ(a.last_pos, 1.0);
    EXPECT_DOUBLE_EQ(a.date, 3.0) << "one second left, at 120 BPM";
    env.clock.queue.run_to_end();
    EXPECT_THAT(trace, ElementsAre(Wake{"a", 2.0, 1}));
}

// ---- relative list ----

using RelativeList = SchedulerRig;

TEST_F(RelativeList, TempoChangeReArmsTheHeadForTheBeatsLeft) {
    sched.insertRelativeTimer(&timer("a"), 1.0);
    sched.insertRelativeTimer(&timer("b"), 2.0);
    instant_at(0.5);
    set_tempo(120.0); // half a beat left of a: 250 ms
    EXPECT_DOUBLE_EQ(sched.get_seconds_per_beat(), 0.5);
    EXPECT_DOUBLE_EQ(sched.rel_clock.sim.due_time(), 0.75);
    env.clock.queue.run_to_end();
    EXPECT_THAT(trace, ElementsAre(Wake{"a", 0.75, 1}, Wake{"b", 1.25, 2}));
}

TEST_F(RelativeList, SameTempoLeavesTheClockAlone) {
    sched.insertRelativeTimer(&timer("a"), 1.0);
    instant_at(0.5);
    set_tempo(60.0);
    EXPECT_DOUBLE_EQ(sched.rel_clock.sim.due_time(), 1.0);
}

TEST_F(RelativeList, OverdueHeadWakesInsideTheTempoChange) {
    sched.insertRelativeTimer(&timer("a"), 1.0);
    sched.insertRelativeTimer(&timer("b"), 3.0);
    jump_to(1.25); // a position update comes before a's clock
    set_tempo(120.0);
    EXPECT_THAT(trace, ElementsAre(Wake{"a", 1.25, 0}));
    env.clock.queue.run_to_end();
    EXPECT_THAT(trace, ElementsAre(Wake{"a", 1.25, 0}, Wake{"b", 2.25, 1})) << "two beats after a, at 120";
}

TEST_F(RelativeList, UndefinedTempoArmsTheHeadForZeroMilliseconds) {
    sched.insertRelativeTimer(&timer("a"), 1.0);
    instant_at(0.5);
    set_tempo(0.0);
    EXPECT_TRUE(sched.is_armed(SCHED_RELATIVE));
    EXPECT_DOUBLE_EQ(sched.rel_clock.sim.due_time(), 0.5);
    env.clock.queue.run_until(0.5);
    EXPECT_THAT(trace, ElementsAre(Wake{"a", 0.5, 1}));
}

TEST_F(RelativeList, InsertionAgesTheHeadInBeats) {
    sched.reset_data(0.5);                       // 120 BPM
    sched.insertRelativeTimer(&timer("a"), 2.0); // 1 s
    instant_at(0.5);                             // one beat gone
    sched.insertRelativeTimer(&timer("b"), 0.5); // due 0.75
    sched.insertRelativeTimer(&timer("c"), 1.0); // due 1.0, tied with a
    env.clock.queue.run_to_end();
    EXPECT_THAT(trace, ElementsAre(Wake{"b", 0.75, 1}, Wake{"a", 1.0, 2}, Wake{"c", 1.0, 2}));
}

TEST_F(RelativeList, ConservativeUpdateLeavesTheRelativeListFrozen) {
    sched.insertRelativeTimer(&timer("rel"), 1.0);
    instant_at(0.5);
    env.tempo = 120.0;
    sched.UpdateConservativeTempo();
    EXPECT_DOUBLE_EQ(sched.get_seconds_per_beat(), 1.0);
    env.clock.queue.run_to_end();
    EXPECT_THAT(trace, ElementsAre(Wake{"rel", 1.0, 1}));
}

// ---- removal ----

using Removal = SchedulerRig;

TEST_F(Removal, RemovingATimerBehindTheHeadKeepsTheOthersDates) {
    TraceTimer& b = timer("b");
    sched.insertAbsoluteTimer(&timer("a"), 1.0);
    sched.insertAbsoluteTimer(&b, 2.0);
    sched.insertAbsoluteTimer(&timer("c"), 3.0);
    EXPECT_EQ(sched.Reset(&b, SCHED_ABSOLUTE), 1);
    env.clock.queue.run_to_end();
    EXPECT_THAT(trace, ElementsAre(Wake{"a", 1.0, 1}, Wake{"c", 3.0, 2}));
}

TEST_F(Removal, RemovingTheHeadArmsTheClockForTheNext) {
    TraceTimer& a = timer("a");
    TraceTimer& r = timer("r");
    sched.insertAbsoluteTimer(&a, 1.0);
    sched.insertAbsoluteTimer(&timer("b"), 2.0);
    sched.insertRelativeTimer(&r, 1.0);
    sched.insertRelativeTimer(&timer("s"), 1.5);
    instant_at(0.5);
    sched.Reset(&a, SCHED_ABSOLUTE);
    sched.Reset(&r, SCHED_RELATIVE);
    EXPECT_DOUBLE_EQ(sched.abs_clock.sim.due_time(), 2.0);
    env.clock.queue.run_to_end();
    EXPECT_THAT(trace, ElementsAre(Wake{"s", 1.5, 1}, Wake{"b", 2.0, 2}));
}

TEST_F(Removal, RemovingTheHeadWakesADueSuccessorFromInsideTheRemoval) {
    TraceTimer& a = timer("a");
    sched.insertAbsoluteTimer(&a, 1.0);
    sched.insertAbsoluteTimer(&timer("b"), 1.00005);
    jump_to(1.0); // before a's clock fires
    sched.Reset(&a, SCHED_ABSOLUTE);
    EXPECT_THAT(trace, ElementsAre(Wake{"b", 1.0, 0}));
    EXPECT_FALSE(sched.is_armed(SCHED_ABSOLUTE));
}

TEST_F(Removal, RemovingTheLastTimerDisarmsTheList) {
    TraceTimer& a = timer("a");
    sched.insertRelativeTimer(&a, 1.0);
    sched.Reset(&a, SCHED_RELATIVE);
    EXPECT_FALSE(sched.is_armed(SCHED_RELATIVE));
    EXPECT_EQ(env.clock.queue.pending(), 0);
}

TEST_F(Removal, AnUnknownTimerChangesNothing) {
    sched.insertAbsoluteTimer(&timer("a"), 1.0);
    EXPECT_EQ(sched.Reset(&timer("stranger"), SCHED_ABSOLUTE), 1);
    EXPECT_EQ(sched.Reset(&timer("elsewhere"), SCHED_LOCAL), 1);
    env.clock.queue.run_to_end();
    EXPECT_THAT(trace, ElementsAre(Wake{"a", 1.0, 1}));
}

TEST_F(Removal, TimerMayRemoveTheNextHeadFromItsWakeUp) {
    TraceTimer& a = timer("a");
    TraceTimer& b = timer("b");
    a.on_wake = [&] { sched.Reset(&b, SCHED_ABSOLUTE); };
    sched.insertAbsoluteTimer(&a, 1.0);
    sched.insertAbsoluteTimer(&b, 2.0);
    sched.insertAbsoluteTimer(&timer("c"), 3.0);
    env.clock.queue.run_to_end();
    EXPECT_THAT(trace, ElementsAre(Wake{"a", 1.0, 1}, Wake{"c", 3.0, 2}));
}

// ---- local tempo list ----

using LocalList = SchedulerRig;

TEST_F(LocalList, TempoChangeRecomputesAndReordersTheWakeUps) {
    TraceTimer& x = timer("x");
    TraceTimer& y = timer("y");
    x.at(2.0, 0.0, 60.0);
    y.at(3.0, 0.0, 60.0);
    sched.insertLocalTempoTimer(&x, 2.0);
    sched.insertLocalTempoTimer(&y, 3.0);
    instant_at(1.0);
    x.local_tempo = 20.0; // x's last beat now lasts 3 s
    set_tempo(90.0);
    env.clock.queue.run_to_end();
    EXPECT_THAT(trace, ElementsAre(Wake{"y", 3.0, 1}, Wake{"x", 4.0, 2}));
}

TEST_F(LocalList, ConservativeUpdateRecomputesTheLocalList) {
    TraceTimer& x = timer("x");
    x.at(2.0, 0.0, 60.0);
    sched.insertLocalTempoTimer(&x, 2.0);
    instant_at(1.0);
    x.local_tempo = 120.0;
    sched.UpdateConservativeTempo();
    env.clock.queue.run_to_end();
    EXPECT_THAT(trace, ElementsAre(Wake{"x", 1.5, 1}));
}

TEST_F(LocalList, RescheduleMovesTheTimerToItsNewDate) {
    TraceTimer& x = timer("x");
    TraceTimer& y = timer("y");
    x.at(2.0, 0.0, 60.0);
    sched.insertLocalTempoTimer(&x, 2.0);
    sched.insertLocalTempoTimer(&y, 1.75);
    instant_at(1.0);
    x.local_tempo = 240.0; // one beat left: 0.25 s
    sched.reschedule(&x, SCHED_LOCAL);
    env.clock.queue.run_to_end();
    EXPECT_THAT(trace, ElementsAre(Wake{"x", 1.25, 1}, Wake{"y", 1.75, 2}));
}

TEST_F(LocalList, RescheduleOfAnotherListIsAnInternalError) {
    ConsoleCapture console;
    TraceTimer& x = timer("x");
    sched.insertAbsoluteTimer(&x, 1.0);
    sched.reschedule(&x, SCHED_ABSOLUTE);
    EXPECT_TRUE(console.has_error("Internal Error (please report): "));
    sched.reschedule(&x, SCHED_NONE);
    EXPECT_EQ(console.errors.size(), 1u);
    env.clock.queue.run_to_end();
    EXPECT_THAT(trace, ElementsAre(Wake{"x", 1.0, 1}));
}

class ExpressionTempoTimer : public TraceTimer {
public:
    using TraceTimer::TraceTimer;
    bool has_expression_tempo() const override { return true; }
    double get_local_tempo(double, double) override { return expression_value; }
    void attach_tempo_vars() override { ++attached; }
    double expression_value = 60.0;
    int attached = 0;
};

TEST_F(LocalList, ExpressionTempoIsRefreshedAndAttachedAtInsertion) {
    ExpressionTempoTimer x("x", env, trace, &sched);
    x.at(1.0, 0.0, 60.0);
    x.expression_value = 30.0;
    sched.insertLocalTempoTimer(&x, 2.0);
    EXPECT_DOUBLE_EQ(x.local_tempo, 30.0);
    EXPECT_EQ(x.attached, 1);
    env.clock.queue.run_to_end();
    EXPECT_THAT(trace, ElementsAre(Wake{"x", 2.0, 1}));
}

// ---- lifecycle ----

using SchedulerLifecycle = SchedulerRig;

TEST_F(SchedulerLifecycle, ResetEmptiesAndDisarmsEveryList) {
    sched.insertAbsoluteTimer(&timer("a"), 1.0);
    sched.insertRelativeTimer(&timer("r"), 1.0);
    sched.insertLocalTempoTimer(&timer("l"), 1.0);
    sched.reset();
    for (sched_type type : {SCHED_ABSOLUTE, SCHED_RELATIVE, SCHED_LOCAL}) {
        EXPECT_EQ(sched.pending(type), 0u);
        EXPECT_FALSE(sched.is_armed(type));
    }
    EXPECT_EQ(env.clock.queue.pending(), 0);
    env.clock.queue.run_to_end();
    EXPECT_THAT(trace, IsEmpty());
}

TEST_F(SchedulerLifecycle, PoolGrowsWhenMoreTimersWaitThanItHeld) {
    RigEnv small_env;
    t_scheduler small(small_env, 2);
    std::vector<Wake> small_trace;
    std::vector<std::unique_ptr<TraceTimer>> many;
    for (const char* name : {"a", "b", "c", "d", "e"}) {
        many.push_back(std::make_unique<TraceTimer>(name, small_env, small_trace, &small));
        small.insertAbsoluteTimer(many.back().get(), 1.0);
    }
    EXPECT_EQ(small.pool_size(), 5u);
    small_env.clock.queue.run_to_end();
    ASSERT_EQ(small_trace.size(), 5u);
    EXPECT_EQ(small_trace.front().name, "a");
    EXPECT_EQ(small_trace.back().name, "e");
}

TEST_F(SchedulerLifecycle, SteadyStateAllocatesNothing) {
    TraceTimer& a = timer("a");
    TraceTimer& r = timer("r");
    TraceTimer& gone = timer("gone");
    auto cycle = [&] {
        sched.insertAbsoluteTimer(&a, 0.5);
        sched.insertRelativeTimer(&r, 0.25);
        sched.insertRelativeTimer(&gone, 2.0);
        sched.Reset(&gone, SCHED_RELATIVE);
        env.tempo = env.tempo == 60.0 ? 120.0 : 60.0;
        sched.UpdateTempo();
        env.clock.queue.run_to_end();
        trace.clear();
    };
    cycle();
    alloc_counter::start();
    for (int i = 0; i < 50; ++i)
        cycle();
    EXPECT_EQ(alloc_counter::stop(), 0u);
}

} // namespace
