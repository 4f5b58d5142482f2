// The action tree as the reader builds it: the construction rules a score
// writer relies on (sequences, lone blocks, tight children, labels, curves,
// scopes), checked on trees read from text.
#include "Exp/Environment.hpp"
#include "Exp/Var.hpp"
#include "ConsoleCapture.hpp"
#include "TestReading.hpp"
#include "Tree/Assignments.hpp"
#include "Tree/AtomicActions.hpp"
#include "Tree/Compound.hpp"
#include "Tree/Curve.hpp"

#include <gtest/gtest.h>

namespace {

class ActionTree : public ::testing::Test {
protected:
    void read(const std::string& text) { ASSERT_TRUE(reader.load(text)) << text; }
    Action* top(int event) { return reader.event(event).action(); }
    // The children of the top group of an event.
    const ActionList& children(int event) {
        auto* group = dynamic_cast<Gfwd*>(top(event));
        EXPECT_NE(group, nullptr) << "event " << event << " has no top group";
        static const ActionList none;
        return group ? group->actions : none;
    }
    Action* labelled(const std::string& label) {
        auto it = reader.score().label_to_action.find(label);
        return it == reader.score().label_to_action.end() ? nullptr : it->second;
    }
    static double beats(const CadDuration& d) {
        EXPECT_EQ(d.unit, DURATION_BEATS);
        return d.eval();
    }

    ConsoleCapture console;
    TestReading reader;
};

TEST_F(ActionTree, UndelayedAtomicActionsBecomeOneSequence) {
    read("NOTE 60 1\nprint one\nprint two\n$x := 1\n2 print three\nprint four\n");
    const auto& kids = children(1);
    ASSERT_EQ(kids.size(), 2u);
    auto* first = dynamic_cast<AtomicSequence*>(kids[0].get());
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first->actions.size(), 3u) << "messages and assignments at one date";
    auto* second = dynamic_cast<AtomicSequence*>(kids[1].get());
    ASSERT_NE(second, nullptr);
    EXPECT_DOUBLE_EQ(beats(second->delay), 2.0) << "the sequence takes the delay of its first action";
    EXPECT_TRUE(is_zero_delay(&second->actions.front()->delay));
}

TEST_F(ActionTree, ActionsThatCannotJoinASequenceStayApart) {
    read("NOTE 60 1\nprint one\nprint two @local\nprint three @tight\n");
    const auto& kids = children(1);
    ASSERT_EQ(kids.size(), 3u);
    EXPECT_NE(dynamic_cast<Message*>(kids[0].get()), nullptr);
    EXPECT_NE(dynamic_cast<Message*>(kids[1].get()), nullptr) << "@local keeps an action alone";
    EXPECT_EQ(kids[2]->label.rfind("_tightification_of_", 0), 0u);
}

TEST_F(ActionTree, ALoneUndelayedActionIsAttachedAsItIs) {
    read("print before\nNOTE 60 1\nprint alone\nNOTE 62 1 second\n1 print delayed\n");
    EXPECT_NE(dynamic_cast<Message*>(top(0)), nullptr)
        << "a block before any event goes to the initial event";
    EXPECT_NE(dynamic_cast<Message*>(top(1)), nullptr);
    auto* hidden = dynamic_cast<Gfwd*>(top(2));
    ASSERT_NE(hidden, nullptr) << "a delayed action needs a group to carry its delay";
    EXPECT_TRUE(hidden->hidden);
    EXPECT_NE(hidden->label.find("event_second"), std::string::npos);
    EXPECT_EQ(reader.score().CountActions(), 3) << "hidden groups are not counted";
}

TEST_F(ActionTree, AnAnonymousBlockAroundOneUndelayedActionIsThatAction) {
    read("NOTE 60 1\n{ print 1 }\n");
    EXPECT_NE(dynamic_cast<Message*>(top(1)), nullptr);

    read("NOTE 60 1\ngroup g { print 1 }\n");
    auto* named = dynamic_cast<Gfwd*>(top(1));
    ASSERT_NE(named, nullptr);
    EXPECT_EQ(named->label, "g");

    read("NOTE 60 1\n{ 1 print late }\n");
    EXPECT_NE(dynamic_cast<Gfwd*>(top(1)), nullptr) << "a delayed first child keeps the group";

    read("NOTE 60 1\ngroup @tight { print 1 }\n");
    EXPECT_NE(dynamic_cast<Gfwd*>(top(1)), nullptr) << "attributes keep the group";

    read("NOTE 60 1\n{ @local $x }\n");
    EXPECT_NE(dynamic_cast<Gfwd*>(top(1)), nullptr) << "a local declaration needs its scope";
}

