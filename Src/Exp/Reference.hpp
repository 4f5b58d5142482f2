// Names in expressions, and the process-wide table that turns names into
// 32-bit identifiers (symbols, variables, functions and processes share it).
#pragma once

#include "Exp/Values.hpp"

#include <string>

class exec_curve;
class SeqContFunction;

class Reference : public NonConstantExpression {
public:
    Reference(EvalContext* ctx, const std::string& name, const yy::location* loc = nullptr);

    std::string name;
    unique_identifier uid;
    EvalContext* ctx;

    virtual void set_reference(const TaggedValue& v) const;
    virtual void start_curve_assignment(exec_curve*, SeqContFunction*, int) const {}
    virtual void stop_curve_assignment(exec_curve*, SeqContFunction*, int) const {}
    std::unique_ptr<Reference> cloneref() const { return clone_or_null(this); }

    // The identifier of a name, a fresh one when the name is new.
    static unique_identifier unique_id(const std::string& name);
    static const std::string& uid2string(unique_identifier uid);
    // The innermost current environment that defines `uid`, or null.
    static Environment* my_dynamic_env(EvalContext* ctx, unique_identifier uid);

    // A bare name (a process `::p`) evaluates to a process value.
    ExpPtr clone() const override { return std::make_unique<Reference>(*this); }
    Value eval() const override { return Value::make<ProcValue>(uid); }
    bool auto_delimited() const override { return true; }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;
};

// Reports the place of an error, after the message that explains it.
void report_location(const char* what, const yy::location* loc);
