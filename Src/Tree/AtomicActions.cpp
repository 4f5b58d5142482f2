#include "Tree/AtomicActions.hpp"

#include "Exp/Expression.hpp"

#include <ostream>

// ---- Message ----

Message::Message(BuildContext* ctx, const std::string& name, ExpPtr computed,
                 std::vector<ExpressionList> args, const CadDuration* d, AttributeList attl,
                 const yy::location* loc)
    : AtomicAction(ctx, "", d, std::move(attl), loc, "_msg")
    , receiver(name)
    , receiver_expr(std::move(computed))
    , arguments(std::move(args)) {}

namespace {

// A receiver that is no plain word is quoted.
std::string shown_receiver(const std::string& name) {
    if (!name.empty() && name.find_first_of(" \t\"") == std::string::npos) return name;
    return '"' + name + '"';
}

// Arguments are closed: anything with an operator is shown in parentheses.
void show_arguments(std::ostream& out, const ExpressionList& args) {
    for (size_t i = 0; i < args.size(); ++i) {
        if (i) out << ' ';
        if (args[i]) args[i]->show(out, 1000);
    }
}

} // namespace

std::string Message::word() const {
    if (!receiver_expr) return shown_receiver(receiver);
    return "@command(" + receiver_expr->show() + ")";
}

void Message::show_head(std::ostream& out) const {
    for (size_t i = 0; i < arguments.size(); ++i) {
        out << (i ? ", " : " ");
        show_arguments(out, arguments[i]);
    }
}

std::vector<Expression*> Message::own_expressions() const {
    std::vector<Expression*> all{receiver_expr.get()};
    for (const ExpressionList& list : arguments)
        append_views(all, list);
    return all;
}

std::string message_name(const Expression* e) {
    const TaggedValue* v = e ? e->is_value() : nullptr;
    if (v && v->is_string_or_symb()) return v->get_string();
    return "_msg";
}

// ---- aborting ----

KillAction::KillAction(BuildContext* ctx, const std::string& label, const std::string& name, ExpPtr t,
                       const CadDuration* d, AttributeList attl, const yy::location* loc)
    : AtomicAction(ctx, label, d, std::move(attl), loc, "abort")
    , target_name(name)
    , target(std::move(t)) {}

std::string kill_word(const std::string& label) {
    return label.rfind("kill_", 0) == 0 ? "kill" : "abort";
}

// A delayed "kill" gives its delay after the word: "kill 2 k2".
bool show_delayed_kill(std::ostream& out, const Action& a) {
    if (!show_as_score_text(out) || is_zero_delay(&a.delay) || kill_word(a.label) != "kill") return false;
    show_indent(out);
    out << "kill " << a.delay;
    a.show_head(out);
    a.show_attl(out);
    return true;
}

void KillAction::show(std::ostream& out) const {
    if (!show_delayed_kill(out, *this)) Action::show(out);
}

void KillActionOf::show(std::ostream& out) const {
    if (!show_delayed_kill(out, *this)) Action::show(out);
}

void KillAction::show_head(std::ostream& out) const {
    out << ' ';
    if (target)
        target->show(out, 0);
    else
        out << target_name;
}

KillActionOf::KillActionOf(BuildContext* ctx, const std::string& label, const std::string& name,
                           const std::string& of, ExpPtr t, ExpPtr of_t, const CadDuration* d,
                           AttributeList attl, const yy::location* loc)
    : AtomicAction(ctx, label, d, std::move(attl), loc, "abort")
    , target_name(name)
    , of_name(of)
    , target(std::move(t))
    , of_target(std::move(of_t)) {}

void KillActionOf::show_head(std::ostream& out) const {
    out << ' ';
    if (target)
        target->show(out, 0);
    else
        out << target_name;
    out << " of ";
    if (of_target)
        of_target->show(out, 0);
    else
        out << of_name;
}

// ---- assertion, processes, engine commands ----

CadAssert::CadAssert(BuildContext* ctx, ExpPtr c, AttributeList attl, const yy::location* loc)
    : AtomicAction(ctx, "", nullptr, std::move(attl), loc, "assert")
    , assertion(std::move(c)) {}

void CadAssert::show_head(std::ostream& out) const {
    out << ' ';
    assertion->show(out, 0);
}

ProcCall::ProcCall(BuildContext* ctx, const std::string& proc, ExpPtr computed, ExpressionList a,
                   AttributeList attl, const yy::location* loc)
    : AtomicAction(ctx, "", nullptr, std::move(attl), loc, "proc_call")
    , name(proc)
    , process(std::move(computed))
    , args(std::move(a)) {}

std::string ProcCall::word() const {
    return process ? ":: " + process->show() : name;
}

void ProcCall::show_head(std::ostream& out) const {
    out << '(';
    show_expressions(out, args, ", ");
    out << ')';
}

std::vector<Expression*> ProcCall::own_expressions() const {
    std::vector<Expression*> all{process.get()};
    append_views(all, args);
    return all;
}

Internal_comm::Internal_comm(BuildContext* ctx, const std::string& cmd, ExpressionList a, AttributeList attl,
                             const yy::location* loc)
    : AtomicAction(ctx, "", nullptr, std::move(attl), loc, "command")
    , command(cmd)
    , args(std::move(a)) {}

std::vector<Expression*> Internal_comm::own_expressions() const {
    std::vector<Expression*> all;
    append_views(all, args);
    return all;
}

void Internal_comm::show_head(std::ostream& out) const {
    if (args.empty()) return;
    out << ' ';
    show_arguments(out, args);
}

// ---- OSC and files ----

NamedChannelAction::NamedChannelAction(BuildContext* ctx, const std::string& n, AttributeList attl,
                                       const yy::location* loc, const char* base)
    : AtomicAction(ctx, "", nullptr, std::move(attl), loc, base)
    , name(n) {}

OscSend::OscSend(BuildContext* ctx, const std::string& n, const std::string& h, int p, const std::string& a,
                 AttributeList attl, const yy::location* loc)
    : NamedChannelAction(ctx, n, std::move(attl), loc, "oscsend")
    , host(h)
    , port(p)
    , address(a) {}

void OscSend::show_head(std::ostream& out) const {
    out << ' ' << name << ' ' << host << " : " << port << " \"" << address << '"';
}

OscRecv::OscRecv(BuildContext* ctx, const std::string& n, int p, const std::string& a,
                 std::vector<VarPtr> vars, AttributeList attl, const yy::location* loc)
    : NamedChannelAction(ctx, n, std::move(attl), loc, "oscrecv")
    , port(p)
    , address(a)
    , variables(std::move(vars)) {}

void OscRecv::show_head(std::ostream& out) const {
    out << ' ' << name << ' ' << port << " \"" << address << '"';
    for (size_t i = 0; i < variables.size(); ++i)
        out << (i ? ", " : " ") << variables[i]->name;
}

std::vector<Expression*> OscRecv::own_expressions() const {
    std::vector<Expression*> all;
    append_views(all, variables);
    return all;
}

OpenFileAction::OpenFileAction(BuildContext* ctx, const std::string& n, const std::string& f, int m,
                               AttributeList attl, const yy::location* loc)
    : NamedChannelAction(ctx, n, std::move(attl), loc, "openoutfile")
    , file(f)
    , mode(m) {}

void OpenFileAction::show_head(std::ostream& out) const {
    out << ' ' << name << " \"" << file << "\" " << mode;
}
