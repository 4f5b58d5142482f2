// Applications of functions, maps and processes, and tab comprehensions.
#pragma once

#include "Exp/Values.hpp"

class GlobalEnvironment;

// `f(a, b, ...)`. A function given fewer arguments than it takes gives a
// closure; a process starts an instance and gives its execution.
class CallExpression : public NonConstantExpression {
public:
    CallExpression(ExpPtr fct, ExpressionList args, GlobalEnvironment* env,
                   const yy::location* loc = nullptr);
    CallExpression(const CallExpression& other);
    CallExpression& operator=(const CallExpression&) = delete;

    ExpPtr fct;
    ExpressionList args;
    GlobalEnvironment* env;
    const Action* ambient = nullptr; // the action the call is written in

    // The application of an evaluated function to evaluated arguments.
    Value call(const TaggedValue& f, const std::vector<Value>& values) const;

    ExpPtr clone() const override { return std::make_unique<CallExpression>(*this); }
    Value eval() const override;
    // Only a pure function of known arguments is applied at score time.
    ScoreEval eval_in_score() const override;
    ExpPtr adjust_parameter(const UserFunction* f, const std::vector<std::string>& parameters) const override;
    void for_each_child(ChildVisitor visit) const override;
    // The action is the one a process started here belongs to.
    void set_ambiant_action(const Action* a) override;
    bool auto_delimited() const override { return true; }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;

private:
    Value launch_process(const TaggedValue& proc, const std::vector<Value>& values) const;
    Value eval_with_fresh_arguments(const Value& f) const;

    // The arguments of the call being evaluated, kept from call to call so
    // that a call of a scalar function allocates nothing once warm. A call
    // made while this one runs (a recursion) takes a vector of its own.
    mutable std::vector<Value> scratch;
    mutable bool scratch_busy = false;
};

// `[body | $i in tab]`, `[body | (n)]`, `[body | $i in start .. stop : step, guard]`.
// The stop bound is excluded.
class TabComprehension : public NonConstantExpression {
public:
    TabComprehension(std::unique_ptr<Var> index_var, ExpPtr iterset, ExpPtr start, ExpPtr stop, ExpPtr step,
                     ExpPtr body, ExpPtr condition, const yy::location* loc = nullptr);
    TabComprehension(const TabComprehension& other);
    TabComprehension& operator=(const TabComprehension&) = delete;
    ~TabComprehension() override; // where Var is complete

    // Over the elements of a tab, or 0 .. n for a number. Without a variable,
    // a private one is made.
    static std::unique_ptr<TabComprehension> make_over(EvalContext* ctx, std::unique_ptr<Var> index_var,
                                                       ExpPtr iterset, ExpPtr body, ExpPtr condition,
                                                       const yy::location* loc = nullptr);
    static std::unique_ptr<TabComprehension> make_range(EvalContext* ctx, std::unique_ptr<Var> index_var,
                                                        ExpPtr start, ExpPtr stop, ExpPtr step, ExpPtr body,
                                                        ExpPtr condition, const yy::location* loc = nullptr);

    std::unique_ptr<Var> index_var;
    ExpPtr iterset;
    ExpPtr start;
    ExpPtr stop;
    ExpPtr step;
    ExpPtr body;
    ExpPtr condition;

    ExpPtr clone() const override { return std::make_unique<TabComprehension>(*this); }
    Value eval() const override;
    ExpPtr adjust_parameter(const UserFunction* f, const std::vector<std::string>& parameters) const override;
    // The index variable, then the parts that are present.
    void for_each_child(ChildVisitor visit) const override;
    bool auto_delimited() const override { return true; }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;

    template <class T>
    Value eval_numeric(T from, T to, T by) const;

private:
    Value eval_over(const Value& set) const;
    Value eval_range() const;
    void round_of(const Value& index, tab_t& out) const;
    // The parts after the index variable, absent ones null.
    std::vector<Expression*> parts() const;
};
