// Compound actions: nodes with a body. `Bloc` is their common base (end
// conditions, local declarations); `Gfwd` is the group,
// also the hidden group of each event and of every written block.
#pragma once

#include "Tree/Action.hpp"

class ActionDeclaration;
class Environment;

// "during [n#]" (a count) or "during [d]" (a duration); both null when absent.
struct TimedEnd {
    ExpPtr count;
    std::unique_ptr<CadDuration> duration;
};

class Bloc : public Action {
public:
    // Takes the attributes, `until` and the parts of `timed_end`.
    Bloc(BuildContext* ctx, const std::string& name, const CadDuration* delay, AttributeList attributes,
         ExpPtr until, TimedEnd timed_end, const yy::location* loc, const char* base);
    ~Bloc() override;

    bool is_bloc() const override { return true; }
    bool has_body() const override { return true; }
    void show_tail(std::ostream& out) const override;

    ExpPtr until;
    std::unique_ptr<CadDuration> during;
    ExpPtr during_count;
    Action* at_kill = nullptr; // held by the "@abort" attribute
    // The declarations among the children (views).
    std::vector<const ActionDeclaration*> local_vars;
    std::vector<const ActionDeclaration*> tempo_vars;
    std::list<std::string> local_names;

protected:
    std::vector<Expression*> own_expressions() const override;
    // Gives a child this node as parent and ambient action.
    void adopt(Action* child);
};

class Gfwd : public Bloc {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    // The factory of "group" and "{ ... }": an anonymous block without
    // attributes or end around a single undelayed action is that action.
    // Takes the attributes, the body list, the end and the timed end.
    static ActionPtr make(BuildContext* ctx, const std::string& name, const CadDuration* delay,
                          AttributeList attributes, ActionList body, ExpPtr until, TimedEnd timed_end,
                          const yy::location* loc);

    Gfwd(BuildContext* ctx, const std::string& name, const CadDuration* delay, AttributeList attributes,
         ActionList body, ExpPtr until, TimedEnd timed_end, const yy::location* loc);
    ~Gfwd() override;

    std::string word() const override { return "group"; }
    // As score text, a group that the reader made around a body or a
    // simplified curve is written as the score wrote it.
    using Action::show;
    void show(std::ostream& out) const override;
    void show_body(std::ostream& out) const override;
    int countActions() const override;
    void set_env(Environment* env, const std::list<std::string>& locals, int level) override;
    void compute_origin(const Origin& o) override;
    void compute_and_propage(const std::bitset<32>& context, Score* score) override;
    // Binds the variables of the whole tree, globally where no group
    // declares them.
    void finalize_env(Environment* global);

    // The local variables of the group, when it declares some (declared
    // first, so that it outlives the children).
    std::unique_ptr<Environment> env;
    ActionList actions;

private:
    void collect_declarations();
    void tightify_children(BuildContext* ctx);
};
