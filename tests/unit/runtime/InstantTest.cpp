// Logical instants: delivery of the queue, nesting, the clocks of logical
// time (now, rnow, rcnow) and what a position update does to them.
#include "AllocCounter.hpp"
#include "Listening/CadAlign.hpp"
#include "RunTime/CadScheduler.hpp"
#include "RuntimeRig.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::ElementsAre;
using ::testing::Field;
using ::testing::IsEmpty;

const char* kThreeNotes = "bpm 60\nNOTE 60 1 first\nNOTE 62 1\nNOTE 64 1 last\n";

// ---- delivery ----

using Delivery = RuntimeRig;

TEST_F(Delivery, NestedInstantDeliversOnceTheOuterOneEnds) {
    start(kThreeNotes);
    rt().lock();
    rt().start_logical_instant(-1);
    rt().queue_message(make_message("outer-1"));
    {
        rt().lock();
        rt().start_logical_instant(1);
        rt().queue_message(make_message("inner"));
        rt().end_logical_instant();
        rt().send_messages(true);
    }
    EXPECT_THAT(host.delivered, IsEmpty()) << "the nested instant keeps its messages";
    rt().queue_message(make_message("outer-2"));
    rt().end_logical_instant();
    rt().send_messages(true);

    EXPECT_THAT(host.delivered,
                ElementsAre(Field(&Delivered::receiver, "outer-1"), Field(&Delivered::receiver, "inner"),
                            Field(&Delivered::receiver, "outer-2")));
    EXPECT_TRUE(host.lock_is_free()) << "every instant closed, the lock given back";
}

TEST_F(Delivery, HostIsCalledWithTheLockReleasedAndMessagesCarryTheirDate) {
    start(kThreeNotes);
    at(2.5);
    rt().lock();
    rt().start_logical_instant(-1);
    rt().queue_message(make_message("a"));
    rt().queue_message(make_message("b"));
    rt().end_logical_instant();
    rt().send_messages(true);
    ASSERT_EQ(host.delivered.size(), 2u);
    for (const Delivered& d : host.delivered) {
        EXPECT_TRUE(d.lock_free) << d.receiver;
        EXPECT_DOUBLE_EQ(d.date, 2.5);
    }
}

TEST_F(Delivery, MessageWithoutValuesIsReportedAndDropped) {
    start(kThreeNotes);
    rt().lock();
    rt().start_logical_instant(-1);
    auto* empty = make_message("nothing");
    empty->values.clear();
    rt().queue_message(empty);
    rt().queue_message(make_message("something"));
    rt().end_logical_instant();
    rt().send_messages(true);
    EXPECT_TRUE(console.has_error("WARNING: Empty message... !"));
    EXPECT_THAT(host.delivered, ElementsAre(Field(&Delivered::receiver, "something")));
}

TEST_F(Delivery, ScopedLockDeliversWhatNestedInstantsQueued) {
    start(kThreeNotes);
    {
        EnvironmentLock lock(rt());
        rt().lock();
        rt().start_logical_instant(-1);
        rt().queue_message(make_message("queued"));
        rt().end_logical_instant();
        rt().send_messages(true);
        EXPECT_THAT(host.delivered, IsEmpty());
    }
    EXPECT_THAT(host.delivered, ElementsAre(Field(&Delivered::receiver, "queued")));
}

TEST_F(Delivery, InstantOfHundredMessagesAllocatesOnlyTheMessages) {
    start(kThreeNotes);
    host.record = false;
    alloc_counter::start();
    delete make_message("one");
    const std::size_t per_message = alloc_counter::stop();
    ASSERT_GT(per_message, 0u);

    for (int round = 0; round < 2; ++round) { // the first round warms up
        at(1.0 + round);
        alloc_counter::start();
        rt().lock();
        rt().start_logical_instant(-1);
        for (int i = 0; i < 100; ++i)
            rt().queue_message(make_message("one"));
        rt().end_logical_instant();
        rt().send_messages(true);
        const std::size_t total = alloc_counter::stop();
        if (round == 1) {
            EXPECT_EQ(total, 100 * per_message);
        }
    }
}

