// The entries of firing, the rules of the three modes, and the atomic
// actions that do their work at once: messages, calls, commands, asserts.
#include "RunTime/Firing.hpp"

#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/ValueKinds.hpp"
#include "RunTime/ChannelPort.hpp"
#include "RunTime/Environment_RunTime.hpp"
#include "RunTime/HostPort.hpp"
#include "Tree/Assignments.hpp"
#include "Tree/AtomicActions.hpp"
#include "Tree/Compound.hpp"
#include "Tree/Curve.hpp"
#include "Tree/DspActions.hpp"

void Fire(Runtime& rt, Action& action, double date, double delay, duration_type unit) {
    Firing firing(rt, MODE_NORMAL, date, delay, unit);
    action.accept(firing);
}

void Fire_late(Runtime& rt, Action& action, double date, double delay, duration_type unit) {
    Firing firing(rt, MODE_LATE, date, delay, unit);
    action.accept(firing);
}

void Fire_sim(Runtime& rt, Action& action, double date, double delay, duration_type unit) {
    Firing firing(rt, MODE_SIMULATION, date, delay, unit);
    action.accept(firing);
}

bool condition_holds(const Action& a) {
    return !a.condition || eval_bool(a.condition);
}

bool Firing::runs(const Action& a) const {
    switch (mode) {
    case MODE_NORMAL:
        return true;
    case MODE_LATE:
        return a.locality != LOCALITY_LOCAL;
    case MODE_SIMULATION:
        return false;
    }
    return false;
}

void Firing::not_run_yet(Action& a) {
    if (!rt.reported_kinds.insert(a.word()).second) return;
    error("'%s' actions are not run yet: ignored", a.word().c_str());
    a.post_location();
}

// ---- messages ----

void Firing::visit(Message& a) {
    if (!runs(a)) return;
    const std::string name = a.receiver_expr ? a.receiver_expr->eval()->get_string() : a.receiver;
    if (!condition_holds(a)) return;
    if ((a.track_mask & rt.muted_tracks).any()) return;
    if (ChannelPort* channels = rt.port.channels(); channels && channels->takes(name)) {
        deliver_to_channel(*channels, name, a);
        return;
    }
    for (std::size_t i = 0; i < a.arguments.size(); ++i) {
        if (i > 0 && a.receiver_expr) a.receiver_expr->eval();
        message* m = rt.new_message();
        m->receiver = name;
        m->values.reserve(a.arguments[i].size());
        for (const ExpPtr& e : a.arguments[i])
            m->values.push_back(e->eval());
        m->source = &a;
        rt.queue_message(m);
    }
}

// A sender or an output file takes all the argument lists at once, from
// inside the instant: only the host's messages wait for its end.
void Firing::deliver_to_channel(ChannelPort& channels, const std::string& name, Message& a) {
    MessageLists lists(a.arguments.size());
    for (std::size_t i = 0; i < a.arguments.size(); ++i) {
        lists[i].reserve(a.arguments[i].size());
        for (const ExpPtr& e : a.arguments[i])
            lists[i].push_back(e->eval());
    }
    channels.deliver(name, lists, a);
}

// ---- calls, commands, asserts ----

// A call names its process ("::p(...)") or computes it (":: $p(...)").
void Firing::visit(ProcCall& a) {
    if (!runs(a) || !condition_holds(a)) return;
    ProcDefinition* proc = a.process ? nullptr : rt.env.get_proc(a.name);
    if (a.process) {
        const Value callee = a.process->eval();
        if (callee->is_proc()) proc = rt.env.get_proc(value_cast<ProcValue>(*callee).val);
    }
    if (!proc) {
        error("Bad proc application: %s does not refer to a proc [aap1]", a.word().c_str());
        a.post_location();
        return;
    }
    std::vector<Value> values;
    values.reserve(a.args.size());
    for (const ExpPtr& e : a.args)
        values.push_back(e->eval());
    rt.launch_process(proc, values, static_cast<float>(date), &a);
}

// Muting and unmuting a track take effect within the instant, so the
// messages that follow in it are already filtered. Any other command goes
// with the instant's messages, its arguments evaluated now: the engine runs
// it once the instant is over.
void Firing::visit(Internal_comm& a) {
    if (!runs(a) || !condition_holds(a)) return;
    if (a.command == "mute" || a.command == "unmute") {
        track_command(a);
        return;
    }
    message* m = rt.new_message();
    m->receiver = a.command;
    m->command = true;
    m->values.reserve(a.args.size());
    for (const ExpPtr& e : a.args)
        m->values.push_back(e->eval());
    m->source = &a;
    rt.queue_message(m);
}

void Firing::track_command(Internal_comm& a) {
    const bool mute = a.command == "mute";
    if (a.args.size() != 1) {
        error("cadenzium::%s: one track name expected", a.command.c_str());
        a.post_location();
        return;
    }
    const std::string name = a.args.front()->eval()->get_string();
    if (!(mute ? rt.set_mute_track(name) : rt.unset_mute_track(name))) a.post_location();
}

void Firing::visit(CadAssert& a) {
    if (!runs(a)) return;
    if (!condition_holds(a) || eval_bool(a.assertion.get())) return;
    error("%s", a.message.c_str());
    a.post_location();
}

// ---- kinds not run yet ----

// A whenever on a pattern is the group its pattern was compiled into.
void Firing::visit(WhenOnPattern& a) {
    visit(static_cast<Gfwd&>(a));
}
