// Definitions as the reader keeps them: processes registered by name with
// their arity, tracks numbered and matched, patterns checked, declarations
// of the audio graph read as written.
#include "ConsoleCapture.hpp"
#include "Exp/Environment.hpp"
#include "TestReading.hpp"
#include "Tree/AtomicActions.hpp"
#include "Tree/DspDefinitions.hpp"
#include "Tree/Process.hpp"
#include "Tree/Track.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <map>

namespace {

class Definitions : public ::testing::Test {
protected:
    bool read(const std::string& text) { return reader.load(text); }
    GlobalEnvironment& env() { return reader.ctx.global; }
    template <class T>
    std::vector<const T*> kept() {
        std::vector<const T*> out;
        for (const auto& d : reader.score().definitions)
            if (const auto* t = dynamic_cast<const T*>(d.get())) out.push_back(t);
        return out;
    }

    ConsoleCapture console;
    TestReading reader;
};

TEST_F(Definitions, ProcessIsRegisteredByNameWithItsArityAndALaterOneReplacesIt) {
    ASSERT_TRUE(read("@proc_def ::p($a, b) { print $a $b }\n@proc_def p() { print none }\nNOTE 60 1\n"));
    ProcDefinition* p = env().get_proc("::p");
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p->arity, 0u) << "the second definition wins";
    EXPECT_EQ(kept<UserProc>().size(), 2u);
}

TEST_F(Definitions, ProcessLeavesTheRegistryWithItsScore) {
    ASSERT_TRUE(read("@proc_def ::gone() { print x }\nNOTE 60 1\n"));
    reader.read.reset();
    EXPECT_EQ(env().get_proc("::gone"), nullptr);
}

TEST_F(Definitions, ActionsCountedAreThoseTheScoreWrites) {
    ASSERT_TRUE(
        read("@proc_def ::p() {\n  print a\n  print b\n}\n@pattern_def pattern::q { NOTE 60\n NOTE 62 }\n"
             "NOTE 60 1\n  whenever pattern::q { print x }\n  print y\n"));
    EXPECT_EQ(reader.score().CountActions(), 5) << "the process's two, the whenever, its body, the message";
}

TEST_F(Definitions, TracksAreNumberedAndRedefinitionKeepsTheCount) {
    ASSERT_TRUE(
        read("@track_def track::a { x }\n@track_def track::b { y }\n@track_def track::a { z }\nNOTE 60 1\n"));
    const auto tracks = kept<TrackDefinition>();
    ASSERT_EQ(tracks.size(), 2u);
    EXPECT_EQ(tracks[0]->flagindex, 0u);
    EXPECT_TRUE(tracks[0]->check_track("z1")) << "the new filter replaces the old";
    EXPECT_FALSE(tracks[0]->check_track("x"));
    EXPECT_TRUE(console.has_post("WARNING: redefinition of track a"));
}

TEST_F(Definitions, ActionsTakeTheTracksOfTheirFilterAndOfTheirParents) {
    ASSERT_TRUE(read("@track_def track::s { vio, \"cello\" }\n@track_def track::g { box }\nNOTE 60 1\n"
                     "  violin 1\n  cello 2\n  cellos 3\n  group box { celesta 4 }\n"));
    std::map<std::string, unsigned long> masks;
    for (const auto& [label, action] : reader.score().label_to_action)
        masks[label] = action->track_mask.to_ulong();
    EXPECT_EQ(masks.at("box"), 2ul);
    auto* top = dynamic_cast<Gfwd*>(reader.event(1).action());
    ASSERT_NE(top, nullptr);
    std::map<std::string, unsigned long> by_receiver;
    std::function<void(const Action&)> walk = [&](const Action& a) {
        if (!a.msg_name().empty()) by_receiver[a.msg_name()] = a.track_mask.to_ulong();
        if (const auto* seq = dynamic_cast<const AtomicSequence*>(&a))
            for (const ActionPtr& c : seq->actions)
                walk(*c);
        if (const auto* g = dynamic_cast<const Gfwd*>(&a))
            for (const ActionPtr& c : g->actions)
                walk(*c);
    };
    walk(*top);
    EXPECT_EQ(by_receiver.at("violin"), 1ul);
    EXPECT_EQ(by_receiver.at("cello"), 1ul);
    EXPECT_EQ(by_receiver.at("cellos"), 0ul);
    EXPECT_EQ(by_receiver.at("celesta"), 2ul);
}

TEST_F(Definitions, TheThirtyThirdTrackIsRefused) {
    std::string text;
    for (int i = 0; i < 33; ++i)
        text += "@track_def track::t" + std::to_string(i) + " { r }\n";
    EXPECT_FALSE(read(text + "NOTE 60 1\n"));
    EXPECT_TRUE(console.has_error("Tracks 't32': cannot define more than 32 tracks"));
}

TEST_F(Definitions, AudioGraphDeclarationsAreKeptAsWritten) {
    ASSERT_TRUE(
        read("@dsp_inlet $$in\n@dsp_cvar $$g, $$h\n@faust_def faust::f($x, $$in) { process = _ * {1}; }\n"
             "NOTE 60 1\n"));
    const auto vars = kept<DspVarDecl>();
    ASSERT_EQ(vars.size(), 3u);
    EXPECT_EQ(vars[0]->kind, DspDeclKind::INLET);
    EXPECT_EQ(vars[2]->name, "$$h");
    const auto nodes = kept<DspNodeDecl>();
    ASSERT_EQ(nodes.size(), 1u);
    EXPECT_EQ(nodes[0]->parameters, (std::vector<std::string>{"$x", "$$in"}));
    EXPECT_EQ(nodes[0]->program, " process = _ * {1}; ");
}

TEST_F(Definitions, PatternFaultsAreReportedWithTheirReason) {
    const std::pair<const char*, const char*> cases[] = {
        {"Before [2] NOTE 60", "First event in a pattern cannot have a temporal scope"},
        {"NOTE 60\n NoEvent $x", "No Before clause in a NoEvent pattern"},
        {"STATE $x during 2", "a State pattern must have either a guard"},
        {"NOTE 60 At $t", "Cowardly refuse to compile a fixed start date in a pattern."},
        {"EVENT $x, $y Value 1", "Can watch only one variable in presence of a value clause"},
        {"EVENT $x\n Before [2] NoEvent $y\n EVENT $y",
         "Variable in a NoEvent is also watched by the next pattern"},
    };
    for (const auto& [body, reason] : cases) {
        console.clear();
        EXPECT_FALSE(read(std::string("@pattern_def pattern::p {\n ") + body + "\n}\nNOTE 60 1\n")) << body;
        EXPECT_TRUE(console.has_error("Bad pattern definition")) << body;
        EXPECT_NE(console.all().find(reason), std::string::npos) << body << "\n" << console.all();
    }
}

TEST_F(Definitions, WheneverOnAnUnknownPatternIsRefused) {
    EXPECT_FALSE(read("NOTE 60 1\n  whenever pattern::nowhere { print x }\n"));
    EXPECT_TRUE(console.has_error("Non existent pattern 'pattern::nowhere'"));
}

} // namespace
