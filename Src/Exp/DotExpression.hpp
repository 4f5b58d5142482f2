// Reads of variables through a scope other than the current one:
// "e.$x" (the variable $x of the process instance that e gives) and
// "$$x" (a signal or control variable of the audio graph).
#pragma once

#include "Exp/Var.hpp"

class DotExpression : public Var {
public:
    // Takes `left` and `var` (whose name is kept).
    DotExpression(EvalContext* ctx, ExpPtr left, std::unique_ptr<Var> var, const yy::location* loc = nullptr);
    DotExpression(const DotExpression& other);
    DotExpression& operator=(const DotExpression&) = delete;

    Value eval() const override;
    void set_var(const TaggedValue& v) const override;
    ExpPtr clone() const override { return std::make_unique<DotExpression>(*this); }
    ExpPtr adjust_parameter(const UserFunction* f, const std::vector<std::string>& parameters) const override;
    void for_each_child(ChildVisitor visit) const override { visit(*left); }
    // The variable read belongs to the scope of another instance: only the
    // variables of `left` are this scope's.
    void get_variables(VarSet& out) const override { Expression::get_variables(out); }
    std::string dot_access_name() const override { return name; }
    const Expression* head_access() const override { return left.get(); }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;

    // Whether `left` names an execution that still runs; its number in `exe`.
    bool alive(unsigned long& exe) const;

    ExpPtr left;

private:
    var_management* vm_in_scope(const char* mode) const;
};

// "$$name": a variable of the audio graph. Actions and curves write its
// control variables ("@dsp_cvar"), and expressions read them, through the
// context, which hands the value to the graph; it is no variable of any
// environment.
class DspVar : public Var {
public:
    DspVar(EvalContext* ctx, const std::string& name, const yy::location* loc = nullptr)
        : Var(ctx, name, loc) {}
    Value eval() const override;
    void set_var(const TaggedValue& v) const override;
    ExpPtr clone() const override { return std::make_unique<DspVar>(*this); }
    void set_env(Environment*, const std::list<std::string>&, int) const override {}
    void get_variables(VarSet&) const override {}
    int etag() const override;
};
