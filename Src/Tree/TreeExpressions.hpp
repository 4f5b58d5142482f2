// Expressions that refer to the action tree or the score: an action used as
// a value, a label used as a date, a variable of a named group.
#pragma once

#include "Exp/Var.hpp"

#include <memory>
#include <mutex>
#include <vector>

class Action;
struct BuildContext;
class Score;
class Anchor;

// The anchors of one score, copies included, in the order they were made:
// resolved together at the end of the reading. Shared by the score and its
// anchors, whichever lives longer.
struct AnchorTable {
    std::mutex mutex;
    std::vector<Anchor*> anchors;
};

// "expr { actions }": fires the actions when evaluated, at the current
// position ($BEAT_POS) in the runtime `ctx`; the value is the execution of
// the firing (exe 0 when it started none). Copies share the action.
class ActionAsExpression : public NonConstantExpression {
public:
    // Takes `action`.
    ActionAsExpression(EvalContext* ctx, std::unique_ptr<Action> action, const yy::location* loc = nullptr);

    ExpPtr clone() const override { return std::make_unique<ActionAsExpression>(*this); }
    Value eval() const override;
    Value eval_with_current_pos(double position) const override;
    // The action holds no subexpression but has variables to collect and bind.
    void get_variables(VarSet& out) const override;
    void set_env(Environment* env, const std::list<std::string>& locals, int level) const override;
    bool auto_delimited() const override { return true; }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;

    EvalContext* ctx;
    std::shared_ptr<Action> action;
};

// "label.align": the beat of a labelled event (or of an action with a
// static date), resolved once the whole score is read.
class Anchor : public Reference {
public:
    Anchor(BuildContext* ctx, const std::string& label, const yy::location* loc = nullptr);
    Anchor(const Anchor& other);
    Anchor& operator=(const Anchor&) = delete;
    ~Anchor() override;

    ExpPtr clone() const override { return std::make_unique<Anchor>(*this); }
    Value eval() const override;
    void set_ambiant_action(const Action* a) override { ambient = a; }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;

    // Resolves every anchor of `score`; false (with the errors) when one
    // names no label.
    static bool check_all_references(const Score& score, bool verbose);

    std::string label;
    const Action* ambient = nullptr; // the action the anchor is read in
    const Score* score;              // the score whose labels it names
    double beat = -1.0; // negative until resolved

private:
    bool resolve(bool verbose);
    void enter();

    std::shared_ptr<AnchorTable> table;
};

// "group::$x": the variable $x of the running instance of a named group.
class DotBloc : public Var {
public:
    // Takes `var` (whose name is kept).
    DotBloc(BuildContext* ctx, const std::string& label, VarPtr var, const yy::location* loc = nullptr);
    ExpPtr clone() const override { return std::make_unique<DotBloc>(*this); }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;

    std::string label;
};
