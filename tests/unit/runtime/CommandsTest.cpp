// The engine's commands by name: from the score, with the arguments each
// command takes, and the settings that exist only as commands.
#include "PlayRig.hpp"
#include "RunTime/CadenziumCore.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using ::testing::ElementsAre;

class Commands : public PlayRig {
protected:
    CommandResult run(const std::string& name, std::vector<Value> args = {}) {
        return engine.run_command(name, args);
    }
};

const char* kThree = "bpm 60\nNOTE 60 1 A\n  print a\nNOTE 62 1 B\n  print b\nNOTE 64 1 C\n  print c\n";

// ---- the table ----

// Every command the engine answers to, with what it takes: a score, a
// patch, the editor and the keyboard all rely on these names and kinds.
TEST_F(Commands, EveryCommandIsThereWithWhatItTakes) {
    const std::vector<std::pair<command_kind, std::vector<const char*>>> table = {
        {CMD_NONE,
         {"version",
          "clear",
          "stop",
          "printscore",
          "printfwd",
          "getlabels",
          "nextevent",
          "nextfwd",
          "nextaction",
          "nextlabel",
          "nextlabeltempo",
          "before_nextlabel",
          "previouslabel",
          "previousevent",
          "play",
          "info",
          "static_analysis",
          "killall",
          "report",
          "get_current_score",
          "get_patch_receivers"}},
        {CMD_INT,
         {"verbosity", "calibrate", "nofharm", "pedal", "suivi", "mode", "tempoinit", "piano", "decodewindow",
          "lectern_trace", "lecternwidth_set", "lecternheight_set"}},
        {CMD_DOUBLE,
         {"variance", "gotobeat", "scrubtobeat", "startfrombeat", "temposmoothness", "gamma", "tune", "tempo",
          "pedalcoeff", "pedaltime", "playtobeat", "playfrombeat", "obsexp", "normin", "bpmtolerance"}},
        {CMD_STRING,
         {"filewatchset",
          "score",
          "read",
          "start",
          "actions",
          "gotocue",
          "gotolabel",
          "scrubtolabel",
          "jumptocue",
          "jumptolabel",
          "startfromlabel",
          "jump",
          "preventzigzag",
          "playfrom",
          "playfromlabel",
          "playto",
          "playtolabel",
          "playstring",
          "playstring_append",
          "mute",
          "unmute",
          "add_completion_string"}},
        {CMD_TWO_STRINGS, {"preload"}},
        {CMD_DOUBLES, {"harmlist"}},
        {CMD_TWO_INTS, {"analysis", "lecternxy_set"}},
        {CMD_STRING_VALUE, {"setvar"}},
    };
    for (const auto& [kind, names] : table)
        for (const char* name : names) {
            const internal_function* f = engine.commands().find(name);
            ASSERT_NE(f, nullptr) << name;
            EXPECT_EQ(f->kind, kind) << name;
        }
}

// The actions of each event, as score text under the event's place.
TEST_F(Commands, PrintfwdPrintsTheActionsOfEachEvent) {
    start(kThree);
    EXPECT_EQ(run("printfwd").status, CommandStatus::Done);
    EXPECT_TRUE(console.has_post("// event 2 B (beat 1)"));
}

// The host watches files and knows its patch: a host that does neither
// says so.
TEST_F(Commands, HostSideCommandsAnswerThroughTheHost) {
    start(kThree);
    run("get_patch_receivers");
    EXPECT_TRUE(console.has_post("cadenzium - No patch receivers"));
    run("filewatchset", {string_value("on")});
    EXPECT_TRUE(console.has_error("cadenzium - This host does not watch files"));
}

// ---- reading the arguments for the command's kind ----

