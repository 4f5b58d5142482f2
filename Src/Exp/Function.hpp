// Functions of the language, as far as expressions call them: the frame of
// definitions, user functions with parameters, partial application (a
// closure), and names used before their definition. The library of
// predefined functions builds on `PredefinedFunction`.
#pragma once

#include "Exp/Values.hpp"

#include <string>
#include <vector>

class GlobalEnvironment;

class FunctionDefinition : public ASTNode {
public:
    // With an environment, the definition is registered there at once (and
    // the environment owns it); without one it stays unregistered.
    FunctionDefinition(const std::string& name, int arity, GlobalEnvironment* env = nullptr,
                       const yy::location* loc = nullptr);
    // The copy that a closure keeps; never registered.
    FunctionDefinition(const FunctionDefinition& other, bool for_closure);
    ~FunctionDefinition() override = default;

    virtual Value apply(const std::vector<Value>& args) const = 0;
    virtual bool is_user_defined() const { return false; }
    virtual int nb_arg() const { return arity; }
    // The most arguments a call may give: `nb_arg` unless optional ones
    // follow; -1 for any number.
    virtual int most_args() const { return nb_arg(); }
    virtual bool is_not_registered() const { return !registered; }
    virtual bool is_traced() const { return false; }

    std::string name;
    unique_identifier uid;
    int arity;
    bool is_pure = false; // may be applied at score time
    GlobalEnvironment* env;
    const yy::location* location;

protected:
    bool registered = false;
};

class PredefinedFunction : public FunctionDefinition {
public:
    using FunctionDefinition::FunctionDefinition;
    void show(std::ostream& out) const override { out << name; }
};

// A function written in the score: a body over named parameters.
class UserFunction : public FunctionDefinition {
public:
    // Closes `body` over `parameters` (the original tree is consumed).
    UserFunction(const std::string& name, const std::vector<std::string>& parameters, ExpPtr body,
                 GlobalEnvironment* env = nullptr, const yy::location* loc = nullptr);

    Value apply(const std::vector<Value>& args) const override;
    bool is_user_defined() const override { return true; }
    bool is_traced() const override { return traced; }
    void show(std::ostream& out) const override;

    // A traced function prints each call and its result. The body keeps
    // pointing to this definition, so tracing is a state, not a new object.
    void switch_to_traced_user_function() { traced = true; }
    void switch_to_user_function() { traced = false; }

    std::vector<std::string> parameters;
    ExpPtr body;
    // The arguments of the call under evaluation, read by `Parameter` nodes.
    mutable const std::vector<Value>* current_args = nullptr;

private:
    Value evaluate(const std::vector<Value>& args) const;
    Value traced_apply(const std::vector<Value>& args) const;
    bool traced = false;
};

// A function with its first arguments bound.
class PartiallyAppliedFunction : public FunctionDefinition {
public:
    PartiallyAppliedFunction(const FunctionDefinition* f, const std::vector<Value>& bound);
    PartiallyAppliedFunction(const PartiallyAppliedFunction& other);

    Value apply(const std::vector<Value>& args) const override;
    bool is_user_defined() const override { return fct && fct->is_user_defined(); }
    int nb_arg() const override { return fct ? fct->nb_arg() - nb_bound : 0; }
    void add_args(const std::vector<Value>& more);
    void show(std::ostream& out) const override;

    const FunctionDefinition* fct;
    std::vector<Value> args; // one slot per parameter of `fct`, filled from the left
    int nb_bound = 0;
};

// A name used before its definition, resolved at its first call.
class ForwardFunction : public FunctionDefinition {
public:
    ForwardFunction(const std::string& name, GlobalEnvironment* env, const yy::location* loc = nullptr);

    Value apply(const std::vector<Value>& args) const override;
    bool is_user_defined() const override;
    int nb_arg() const override;
    bool do_resolve() const;
    void show(std::ostream& out) const override { out << name; }

    mutable const FunctionDefinition* resolved = nullptr;

private:
    GlobalEnvironment* lookup_env;
};

// The functional value of a name: the known function, or a forward
// reference that resolves at its first call.
Value get_functional_value_from_name(EvalContext* ctx, const std::string& name,
                                     const yy::location* loc = nullptr);
