// The position moved by command: going to a label, stepping on and back,
// and starting from a label with the score's actions run up to it in
// virtual time. Messages are recorded with their dates.
#include "RunTime/CadenziumCore.hpp"
#include "RuntimeRig.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const char* kThree = "bpm 60\nNOTE 60 1 A\n  print a\nNOTE 62 1 B\n  print b\nNOTE 64 1 C\n  print c\n";

class Transport : public RuntimeRig {};

TEST_F(Transport, GotoLabelWaitsBeforeItsEventAndFollowsFromThere) {
    start(kThree);
    engine.cadenzium_gotolabel("C");
    EXPECT_EQ(engine.Position(), 2);
    EXPECT_THAT(host.delivered, IsEmpty()) << "no action fires on the way";
    at(1.0);
    engine.updatePosition(3);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("c@1"));
}

TEST_F(Transport, GoingToWhatIsNotThereReportsAndStaysPut) {
    start(kThree);
    engine.cadenzium_gotolabel("Z");
    EXPECT_TRUE(console.has_error("Given cue Z does not exist in the score!"));
    engine.cadenzium_gotobeat(12.0);
    EXPECT_TRUE(console.has_error("The inquired beat position 12.000000 does not exist in the score!"));
    EXPECT_EQ(engine.Position(), 0);
    EXPECT_TRUE(engine.is_running());
}

TEST_F(Transport, NextAndPreviousEventStepThroughTheScoreAndReportItsEnds) {
    start(kThree);
    engine.cadenzium_previousEvent();
    EXPECT_TRUE(console.has_error("No previous event at the current position!"));
    engine.cadenzium_nextEvent();
    engine.cadenzium_nextEvent();
    engine.cadenzium_nextEvent();
    EXPECT_EQ(engine.Position(), 3);
    engine.cadenzium_nextEvent();
    EXPECT_TRUE(console.has_error("No next event at current position!"));
    engine.cadenzium_previousEvent();
    EXPECT_EQ(engine.Position(), 2);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("a@0", "b@0", "c@0")) << "going back fires nothing";
    engine.cadenzium_nextEvent();
    EXPECT_EQ(engine.Position(), 2) << "the event gone back to is played again";
    engine.cadenzium_nextEvent();
    EXPECT_EQ(engine.Position(), 3);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("a@0", "b@0", "c@0", "b@0", "c@0"));
    EXPECT_TRUE(engine.is_running());
}

// A loop, a curve and a group started at A are where they would be at C:
// their next tick, value and child come at their dates after the start.
TEST_F(Transport, StartFromLabelLeavesLoopsCurvesAndGroupsAsTheyWouldBe) {
    start("bpm 60\nNOTE 60 1 A\n  loop 1.5 { print tick }\n"
          "  curve @grain 1 @action := { print x $x } { $x { {0} 4 {4} } }\n"
          "  group g { 3.5 print pending }\nNOTE 62 1 B\nNOTE 64 4 C\n  print c\nNOTE 65 1 D\n");
    engine.cadenzium_startfromlabel("C");
    EXPECT_EQ(engine.Position(), 2);
    EXPECT_THAT(host.delivered, IsEmpty()) << "a start from a label is silent";
    EXPECT_DOUBLE_EQ(engine.GetTime(), 2.0);
    at(3.6);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("tick@3", "x 3.0@3", "pending@3.5"));
    at(4.0);
    engine.updatePosition(3);
    EXPECT_EQ(timeline(host.delivered).back(), "c@4");
}

TEST_F(Transport, StartFromTheFirstLabelRunsNothingBeforeIt) {
    start(kThree);
    engine.cadenzium_startfromlabel("A");
    EXPECT_EQ(engine.Position(), 0);
    engine.updatePosition(1);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("a@0"));
}

} // namespace