TEST_F(Commands, ArgumentsAreReadForWhatTheCommandTakes) {
    start(kThree);
    EXPECT_EQ(run("gotobeat", {int_value(2)}).status, CommandStatus::Done) << "an int serves a float";
    EXPECT_EQ(engine.Position(), 2);
    EXPECT_EQ(run("verbosity", {float_value(0.7)}).status, CommandStatus::Done) << "a float serves an int";
    EXPECT_EQ(run("nosuch").status, CommandStatus::Unknown);

    const struct {
        const char* name;
        std::vector<Value> args;
        ArgumentProblem problem;
    } bad[] = {
        {"gotobeat", {string_value("B")}, ArgumentProblem::ExpectsFirstFloat},
        {"gotobeat", {}, ArgumentProblem::ExpectsFirstFloat},
        {"gotolabel", {int_value(3)}, ArgumentProblem::ExpectsStrings},
        {"preload", {string_value("one")}, ArgumentProblem::ExpectsStrings},
        {"pedal", {string_value("on")}, ArgumentProblem::ExpectsInts},
        {"analysis", {int_value(1024)}, ArgumentProblem::ExpectsInts},
        {"harmlist", {float_value(1), string_value("x")}, ArgumentProblem::ExpectsFloats},
        {"setvar", {string_value("x")}, ArgumentProblem::Other},
    };
    for (const auto& b : bad) {
        const CommandResult r = run(b.name, b.args);
        EXPECT_EQ(r.status, CommandStatus::BadArguments) << b.name;
        EXPECT_EQ(r.problem, b.problem) << b.name;
    }
    EXPECT_EQ(engine.Position(), 2) << "a refused command changes nothing";
}

// The editor's settings: traces on and off with their report, the window's
// geometry, and completion words kept once each in the order given.
TEST_F(Commands, TheEditorsSettingsAreKeptForTheHost) {
    start(kThree);
    EXPECT_TRUE(engine.lectern_trace_on()) << "traces go to a linked editor by default";
    EXPECT_EQ(run("lectern_trace", {int_value(0)}).status, CommandStatus::Done);
    EXPECT_FALSE(engine.lectern_trace_on());
    EXPECT_TRUE(console.has_post("Lectern traces OFF."));
    run("lectern_trace", {int_value(1)});
    EXPECT_TRUE(engine.lectern_trace_on());
    EXPECT_TRUE(console.has_post("Lectern traces ON."));

    run("lecternwidth_set", {int_value(800)});
    run("lecternheight_set", {int_value(600)});
    EXPECT_EQ(run("lecternxy_set", {int_value(10), int_value(20)}).status, CommandStatus::Done);
    EXPECT_EQ(run("lecternxy_set", {int_value(10)}).status, CommandStatus::BadArguments);
    const auto& editor = engine.editor_settings();
    EXPECT_EQ(std::vector<int>({editor.width, editor.height, editor.x, editor.y}),
              std::vector<int>({800, 600, 10, 20}));

    for (const char* word : {"reverb", "spat", "reverb"})
        run("add_completion_string", {string_value(word)});
    EXPECT_THAT(editor.completions, ElementsAre("reverb", "spat"));
}

TEST_F(Commands, StartMayComeBareOrWithTheNameOfAPreloadedScore) {
    start(kThree);
    engine.cadenzium_nextEvent();
    EXPECT_EQ(run("start").status, CommandStatus::Done);
    EXPECT_EQ(engine.Position(), 0);
    run("start", {string_value("nothing")});
    EXPECT_TRUE(console.has_error("No preloaded score for 'nothing'"));
}

TEST_F(Commands, SetvarGivesOneValueOrATabOfSeveral) {
    play("NOTE 60 1\n  whenever ($x) { print got $x }\n");
    run("setvar", {string_value("x"), int_value(3)});
    run("setvar", {string_value("$x"), int_value(1), int_value(2)});
    EXPECT_THAT(timeline(host.delivered), ElementsAre("got 3@0", "got TAB[1, 2]@0"));
}

TEST_F(Commands, SetvarWithoutAScoreIsIgnored) {
    run("setvar", {string_value("x"), int_value(3)});
    EXPECT_TRUE(console.has_error("Ignore message 'set_user_variable' on 'x' until a partition is loaded"));
}

// ---- from the score ----

// A command runs once its instant is over: the messages of the instant
// are already on their way, and the position it moves to is where the
// next instant stands.
TEST_F(Commands, AScoreCommandRunsAfterItsInstant) {
    play("bpm 60\nNOTE 60 1 A\n  print before\n  cadenzium::gotolabel \"C\"\n  print after\n"
         "NOTE 62 1 B\n  print b\nNOTE 64 1 C\n  print c\n");
    EXPECT_THAT(timeline(host.delivered), ElementsAre("before@0", "after@0"));
    EXPECT_EQ(engine.Position(), 2) << "waiting before C";
    at(1.0);
    engine.updatePosition(3);
    EXPECT_THAT(timeline(host.delivered), ElementsAre("before@0", "after@0", "c@1"));
}

