// The attributes that actions take. Each owns what it holds.
#pragma once

#include "Tree/Attributes.hpp"
#include "Tree/Duration.hpp"

#include <memory>

using ExpressionListPtr = std::unique_ptr<ExpressionList>;

// "@tight", "@loose", "@ante", "@post", with an optional list of events.
class StrategyAttribute : public Attribute {
public:
    explicit StrategyAttribute(ExpressionListPtr events)
        : events(std::move(events)) {}
    void show(std::ostream& out) const override;
    void collect_expressions(std::vector<Expression*>& out) const override;
    ExpressionListPtr events; // null when no list is given
};

class TightAttribute : public StrategyAttribute {
public:
    using StrategyAttribute::StrategyAttribute;
    const char* keyword() const override { return "@Tight"; }
};

class LooseAttribute : public StrategyAttribute {
public:
    using StrategyAttribute::StrategyAttribute;
    const char* keyword() const override { return "@Loose"; }
};

class AnteAttribute : public StrategyAttribute {
public:
    using StrategyAttribute::StrategyAttribute;
    const char* keyword() const override { return "@Ante"; }
};

class PostAttribute : public StrategyAttribute {
public:
    using StrategyAttribute::StrategyAttribute;
    const char* keyword() const override { return "@Post"; }
};

// "@local" or "@global" (a Locality value).
class LocalAttribute : public Attribute {
public:
    explicit LocalAttribute(int locality)
        : locality(locality) {}
    const char* keyword() const override { return locality == 0 ? "@local" : "@global"; }
    int locality;
};

// "@target": a list of events, a duration, a count of logical steps, or a
// period and a phase.
class TargetAttribute : public Attribute {
public:
    const char* keyword() const override { return "@Target :="; }
    void show(std::ostream& out) const override;
    void collect_expressions(std::vector<Expression*>& out) const override;

    ExpressionListPtr events;
    std::unique_ptr<CadDuration> duration;
    ExpPtr logic;
    ExpPtr period;
    ExpPtr phase;
};

// An attribute holding one expression.
class ExpressionAttribute : public Attribute {
public:
    explicit ExpressionAttribute(ExpPtr e)
        : expression(std::move(e)) {}
    void show(std::ostream& out) const override;
    void collect_expressions(std::vector<Expression*>& out) const override {
        out.push_back(expression.get());
    }
    ExpPtr expression;
};

class TempoAttribute : public ExpressionAttribute {
public:
    using ExpressionAttribute::ExpressionAttribute;
    const char* keyword() const override { return "@Tempo :="; }
};

class BetaAttribute : public ExpressionAttribute {
public:
    using ExpressionAttribute::ExpressionAttribute;
    const char* keyword() const override { return "@coef :="; }
};

// "@guard": the action fires only when the condition holds.
class CondAttribute : public ExpressionAttribute {
public:
    using ExpressionAttribute::ExpressionAttribute;
    const char* keyword() const override { return "@guard ("; }
    void show(std::ostream& out) const override;
};

// "@tempo := { e1 e2 }": the followed tempo, through a list of events.
class EventsTempo : public Attribute {
public:
    explicit EventsTempo(ExpressionListPtr events)
        : events(std::move(events)) {}
    const char* keyword() const override { return "@Tempo := {"; }
    void show(std::ostream& out) const override;
    void collect_expressions(std::vector<Expression*>& out) const override;
    ExpressionListPtr events;
};

class SyncVarAttribute : public Attribute {
public:
    explicit SyncVarAttribute(std::unique_ptr<Var> var);
    ~SyncVarAttribute() override; // where Var is complete
    const char* keyword() const override { return "@sync"; }
    void show(std::ostream& out) const override;
    void collect_expressions(std::vector<Expression*>& out) const override;
    std::unique_ptr<Var> var;
};

class GrainAttribute : public Attribute {
public:
    explicit GrainAttribute(std::unique_ptr<CadDuration> grain)
        : grain(std::move(grain)) {}
    const char* keyword() const override { return "@Grain :="; }
    void show(std::ostream& out) const override;
    void collect_expressions(std::vector<Expression*>& out) const override;
    std::unique_ptr<CadDuration> grain;
};

class BsymAttribute : public Attribute {
public:
    explicit BsymAttribute(std::string symbol)
        : symbol(std::move(symbol)) {}
    const char* keyword() const override { return "symb :="; }
    void show(std::ostream& out) const override;
    std::string symbol;
};

class ImmediateAttribute : public Attribute {
public:
    const char* keyword() const override { return "@Immediate"; }
};

class StaticScopeAttribute : public Attribute {
public:
    const char* keyword() const override { return "@StaticScope"; }
};

class NoRecAttribute : public Attribute {
public:
    const char* keyword() const override { return "@NoRec"; }
};

// An attribute holding an action: "@action" (fired at each step of a curve)
// and "@abort" (fired when the action is aborted).
class HeldActionAttribute : public Attribute {
public:
    explicit HeldActionAttribute(std::unique_ptr<Action> action);
    ~HeldActionAttribute() override; // where Action is complete
    void show(std::ostream& out) const override;
    std::unique_ptr<Action> action;
};

class ActionAttribute : public HeldActionAttribute {
public:
    using HeldActionAttribute::HeldActionAttribute;
    const char* keyword() const override { return "@Action :="; }
};

class AtKillAttribute : public HeldActionAttribute {
public:
    using HeldActionAttribute::HeldActionAttribute;
    const char* keyword() const override { return "@abort :="; }
};

// "@conservative" (mode 1) or "@progressive" (mode 0).
class ConservativeAttribute : public Attribute {
public:
    explicit ConservativeAttribute(int mode)
        : mode(mode) {}
    const char* keyword() const override { return "@CONSERVATIVE"; }
    void show(std::ostream& out) const override { out << (mode == 1 ? "@CONSERVATIVE" : "@PROGRESSIVE"); }
    int mode;
};
