// Processes: named, parameterised groups of actions, written
// "@proc_def ::p($a, $b) { ... }" and called "::p(1, 2)". A definition keeps
// one template group whose first action declares the parameters as locals;
// each call runs a new instance of that template, with a copy of the
// template's local environment in which the arguments are set first. The
// runtime starts the instances (Runtime::launch_process); the tree only says
// what a process is.
#pragma once

#include "Base/ASTNode.hpp"
#include "Base/Location.hpp"
#include "Exp/ExpTypes.hpp"
#include "Tree/Bloc.hpp"

#include <memory>
#include <string>
#include <vector>

class Score;

class ProcDefinition : public ASTNode {
public:
    // Registers the process under `name` ("::p") in the global environment
    // of `ctx`, replacing an earlier one of that name.
    ProcDefinition(BuildContext* ctx, const std::string& name, unsigned arity, const yy::location* loc);
    // Leaves the registry when it still points here.
    ~ProcDefinition() override;
    ProcDefinition(const ProcDefinition&) = delete;
    ProcDefinition& operator=(const ProcDefinition&) = delete;

    virtual bool is_user_defined() const { return false; }

    std::string name;
    unique_identifier uid;
    unsigned arity;
    std::unique_ptr<yy::location> location;

private:
    EvalContext* eval;
};

class UserProc final : public ProcDefinition {
public:
    // `parameters` are variable names ("$a"); `actions` the body as written.
    UserProc(BuildContext* ctx, const std::string& name, std::vector<std::string> parameters,
             ActionList actions, AttributeList attributes, const yy::location* loc);

    bool is_user_defined() const override { return true; }
    // "@PROC_DEF ::p($a, $b)" and the body.
    void show(std::ostream& out) const override;
    // What the tree needs to know of itself, as for the events' actions.
    void compute_and_propage(Score* score);

    std::vector<std::string> parameters;
    // The template: a group named "proc_body_instance__" + name whose first
    // action declares the parameters.
    std::unique_ptr<Gfwd> body;
};