TEST_F(Commands, AScoreCommandOfTheWrongKindOrNameIsReportedWithItsPlace) {
    play("NOTE 60 1\n  cadenzium::gotobeat \"x\"\n  cadenzium::harmlist 1 \"y\"\n  cadenzium::nosuch 1\n");
    EXPECT_TRUE(console.has_error("Bad type in internal command 'gotobeat'"));
    EXPECT_TRUE(console.has_error("Bad type in internal command. Vector of float expected."));
    EXPECT_TRUE(console.has_error("Unknown internal command 'nosuch'"));
}

TEST_F(Commands, TheScoreSetsTheTempoItIsFollowedAt) {
    play("bpm 60\nNOTE 60 1\n  cadenzium::tempo 120\n  1 print later\nNOTE 62 1\n");
    EXPECT_DOUBLE_EQ(engine.current_tempo_bpm(), 120.0);
}

TEST_F(Commands, ASilentStartFromALabelRunsNoCommandOnTheWay) {
    start("bpm 60\nNOTE 60 1 A\n  cadenzium::tempo 200\nNOTE 62 1 B\n");
    engine.cadenzium_startfromlabel("B");
    EXPECT_DOUBLE_EQ(engine.current_tempo_bpm(), 60.0);
}

// ---- settings ----

TEST_F(Commands, SettingsOutOfTheirRangeAreRefusedAndKeepTheOldValue) {
    start(kThree);
    run("temposmoothness", {float_value(1.0)});
    EXPECT_DOUBLE_EQ(engine.get_tempo().eta, 0.0);
    run("temposmoothness", {float_value(1.1)});
    EXPECT_TRUE(console.has_error("Tempo smoothness parameter should be between 0.0 and 1.0!"));
    EXPECT_DOUBLE_EQ(engine.get_tempo().eta, 0.0);

    run("bpmtolerance", {float_value(20.0)});
    EXPECT_FLOAT_EQ(rt().switches.bpm_tolerance, 20.0f);
    run("bpmtolerance", {float_value(20.1)});
    EXPECT_TRUE(console.has_error("BPM Tolerance should be between 0.0 and 20.0. Ignored!"));
    EXPECT_FLOAT_EQ(rt().switches.bpm_tolerance, 20.0f);

    run("preventzigzag", {string_value("Off")});
    EXPECT_FALSE(rt().switches.prevent_zigzag);
    run("preventzigzag", {string_value("sometimes")});
    EXPECT_TRUE(console.has_error("Audio can be turned On or Off! Command not known."));
    EXPECT_FALSE(rt().switches.prevent_zigzag);

    run("tempo", {float_value(-3)});
    EXPECT_DOUBLE_EQ(engine.current_tempo_bpm(), 60.0);
}

TEST_F(Commands, LabelsAreGivenInTheOrderOfTheScore) {
    start(kThree);
    using Cue = std::pair<std::string, double>;
    EXPECT_THAT(engine.cadenzium_getcues(), ElementsAre(Cue{"A", 0.0}, Cue{"B", 1.0}, Cue{"C", 2.0}));
    EXPECT_TRUE(console.has_post("label \"B\" at beat 1"));
}

TEST_F(Commands, TheCurrentScoreIsSentAsItsText) {
    TempScore file(kThree);
    ASSERT_TRUE(engine.ScoreParsing(file.path));
    host.delivered.clear();
    run("get_current_score");
    ASSERT_EQ(host.delivered.size(), 1u);
    EXPECT_EQ(host.delivered[0].receiver, "current_score");
    EXPECT_NE(host.delivered[0].args.find("NOTE 62 1 B"), std::string::npos);
}

// Text played into the running score is read with the macros of the
// score, and its actions run at once.
TEST_F(Commands, PlayedStringsRunAtOnceAndKnowTheScoresMacros) {
    start("@macro_def @hello($who) { print hello $who }\nNOTE 60 1\n");
    run("playstring_append", {string_value("@hello(world)")});
    EXPECT_TRUE(host.delivered.empty()) << "appended text waits";
    run("playstring", {string_value("print now")});
    EXPECT_THAT(timeline(host.delivered), ElementsAre("hello world@0", "now@0"));
}

} // namespace