TEST_F(ActionTree, ATightChildBecomesAGroupAndPassesItsDelayOn) {
    read("NOTE 60 1\ngroup g {\n print a\n 1 print b @tight @name = tb\n 2 print c\n}\n");
    auto* g = dynamic_cast<Gfwd*>(top(1));
    ASSERT_NE(g, nullptr);
    ASSERT_EQ(g->actions.size(), 3u);
    auto* wrapper = dynamic_cast<Gfwd*>(g->actions[1].get());
    ASSERT_NE(wrapper, nullptr);
    EXPECT_EQ(wrapper->label, "_tightification_of_tb");
    EXPECT_TRUE(wrapper->tight) << "the group carries the strategy";
    EXPECT_TRUE(is_zero_delay(&wrapper->delay));
    Action* inner = wrapper->actions.at(0).get();
    EXPECT_FALSE(inner->tight);
    EXPECT_DOUBLE_EQ(beats(inner->delay), 1.0) << "the action keeps its own delay inside";
    EXPECT_DOUBLE_EQ(beats(g->actions[2]->delay), 3.0) << "the next sibling keeps its date";
}

TEST_F(ActionTree, LabelsAreGivenOrGeneratedAndRegistered) {
    read("NOTE 60 1\nprint a @name = 12\nabort $x\nabort bar of baz\nloop L 1 { print tick }\nkill 2 foo\n");
    EXPECT_NE(dynamic_cast<Message*>(labelled("12")), nullptr) << "a numeric name is its text";

    auto* kill = dynamic_cast<KillAction*>(labelled("kill_foo"));
    ASSERT_NE(kill, nullptr);
    EXPECT_EQ(kill->target_name, "foo");
    EXPECT_DOUBLE_EQ(beats(kill->delay), 2.0) << "kill takes its delay after the keyword";
    EXPECT_NE(dynamic_cast<KillActionOf*>(labelled("abort_bar_of_baz")), nullptr);
    EXPECT_NE(dynamic_cast<Lfwd*>(labelled("L")), nullptr);

    bool computed_abort = false;
    for (const auto& [label, action] : reader.score().label_to_action)
        if (auto* k = dynamic_cast<KillAction*>(action); k && k->target)
            computed_abort = is_an_anonymous_name(label) && label.find("_abort") != std::string::npos;
    EXPECT_TRUE(computed_abort) << "a computed target gives an anonymous label on \"abort\"";
}

TEST_F(ActionTree, AnonymousNamesAreNumberedPerReadingAndStripped) {
    BuildContext reading;
    const std::string a = anonymous_name(&reading, "group");
    const std::string b = anonymous_name(&reading, a);
    EXPECT_TRUE(is_an_anonymous_name(a));
    EXPECT_EQ(a, "__anonymous1_group");
    EXPECT_EQ(b, "__anonymous2_group") << "an existing prefix is not repeated";
    EXPECT_EQ(anonymous_name(&reading, "v", true).rfind("$__anonymous", 0), 0u);
    EXPECT_LE(anonymous_name(&reading, std::string(300, 'x')).size(), 127u);

    BuildContext another;
    EXPECT_EQ(anonymous_name(&another, "group"), a) << "each reading numbers from 1: the same text, the same names";
}

