// Assignments and declarations of variables.
#pragma once

#include "Tree/Action.hpp"

class VarParameter;

// The base of assignments: the value expression, owned.
class Assignment : public AtomicAction {
public:
    Assignment(BuildContext* ctx, ExpPtr value, const CadDuration* delay, AttributeList attributes,
               const yy::location* loc);
    std::string word() const override { return "let"; }
    void show_head(std::ostream& out) const override;
    // The target as written.
    virtual void show_target(std::ostream& out) const = 0;

    ExpPtr value;

protected:
    std::vector<Expression*> own_expressions() const override { return {value.get()}; }
};

// "$x := e", or "_ := e" (no target: the value is thrown away).
class AssignmentAction : public Assignment {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    AssignmentAction(BuildContext* ctx, VarPtr target, ExpPtr value, const CadDuration* delay,
                     AttributeList attributes, const yy::location* loc);
    bool is_simple_var_assignment() const override { return target != nullptr; }
    void show_target(std::ostream& out) const override;
    VarPtr target;

protected:
    std::vector<Expression*> own_expressions() const override;
};

// "$x.tempo := e": a parameter of a tempo variable.
class VarParamAssignmentAction : public Assignment {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    VarParamAssignmentAction(BuildContext* ctx, std::unique_ptr<VarParameter> target, ExpPtr value,
                             AttributeList attributes, const yy::location* loc);
    void show_target(std::ostream& out) const override;
    std::unique_ptr<VarParameter> target;

protected:
    std::vector<Expression*> own_expressions() const override;
};

// "obj.$x := e": a variable in the scope of a running process or group.
class LocalAssignment : public Assignment {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    LocalAssignment(BuildContext* ctx, ExpPtr object, const std::string& field, ExpPtr value,
                    AttributeList attributes, const yy::location* loc);
    void show_target(std::ostream& out) const override;
    ExpPtr object;
    std::string field;

protected:
    std::vector<Expression*> own_expressions() const override { return {object.get(), value.get()}; }
};

// "$t[i, j] := e".
class TabAssignment : public Assignment {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    TabAssignment(BuildContext* ctx, ExpPtr tab, ExpressionList indices, ExpPtr value,
                  AttributeList attributes, const yy::location* loc);
    void show_target(std::ostream& out) const override;
    ExpPtr tab;
    ExpressionList indices;

protected:
    std::vector<Expression*> own_expressions() const override;
};

// "let target := e" for any assignable expression; null (with the error
// "Parse error: expression is not assignable '%s'") for any other. Takes
// `target`, `value` and `attributes` in every case.
ActionPtr make_let_assignment(BuildContext* ctx, ExpPtr target, ExpPtr value, AttributeList attributes,
                              const yy::location* loc);

// A declaration: "@local", "@global", "@tempovar". An integer before a
// variable asks for a history of that length.
class ActionDeclaration : public Action {
public:
    void accept(ActionVisitor& v) override { v.visit(*this); }
    ActionDeclaration(BuildContext* ctx, std::vector<VarPtr> vars, std::vector<int> histories,
                      const yy::location* loc, const char* base);
    const std::vector<VarPtr>* get_local_var() const override { return &vars; }
    void show_head(std::ostream& out) const override;

    std::vector<VarPtr> vars;
    std::vector<int> histories; // -1 for the default

protected:
    std::vector<Expression*> own_expressions() const override;
};

class LocalDec : public ActionDeclaration {
public:
    LocalDec(BuildContext* ctx, std::vector<VarPtr> vars, std::vector<int> histories, const yy::location* loc)
        : ActionDeclaration(ctx, std::move(vars), std::move(histories), loc, "local") {}
    int declare_type() const override { return 1; }
    std::string word() const override { return "@local"; }
};

class GlobalDec : public ActionDeclaration {
public:
    GlobalDec(BuildContext* ctx, std::vector<VarPtr> vars, std::vector<int> histories,
              const yy::location* loc)
        : ActionDeclaration(ctx, std::move(vars), std::move(histories), loc, "global") {}
    int declare_type() const override { return 2; }
    std::string word() const override { return "@global"; }
    void set_env(Environment* env, const std::list<std::string>& locals, int level) override;
};

// "@tempovar $x(tempo, step)": a variable that follows a tempo.
class TempoDec : public ActionDeclaration {
public:
    TempoDec(BuildContext* ctx, VarPtr var, double tempo, double step, const yy::location* loc);
    int declare_type() const override { return 3; }
    const TempoDec* get_tempo_var() const override { return this; }
    std::string word() const override { return "@tempovar"; }
    // Where the variable gets its scope, it gets its tempo.
    void set_env(Environment* env, const std::list<std::string>& locals, int level) override;
    void show_head(std::ostream& out) const override;

    double tempo;
    double step;
};
