// Compound actions other than the group: loops, iterations, conditionals,
// switches and reactions. Each body that the score writes as a block is one
// hidden group, or the single action that stands in it.
#pragma once

#include "Tree/Bloc.hpp"

#include <optional>
#include <utility>

// "loop L period { body }": the body again every period.
class Lfwd : public Bloc {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    // Takes the attributes, the body list, the end and the timed end.
    Lfwd(BuildContext* ctx, const std::string& name, const CadDuration* delay, const CadDuration& period,
         AttributeList attributes, ActionList body, ExpPtr until, TimedEnd timed_end,
         const yy::location* loc);

    std::string word() const override { return "loop"; }
    void show_head(std::ostream& out) const override;
    void show_body(std::ostream& out) const override;
    int countActions() const override;
    void set_env(Environment* env, const std::list<std::string>& locals, int level) override;
    void compute_origin(const Origin& o) override;
    void compute_and_propage(const std::bitset<32>& context, Score* score) override;

    CadDuration period;
    std::unique_ptr<Gfwd> body;

protected:
    std::vector<Expression*> own_expressions() const override;
};

// "forall $x in e { body }" and "forall $k, $v in map { body }": one
// instance of the body per element, in parallel.
class For : public Bloc {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    For(BuildContext* ctx, VarPtr var, VarPtr second, ExpPtr iteration_set, AttributeList attributes,
        ActionList body, const yy::location* loc);

    std::string word() const override { return "forall"; }
    void show_head(std::ostream& out) const override;
    void show_body(std::ostream& out) const override;
    int countActions() const override;
    void set_env(Environment* env, const std::list<std::string>& locals, int level) override;
    void compute_origin(const Origin& o) override;
    void compute_and_propage(const std::bitset<32>& context, Score* score) override;

    ExpPtr iteration_set;
    std::unique_ptr<Gfwd> body;
    std::string var_name, second_name;
    int var_index = -1, second_index = -1;
    std::vector<Var*> local_vars_list; // views: the body's declaration holds the variables
    bool two_vars;

protected:
    std::vector<Expression*> own_expressions() const override { return {iteration_set.get()}; }

private:
    // The loop variables become locals of the body, declared at its front.
    void initialize(BuildContext* ctx, ActionList body_list, VarPtr var, VarPtr second);
};

// "if (c) { ... } else { ... }".
class ConditionalAction : public Bloc {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    // `false_list` absent when there is no else part.
    ConditionalAction(BuildContext* ctx, ExpPtr condition, AttributeList attributes, ActionList true_list,
                      std::optional<ActionList> false_list, const yy::location* loc);

    std::string word() const override { return "if"; }
    void show_head(std::ostream& out) const override;
    void show_body(std::ostream& out) const override;
    void show_tail(std::ostream& out) const override;
    int countActions() const override;
    void set_env(Environment* env, const std::list<std::string>& locals, int level) override;
    void compute_origin(const Origin& o) override;
    void compute_and_propage(const std::bitset<32>& context, Score* score) override;

    ExpPtr condition;
    ActionPtr true_body;
    ActionPtr false_body;

protected:
    std::vector<Expression*> own_expressions() const override { return {condition.get()}; }
};

// The cases as written: each test with its actions.
using CaseList = std::vector<std::pair<ExpPtr, ActionList>>;

// "switch (subject) { case e: ... }", or without subject, each case a condition.
class SwitchAction : public Bloc {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    SwitchAction(BuildContext* ctx, ExpPtr subject, AttributeList attributes, CaseList cases,
                 const yy::location* loc);

    std::string word() const override { return "switch"; }
    void show_head(std::ostream& out) const override;
    void show_body(std::ostream& out) const override;
    int countActions() const override;
    void set_env(Environment* env, const std::list<std::string>& locals, int level) override;
    void compute_origin(const Origin& o) override;
    void compute_and_propage(const std::bitset<32>& context, Score* score) override;

    ExpPtr subject;
    std::vector<std::pair<ExpPtr, ActionPtr>> cases;

protected:
    std::vector<Expression*> own_expressions() const override;
};

// "whenever (c) { body }": the body each time a variable of c changes and c holds.
class WhenAction : public Bloc {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    WhenAction(BuildContext* ctx, const std::string& name, ExpPtr condition, AttributeList attributes,
               ActionList body, ExpPtr until, TimedEnd timed_end, const yy::location* loc);

    std::string word() const override { return "whenever"; }
    void show_head(std::ostream& out) const override;
    void show_body(std::ostream& out) const override;
    int countActions() const override;
    void set_env(Environment* env, const std::list<std::string>& locals, int level) override;
    void compute_origin(const Origin& o) override;
    void compute_and_propage(const std::bitset<32>& context, Score* score) override;

    ExpPtr condition;
    ActionPtr body;
    VarSet watched;
    bool noRec;

protected:
    std::vector<Expression*> own_expressions() const override;
};

// "whenever pattern::P { body }": the body each time the pattern is recognised.
class WhenOnPattern : public Gfwd {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    WhenOnPattern(BuildContext* ctx, const std::string& pattern, AttributeList attributes, ActionList body,
                  ExpPtr until, TimedEnd timed_end, const yy::location* loc);
    std::string word() const override { return "whenever"; }
    void show_head(std::ostream& out) const override { out << ' ' << pattern; }
    // Score text writes the body the score wrote, not what the pattern
    // compiled into.
    void show_body(std::ostream& out) const override;
    // The whenever and the actions of its body: what the pattern compiled
    // into is not written by the score.
    int countActions() const override { return Action::countActions() + written_actions; }

    std::string pattern;

private:
    struct Compiled {
        ActionList actions;
        int written_actions = 0;
        std::vector<const Action*> written; // the body, owned by `actions`
    };
    static Compiled compile(BuildContext* ctx, const std::string& pattern, ActionList body,
                            const yy::location* loc);
    WhenOnPattern(BuildContext* ctx, const std::string& pattern, AttributeList attributes, Compiled compiled,
                  ExpPtr until, TimedEnd timed_end, const yy::location* loc);

    int written_actions;
    std::vector<const Action*> written;
};

// The condition of "whenever (event)": true at each change of $BEAT_POS.
ExpPtr make_event_condition(BuildContext* ctx, const yy::location* loc);