// ---- the clocks of an instant ----

using Clocks = RuntimeRig;

TEST_F(Clocks, TwoInstantsAtOneNowDateNowOnce) {
    start(kThreeNotes);
    clock_instant_at(1.0);
    const var_management& now_var = env().vars[env().now_index];
    const int written = now_var.hindex;
    const int instants = rt().stats.total_instants;
    clock_instant_at(1.0);
    EXPECT_EQ(now_var.hindex, written) << "$NOW gets no second entry at the same date";
    EXPECT_EQ(rt().stats.total_instants, instants + 1);
    EXPECT_DOUBLE_EQ(rt().instant().now, 1.0);

    clock_instant_at(0.5);
    EXPECT_DOUBLE_EQ(rt().instant().now, 1.0) << "logical time never goes back";
}

TEST_F(Clocks, SmallBeatStepLeavesRnowUndatedUnlessAPositionIsGiven) {
    start(kThreeNotes);
    engine.updatePosition(1);
    clock_instant_at(0.5); // 60 BPM: half a beat
    const var_management& rnow_var = env().vars[env().rnow_index];
    const int written = rnow_var.hindex;
    clock_instant_at(0.50005);
    EXPECT_EQ(rnow_var.hindex, written);
    EXPECT_DOUBLE_EQ(rt().instant().rnow, 0.5);

    rt().lock();
    rt().start_logical_instant(1);
    rt().end_logical_instant();
    rt().send_messages(true);
    EXPECT_NE(rnow_var.hindex, written) << "a given position always dates $RNOW";
}

TEST_F(Clocks, RnowWaitsAtTheNextEventWhileRcnowGoesOn) {
    start(kThreeNotes);
    engine.updatePosition(1); // beat 0, at time 0
    clock_instant_at(1.5);
    EXPECT_DOUBLE_EQ(rt().instant().rnow, 1.0) << "pinned at the next event's beat";
    EXPECT_DOUBLE_EQ(rt().instant().rcnow, 1.5);
    EXPECT_DOUBLE_EQ(var(env().rnow_index), 1.0);
    EXPECT_DOUBLE_EQ(var(env().rcnow_index), 1.5);

    at(1.7);
    engine.updatePosition(2);
    EXPECT_DOUBLE_EQ(rt().instant().rnow, 1.0);
    EXPECT_DOUBLE_EQ(rt().instant().rcnow, 1.0) << "a note brings the continuous position to its beat";
}

TEST_F(Clocks, SilenceKeepsTheContinuousPositionRunning) {
    start("bpm 60\nNOTE 60 1\nNOTE 0 1\nNOTE 62 1\n");
    engine.updatePosition(1);
    clock_instant_at(1.5);
    EXPECT_DOUBLE_EQ(rt().instant().rnow, 1.5) << "the next event is the note after the rest";
    engine.updatePosition(2);
    EXPECT_DOUBLE_EQ(rt().instant().rnow, 1.0);
    EXPECT_DOUBLE_EQ(rt().instant().rcnow, 1.5);
}

TEST_F(Clocks, UndefinedTempoLeavesBothPositions) {
    start(kThreeNotes);
    engine.updatePosition(1);
    clock_instant_at(0.25);
    const double rnow = rt().instant().rnow, rcnow = rt().instant().rcnow;
    env().vars[env().rt_tempo_index].h_insert(undef_value(), rt().instant().now, rt().instant().rnow);
    clock_instant_at(0.75);
    EXPECT_DOUBLE_EQ(rt().instant().rnow, rnow);
    EXPECT_DOUBLE_EQ(rt().instant().rcnow, rcnow);
    EXPECT_DOUBLE_EQ(rt().instant().now, 0.75);
}

// ---- position updates ----

using Position = RuntimeRig;

