// How the actions of the tree run. An action falls due at a beat `date`,
// with `delay` (in `unit`) still to run of its own delay; it fires in one of
// three modes: in time (`Fire`), late, for an event that was missed
// (`Fire_late`), or in a simulation (`Fire_sim`). Every firing happens within
// a logical instant, under the environment lock; messages are queued there
// and leave when the instant ends.
//
// The firing is a visitor over the closed family of actions (ActionVisitor):
// each kind says here what it does in each mode.
#pragma once

#include "Exp/ExpTypes.hpp"
#include "Exp/Values.hpp"
#include "RunTime/CadTimer.hpp"
#include "Tree/ActionVisitor.hpp"

class Action;
class ChannelPort;
class DspPort;
class Runtime;

void Fire(Runtime& rt, Action& action, double date, double delay, duration_type unit);
void Fire_late(Runtime& rt, Action& action, double date, double delay, duration_type unit);
void Fire_sim(Runtime& rt, Action& action, double date, double delay, duration_type unit);

class Firing final : public ActionVisitor {
public:
    Firing(Runtime& rt, cadTimer_mode mode, double date, double delay, duration_type unit)
        : rt(rt)
        , mode(mode)
        , date(date)
        , delay(delay)
        , unit(unit) {}

    void visit(Message& a) override;
    void visit(KillAction& a) override;
    void visit(KillActionOf& a) override;
    void visit(CadAssert& a) override;
    void visit(ProcCall& a) override;
    void visit(Internal_comm& a) override;
    void visit(OscSend& a) override;
    void visit(OscRecv& a) override;
    void visit(OscOn& a) override;
    void visit(OscOff& a) override;
    void visit(OpenFileAction& a) override;
    void visit(CloseFileAction& a) override;
    void visit(AtomicSequence& a) override;
    void visit(AssignmentAction& a) override;
    void visit(VarParamAssignmentAction& a) override;
    void visit(LocalAssignment& a) override;
    void visit(TabAssignment& a) override;
    void visit(ActionDeclaration& a) override;
    void visit(DspEquation& a) override;
    void visit(DspPatch& a) override;
    void visit(DspFluidsynthAction& a) override;
    void visit(Gfwd& a) override;
    void visit(Lfwd& a) override;
    void visit(For& a) override;
    void visit(ConditionalAction& a) override;
    void visit(SwitchAction& a) override;
    void visit(WhenAction& a) override;
    void visit(WhenOnPattern& a) override;
    void visit(Curve& a) override;

private:
    // Whether a kind without a late or simulated behaviour of its own runs
    // now: always in time, when late unless "@local", never simulated.
    bool runs(const Action& a) const;
    // Kinds that this runtime does not run yet say so once each.
    void not_run_yet(Action& a);
    void start_group(Gfwd& a, cadTimer_mode how);
    void deliver_to_channel(ChannelPort& channels, const std::string& name, Message& a);
    // The host's channels when it has them; otherwise the action says once
    // that it does not run.
    ChannelPort* channels_for(Action& a);
    DspPort* dsp_for(Action& a);
    void fire_again(Action& child) const;
    // "cadenzium::mute name", "cadenzium::unmute name".
    void track_command(Internal_comm& a);

    Runtime& rt;
    cadTimer_mode mode;
    double date;
    double delay;
    duration_type unit;
};

// False when the action has a condition ("@guard") that does not hold now.
bool condition_holds(const Action& a);

// "abort": `target` names a group (a text), or is an execution (exe value).
// With `rec` the instances started by it stop too.
void kill_by_name(Runtime& rt, const Value& target, bool rec, const yy::location* loc);
// "abort what of": the child labelled `what` of the running instances of
// `of` (a group's name, or an execution) will not fire.
void kill_of_by_name(Runtime& rt, const Value& what, const Value& of, const yy::location* loc);
