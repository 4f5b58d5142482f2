// The atomic actions: leaves of the action tree, each done at one instant.
#pragma once

#include "Tree/Action.hpp"

// A message to a receiver of the host: several argument lists (separated by
// commas in the score) to one receiver, named or computed.
class Message : public AtomicAction {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    // Takes `receiver_expr` (null for a named receiver) and the expressions
    // of `arguments`.
    Message(BuildContext* ctx, const std::string& receiver, ExpPtr receiver_expr,
            std::vector<ExpressionList> arguments, const CadDuration* delay, AttributeList attributes,
            const yy::location* loc);

    std::string msg_name() const override { return receiver; }
    std::string word() const override;
    void show_head(std::ostream& out) const override;

    std::string receiver;
    ExpPtr receiver_expr;
    std::vector<ExpressionList> arguments;

protected:
    std::vector<Expression*> own_expressions() const override;
};

// The receiver name a message part designates: the text of a name, "_msg"
// for anything computed.
std::string message_name(const Expression* e);

// "kill" for a stop written with that word (its label says so), "abort"
// otherwise: the reader names a stop after its word and target.
std::string kill_word(const std::string& label);

// "abort name", "kill name", "abort expr": stops a running compound action.
class KillAction : public AtomicAction {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    // A named target (`target` null) or a computed one (`name` empty).
    KillAction(BuildContext* ctx, const std::string& label, const std::string& name, ExpPtr target,
               const CadDuration* delay, AttributeList attributes, const yy::location* loc);
    std::string word() const override { return "abort"; }
    std::string text_word() const override { return kill_word(label); }
    bool label_is_written() const override { return false; }
    using Action::show;
    void show(std::ostream& out) const override;
    void show_head(std::ostream& out) const override;

    std::string target_name;
    ExpPtr target;

protected:
    std::vector<Expression*> own_expressions() const override { return {target.get()}; }
};

// "abort a of b": stops the instances of `a` that run inside `b`.
class KillActionOf : public AtomicAction {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    KillActionOf(BuildContext* ctx, const std::string& label, const std::string& name,
                 const std::string& of_name, ExpPtr target, ExpPtr of_target, const CadDuration* delay,
                 AttributeList attributes, const yy::location* loc);
    std::string word() const override { return "abort"; }
    std::string text_word() const override { return kill_word(label); }
    bool label_is_written() const override { return false; }
    using Action::show;
    void show(std::ostream& out) const override;
    void show_head(std::ostream& out) const override;

    std::string target_name, of_name;
    ExpPtr target;
    ExpPtr of_target;

protected:
    std::vector<Expression*> own_expressions() const override { return {target.get(), of_target.get()}; }
};

class CadAssert : public AtomicAction {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    CadAssert(BuildContext* ctx, ExpPtr condition, AttributeList attributes, const yy::location* loc);
    std::string word() const override { return "@assert"; }
    void show_head(std::ostream& out) const override;

    ExpPtr assertion;
    std::string message = "Assertion failed";

protected:
    std::vector<Expression*> own_expressions() const override { return {assertion.get()}; }
};

// "::p(args)": starts an instance of a process, named or computed.
class ProcCall : public AtomicAction {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    ProcCall(BuildContext* ctx, const std::string& name, ExpPtr process, ExpressionList args,
             AttributeList attributes, const yy::location* loc);
    std::string proc_name() const override { return name; }
    std::string word() const override;
    void show_head(std::ostream& out) const override;

    std::string name;
    ExpPtr process;
    ExpressionList args;

protected:
    std::vector<Expression*> own_expressions() const override;
};

// "cadenzium::command args": an ctx command from the score.
class Internal_comm : public AtomicAction {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    Internal_comm(BuildContext* ctx, const std::string& command, ExpressionList args,
                  AttributeList attributes, const yy::location* loc);
    std::string word() const override { return "cadenzium::" + command; }
    void show_head(std::ostream& out) const override;

    std::string command;
    ExpressionList args;

protected:
    std::vector<Expression*> own_expressions() const override;
};

// Actions on OSC channels and output files, named by an identifier.
class NamedChannelAction : public AtomicAction {
public:
    NamedChannelAction(BuildContext* ctx, const std::string& name, AttributeList attributes,
                       const yy::location* loc, const char* base);
    void show_head(std::ostream& out) const override { out << ' ' << name; }
    std::string name;
};

class OscSend : public NamedChannelAction {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    OscSend(BuildContext* ctx, const std::string& name, const std::string& host, int port,
            const std::string& address, AttributeList attributes, const yy::location* loc);
    std::string word() const override { return "oscsend"; }
    void show_head(std::ostream& out) const override;
    std::string host;
    int port;
    std::string address;
};

class OscRecv : public NamedChannelAction {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    OscRecv(BuildContext* ctx, const std::string& name, int port, const std::string& address,
            std::vector<VarPtr> variables, AttributeList attributes, const yy::location* loc);
    std::string word() const override { return "oscreceive"; }
    void show_head(std::ostream& out) const override;
    int port;
    std::string address;
    std::vector<VarPtr> variables;

protected:
    std::vector<Expression*> own_expressions() const override;
};

class OscOn : public NamedChannelAction {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    OscOn(BuildContext* ctx, const std::string& name, AttributeList attributes, const yy::location* loc)
        : NamedChannelAction(ctx, name, std::move(attributes), loc, "oscon") {}
    std::string word() const override { return "osc on"; }
};

class OscOff : public NamedChannelAction {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    OscOff(BuildContext* ctx, const std::string& name, AttributeList attributes, const yy::location* loc)
        : NamedChannelAction(ctx, name, std::move(attributes), loc, "oscoff") {}
    std::string word() const override { return "osc off"; }
};

class OpenFileAction : public NamedChannelAction {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    OpenFileAction(BuildContext* ctx, const std::string& name, const std::string& file, int mode,
                   AttributeList attributes, const yy::location* loc);
    std::string word() const override { return "openoutfile"; }
    void show_head(std::ostream& out) const override;
    std::string file;
    int mode;
};

class CloseFileAction : public NamedChannelAction {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    CloseFileAction(BuildContext* ctx, const std::string& name, AttributeList attributes,
                    const yy::location* loc)
        : NamedChannelAction(ctx, name, std::move(attributes), loc, "closefile") {}
    std::string word() const override { return "closefile"; }
};

// Atomic actions at one date, done as one: a run of undelayed messages and
// assignments costs one scheduling step.
class AtomicSequence : public AtomicAction {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    // Starts with `first`, whose delay the sequence takes.
    AtomicSequence(BuildContext* ctx, ActionPtr first);

    void add(ActionPtr next);
    // Replaces each run of two or more undelayed simple atomic actions of
    // `list` by one sequence.
    static void restructure(BuildContext* ctx, ActionList& list);

    bool is_atomic_sequence() const override { return true; }
    bool weak_ok_action() const override { return false; }
    std::string word() const override { return "aseq"; }
    bool has_body() const override { return true; }
    // As score text, the actions one after the other, the first with the
    // sequence's delay: the reader makes the sequence again.
    using Action::show;
    void show(std::ostream& out) const override;
    void show_body(std::ostream& out) const override;
    int countActions() const override;
    void set_env(Environment* env, const std::list<std::string>& locals, int level) override;
    void compute_origin(const Origin& o) override;
    void compute_and_propage(const std::bitset<32>& context, Score* score) override;

    ActionList actions;
};