TEST_F(Position, SetsTheSystemVariablesOfTheEvent) {
    start("bpm 90\nNOTE 60 1\nNOTE 62 2 here\nNOTE 64 1\n");
    at(0.5);
    engine.updatePosition(2);
    EXPECT_DOUBLE_EQ(var(env().beat_pos_index), 1.0);
    EXPECT_DOUBLE_EQ(var(env().pitch_index), 6200.0) << "pitches are read in midicents";
    EXPECT_DOUBLE_EQ(var(env().dur_index), 2.0);
    EXPECT_EQ(env().vars[env().last_label_index].newest()->get_string(), "here");
    EXPECT_NEAR(var(env().rt_tempo_index), 90.0, 1e-4) << "the period is kept in single precision";
    EXPECT_EQ(engine.Position(), 2);
    EXPECT_EQ(engine.lastPosition(), 0) << "the start was the position before";
}

TEST_F(Position, BackwardMoveWithoutJumpChangesNothing) {
    start(kThreeNotes);
    engine.updatePosition(3);
    const int instants = rt().instant().count;
    const auto reported = host.positions;
    engine.updatePosition(1);
    EXPECT_EQ(rt().instant().count, instants);
    EXPECT_EQ(host.positions, reported);
    EXPECT_EQ(engine.Position(), 3);
}

TEST_F(Position, AnotherNoteOfATrillOnlyChangesThePitch) {
    start("bpm 60\nNOTE 60 1\nTRILL (72 74) 2\nNOTE 64 1\n");
    Event& trill = host.event(2);
    ASSERT_NE(trill.get_sub_events(), nullptr);
    const auto& subs = *trill.get_sub_events();
    rt().inner_event = subs.front().get();
    engine.updatePosition(2);
    const auto reported = host.positions;
    const int launched = engine.lastAction();

    rt().inner_event = subs.back().get();
    at(0.5);
    engine.updatePosition(2);
    EXPECT_DOUBLE_EQ(var(env().pitch_index), 7400.0);
    EXPECT_EQ(host.positions, reported) << "no new position";
    EXPECT_EQ(engine.lastAction(), launched);
}

TEST_F(Position, SkippedEventsAreCountedAsMissed) {
    start("bpm 60\nNOTE 60 1\nNOTE 62 1\nNOTE 64 2\nNOTE 65 1\n");
    engine.updatePosition(1);
    engine.updatePosition(4);
    const auto& counted = host.counters();
    EXPECT_EQ(counted.missed_events, (std::vector<int>{2, 3}));
    EXPECT_FLOAT_EQ(counted.missed_count, 2);
    EXPECT_FLOAT_EQ(counted.missed_duration, 3);
    EXPECT_FLOAT_EQ(counted.jumps, 2);
    EXPECT_EQ(engine.lastAction(), 4);
}

TEST_F(Position, IsReportedAfterTheInstantWithTheLockFree) {
    start(kThreeNotes);
    engine.updatePosition(1);
    EXPECT_EQ(host.positions, (std::vector<int>{0, 1}));
    EXPECT_THAT(host.report_lock_free, ElementsAre(true, true));
}

// ---- changes from outside ----

using Outside = RuntimeRig;

TEST_F(Outside, UnknownVariableIsReportedAndDefined) {
    start(kThreeNotes);
    rt().ExternalUpdateVar("$from_host", float_value(3.0));
    EXPECT_TRUE(console.has_error("Unknown variable '$from_host' set by the environment."));
    ASSERT_TRUE(env().is_defined_var("$from_host"));
    EXPECT_DOUBLE_EQ(env().unsafe_get_var("$from_host")->get_double(), 3.0);

    console.clear();
    rt().ExternalUpdateVar("$from_host", float_value(4.0));
    EXPECT_TRUE(console.errors.empty());
    EXPECT_DOUBLE_EQ(env().unsafe_get_var("$from_host")->get_double(), 4.0);
}

} // namespace
