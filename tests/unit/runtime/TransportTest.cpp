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

class Transport : public RuntimeRig {
protected:
    std::vector<std::string> run_until_text(double t) {
        at(t);
        return timeline(host.delivered);
    }
};

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

// ---- labels, actions and jumps ----

const char* kLabels = "bpm 60\nNOTE 60 1 A\n  print a\nNOTE 62 1\nNOTE 64 1\n  print plain\n"
                      "NOTE 65 1 D\n  print d\nNOTE 67 1 E\n  print e\n";

TEST_F(Transport, NextLabelWaitsBeforeEachLabelInTurnAndReportsAfterTheLast) {
    start(kLabels);
    engine.cadenzium_nextlabel();
    EXPECT_EQ(engine.Position(), 0) << "before A";
    engine.updatePosition(1);
    engine.cadenzium_nextlabel();
    EXPECT_EQ(engine.Position(), 3) << "before D, the events on the way not fired";
    engine.updatePosition(4);
    engine.cadenzium_nextlabel();
    engine.updatePosition(5);
    engine.cadenzium_nextlabel();
    EXPECT_TRUE(console.has_error("No next label at the current position!"));
    EXPECT_THAT(timeline(host.delivered), ElementsAre("a@0", "d@0", "e@0"));
    EXPECT_TRUE(engine.is_running());
}

TEST_F(Transport, PreviousLabelGoesBackSoThatTheLabelFiresAgain) {
    start(kLabels);
    engine.cadenzium_previouslabel();
    EXPECT_TRUE(console.has_error("No previous label on current position!"));
    engine.cadenzium_nextEvent();
    engine.cadenzium_nextEvent();
    engine.cadenzium_nextEvent();
    engine.cadenzium_nextEvent();
    engine.cadenzium_previouslabel();
    EXPECT_EQ(engine.Position(), 1);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("a@0", "plain@0", "d@0"));
    engine.cadenzium_nextEvent();
    EXPECT_EQ(timeline(host.delivered).back(), "a@0") << "A is played again";
}

TEST_F(Transport, NextActionWaitsBeforeTheNextEventWithActions) {
    start(kLabels);
    engine.updatePosition(1);
    engine.cadenzium_nextaction();
    EXPECT_EQ(engine.Position(), 2) << "before the third event, the second having no action";
    engine.updatePosition(3);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("a@0", "plain@0"));
    engine.cadenzium_nextfwd();
    EXPECT_EQ(engine.Position(), 3) << "before D";
    engine.updatePosition(4);
    engine.cadenzium_nextfwd();
    engine.updatePosition(5);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("a@0", "plain@0", "d@0", "e@0"));
    engine.cadenzium_nextfwd();
    EXPECT_TRUE(console.has_error("No next event with bounded symbols at the current position!"));
}

// A jump hears its cue now: the skipped events' global actions fire late,
// local ones are dropped, the cue's actions fire, and what runs goes on.
TEST_F(Transport, JumpToACueFiresItAndTreatsSkippedEventsAsMissed) {
    start("bpm 60\nNOTE 60 1 A\n  group g { 2 print pending }\nNOTE 62 1\n  print global @global\n"
          "  print local @local\nNOTE 64 1 C\n  print c\n");
    engine.updatePosition(1);
    at(0.5);
    engine.cadenzium_jump("C");
    EXPECT_EQ(engine.Position(), 3);
    EXPECT_THAT(run_until_text(3.0), ElementsAre("global@0.5", "c@0.5", "pending@2"));
    engine.cadenzium_jump("A");
    EXPECT_EQ(engine.Position(), 1);
    EXPECT_THAT(run_until_text(6.0), ElementsAre("global@0.5", "c@0.5", "pending@2", "pending@5"))
        << "back at A, its group starts again";
    engine.cadenzium_jump("Z");
    EXPECT_TRUE(console.has_error("Given cue Z does not exist in the score!"));
}

// A scrub runs the score up to the label with its messages sent on the way,
// each at its date in the run.
TEST_F(Transport, ScrubSendsTheMessagesOfTheWay) {
    start(
        "bpm 60\nNOTE 60 1 A\n  print a\n  0.5 print half\nNOTE 62 1 B\n  print b\nNOTE 64 1 C\n  print c\n");
    engine.cadenzium_scrubtolabel("C");
    EXPECT_EQ(engine.Position(), 2);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("a@0", "half@0.5", "b@1"));
    host.delivered.clear();
    engine.cadenzium_jumptolabel("B");
    EXPECT_THAT(timeline(host.delivered), ElementsAre("a@2", "half@2.5")) << "logical time goes on";
}

TEST_F(Transport, NextLabelWithTempoTakesTheWrittenTempoAndFiresTheLabel) {
    start("bpm 60\nNOTE 60 1 A\nNOTE 62 1\nbpm 120\nNOTE 64 1 C\n  print c\n");
    engine.updatePosition(1);
    engine.cadenzium_nextlabeltempo();
    EXPECT_EQ(engine.Position(), 3);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("c@0"));
    EXPECT_DOUBLE_EQ(engine.current_tempo_bpm(), 120.0);
}

// After a move the listening machine waits for the target: the target's
// note is heard as the target, not as a jump from where it stood.
TEST_F(Transport, AfterGotoLabelTheListenerTakesTheTargetsNote) {
    start(kThree);
    engine.cadenzium_gotolabel("C");
    at(0.5);
    const float note[2] = {64, 100};
    engine.cadenzium_doit(2, note);
    for (int i = 0; i < 40 && engine.Position() != 3; ++i)
        engine.cadenzium_doit(0, nullptr);
    EXPECT_EQ(engine.Position(), 3);
    EXPECT_EQ(timeline(host.delivered).front().substr(0, 2), "c@");
}

} // namespace