TEST_F(ActionTree, SwitchCasesWithOneUndelayedActionHaveNoGroup) {
    read("NOTE 60 1\nswitch ($m) {\n case 1: print one\n case 2: 1 print late\n case 3: print a\n print "
         "b\n}\n");
    auto* s = dynamic_cast<SwitchAction*>(top(1));
    ASSERT_NE(s, nullptr);
    ASSERT_EQ(s->cases.size(), 3u);
    EXPECT_NE(dynamic_cast<Message*>(s->cases[0].second.get()), nullptr);
    auto* delayed = dynamic_cast<Gfwd*>(s->cases[1].second.get());
    ASSERT_NE(delayed, nullptr);
    EXPECT_EQ(delayed->label, s->label + "_cases_1");
    EXPECT_NE(dynamic_cast<AtomicSequence*>(s->cases[2].second.get()), nullptr);
}

TEST_F(ActionTree, BodiesOfConditionalsLoopsAndReactions) {
    read("NOTE 60 1\nif ($x) { print yes } else { print a\n 1 print b }\n"
         "whenever w ($y > 1) { print z $q }\nloop L 2 { print t }\nforall $i, $v in $m { print $i }\n");
    const auto& kids = children(1);
    auto* cond = dynamic_cast<ConditionalAction*>(kids.at(0).get());
    ASSERT_NE(cond, nullptr);
    EXPECT_NE(dynamic_cast<Message*>(cond->true_body.get()), nullptr);
    ASSERT_NE(dynamic_cast<Gfwd*>(cond->false_body.get()), nullptr);
    EXPECT_EQ(cond->false_body->label, cond->label + "_false_body");

    auto* when = dynamic_cast<WhenAction*>(kids.at(1).get());
    ASSERT_NE(when, nullptr);
    ASSERT_EQ(when->watched.size(), 1u) << "only the condition's variables wake a reaction";
    EXPECT_EQ((*when->watched.begin())->name, "$y");

    auto* loop = dynamic_cast<Lfwd*>(kids.at(2).get());
    ASSERT_NE(loop, nullptr);
    EXPECT_DOUBLE_EQ(beats(loop->period), 2.0);
    EXPECT_EQ(loop->body->parent, loop);

    auto* each = dynamic_cast<For*>(kids.at(3).get());
    ASSERT_NE(each, nullptr);
    EXPECT_TRUE(each->two_vars);
    EXPECT_EQ(each->body->local_names, (std::list<std::string>{"$i", "$v"}));
}

TEST_F(ActionTree, LocalVariablesStayOutOfTheGlobalEnvironment) {
    read("NOTE 60 1\ngroup g {\n @local $a\n $a := $b\n}\n@global 20:$h\n");
    GlobalEnvironment* env = (&reader.ctx.global);
    EXPECT_FALSE(env->is_defined_var("$a"));
    EXPECT_TRUE(env->is_defined_var("$b")) << "a free variable is global";
    ASSERT_TRUE(env->is_defined_var("$h"));
    EXPECT_EQ(env->get_vm("$h")->size(), 21u) << "the declared history length";
    auto* g = dynamic_cast<Gfwd*>(children(1).at(0).get());
    ASSERT_NE(g, nullptr);
    ASSERT_NE(g->env, nullptr);
    EXPECT_TRUE(g->env->is_defined_var("$a"));
}

TEST_F(ActionTree, TempoVariablesGetTheirTempoWhereTheyAreDeclared) {
    read("NOTE 60 1\n@tempovar $t(90, 2)\ngroup g {\n @local $u\n @tempovar $u(60, 1)\n}\n");
    var_management* vm = (&reader.ctx.global)->get_vm("$t");
    ASSERT_NE(vm, nullptr);
    ASSERT_NE(vm->tempo_var, nullptr);
    EXPECT_DOUBLE_EQ(vm->tempo_var->score_step, 2.0);

    EXPECT_FALSE((&reader.ctx.global)->is_defined_var("$u"));
    auto* g = dynamic_cast<Gfwd*>(children(1).at(1).get());
    ASSERT_NE(g, nullptr);
    ASSERT_NE(g->env, nullptr);
    var_management* local = g->env->get_vm("$u");
    ASSERT_NE(local, nullptr);
    EXPECT_NE(local->tempo_var, nullptr);
}

TEST_F(ActionTree, CurvesSampleAtTheirGrainOrWarn) {
    read("NOTE 60 1\ncurve c { $x { {0} 1 {1} } }\n");
    auto* c = dynamic_cast<Curve*>(top(1));
    ASSERT_NE(c, nullptr);
    EXPECT_TRUE(console.has_post("Warning: Curve c: Sampling-rate is not specified, use 0.2 beat."));
    EXPECT_DOUBLE_EQ(beats(c->grain), 0.2);
    ASSERT_EQ(c->functions.size(), 1u);
    EXPECT_EQ(c->functions[0].points.size(), 2u);

    console.clear();
    read("NOTE 60 1\ncurve level 0, 1 2s\n");
    EXPECT_FALSE(console.has_post("Sampling-rate"));
    auto* group = dynamic_cast<Gfwd*>(top(1));
    ASSERT_NE(group, nullptr);
    EXPECT_EQ(group->label, "__simple_curve__level_group");
    ASSERT_EQ(group->actions.size(), 2u);
    auto* stop = dynamic_cast<KillAction*>(group->actions[0].get());
    ASSERT_NE(stop, nullptr);
    EXPECT_EQ(stop->target_name, "__simple_curve__level") << "a new curve stops the previous one";
    auto* ramp = dynamic_cast<Curve*>(group->actions[1].get());
    ASSERT_NE(ramp, nullptr);
    EXPECT_EQ(ramp->grain.unit, DURATION_SECONDS);
    EXPECT_DOUBLE_EQ(ramp->grain.eval(), 0.03);
    EXPECT_NE(ramp->step_action, nullptr);
    EXPECT_EQ(reader.score().CountActions(), 1) << "a simplified curve is one action of the score";
}

TEST_F(ActionTree, ASimplifiedCurveWithoutStartGoesOnFromTheLastValue) {
    read("NOTE 60 1\ncurve level 1 2\n");
    auto* group = dynamic_cast<Gfwd*>(top(1));
    ASSERT_NE(group, nullptr);
    auto* ramp = dynamic_cast<Curve*>(group->actions.at(1).get());
    ASSERT_NE(ramp, nullptr);
    const Expression* start = ramp->functions.at(0).points.at(0).values.at(0).get();
    const Var* var = start->is_a_variable();
    ASSERT_NE(var, nullptr);
    EXPECT_EQ(var->name, "$__state_simple_curve__level");
}

TEST_F(ActionTree, AssignmentsByTheirTarget) {
    read("NOTE 60 1\n$x := 1\nlet $v.tempo := 60\nlet $t[1, 2] := 0\nlet $o.$f := 2\n_ := 3\n");
    auto* seq = dynamic_cast<AtomicSequence*>(top(1));
    ASSERT_NE(seq, nullptr);
    std::vector<Action*> list;
    for (const ActionPtr& a : seq->actions)
        list.push_back(a.get());
    ASSERT_EQ(list.size(), 5u);
    EXPECT_TRUE(list[0]->is_simple_var_assignment());
    EXPECT_NE(dynamic_cast<VarParamAssignmentAction*>(list[1]), nullptr);
    auto* tab = dynamic_cast<TabAssignment*>(list[2]);
    ASSERT_NE(tab, nullptr);
    EXPECT_EQ(tab->indices.size(), 2u);
    EXPECT_NE(dynamic_cast<LocalAssignment*>(list[3]), nullptr);
    auto* dropped = dynamic_cast<AssignmentAction*>(list[4]);
    ASSERT_NE(dropped, nullptr);
    EXPECT_EQ(dropped->target, nullptr);
}

TEST_F(ActionTree, DatesAddTheDelaysFromTheEvent) {
    read("NOTE 60 2\nNOTE 62 1\nprint a\n1 print b\ngroup g { 0.5 print c }\n");
    const auto& kids = children(2);
    ASSERT_EQ(kids.size(), 3u);
    Date late(*kids[1]);
    EXPECT_DOUBLE_EQ(late.to_beat(false), 3.0);
    auto* g = dynamic_cast<Gfwd*>(kids[2].get());
    ASSERT_NE(g, nullptr);
    Date inner(*g->actions.at(0));
    EXPECT_DOUBLE_EQ(inner.to_beat(false), 3.5) << "a child counts from its predecessors";
    EXPECT_EQ(Date(*kids[0]).compare_event(late), Date::BEFORE);
}

} // namespace
