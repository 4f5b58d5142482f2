// Attributes: small tagged values that the parser collects behind an event
// or an action. Nodes read them once, at construction, through the free
// get_* accessors; the list stays with the node for printing, owns the
// attributes, and they own what they hold. What the accessors give are
// views into the list, valid as long as the node.
#pragma once

#include "Exp/ExpressionBase.hpp"
#include "Base/ASTNode.hpp"

#include <memory>
#include <string>
#include <vector>

class Action;
class CadDuration;
class Var;

class Attribute : public ASTNode {
public:
    // The keyword the attribute prints with.
    virtual const char* keyword() const = 0;
    void show(std::ostream& out) const override { out << keyword(); }
    // The expressions the attribute holds, for the walks over an action.
    virtual void collect_expressions(std::vector<Expression*>&) const {}
};

using AttrPtr = std::unique_ptr<Attribute>;
// The attributes as written, in order; empty when none is given.
using AttributeList = std::vector<AttrPtr>;

// A label of an event or an action ("@name", "@label", or a bare word
// behind an event). A number is kept as its text, so 12 and "12" are one.
class LabelAttribute : public Attribute {
public:
    explicit LabelAttribute(std::string text)
        : label(std::move(text)) {}
    const char* keyword() const override { return "@label :="; }
    void show(std::ostream& out) const override;
    std::string label;
};

class HookAttribute : public Attribute {
public:
    const char* keyword() const override { return "@Hook"; }
};

class PizzAttribute : public Attribute {
public:
    const char* keyword() const override { return "@Pizz"; }
};

class StaccatoAttribute : public Attribute {
public:
    const char* keyword() const override { return "@Staccato"; }
};

class FermataAttribute : public Attribute {
public:
    const char* keyword() const override { return "@Fermata"; }
};

// Where the follower may jump after an event: a tab of labels, a variable,
// or any expression giving labels or event numbers.
class JumpAttribute : public Attribute {
public:
    explicit JumpAttribute(ExpPtr target)
        : jump(std::move(target)) {}
    const char* keyword() const override { return "@Jump"; }
    void show(std::ostream& out) const override;
    void collect_expressions(std::vector<Expression*>& out) const override { out.push_back(jump.get()); }
    ExpPtr jump;
};

// ---- accessors over a list: a flag is true if an attribute of the class
// is present; a value is the first one's ----
const std::string* get_label(const AttributeList& attributes);
bool get_hook(const AttributeList& attributes);
bool get_pizz(const AttributeList& attributes);
bool get_staccato(const AttributeList& attributes);
bool get_fermata(const AttributeList& attributes);
Expression* get_jump(const AttributeList& attributes);

int get_locality(const AttributeList& attributes);
bool get_tight(const AttributeList& attributes);
bool get_loose(const AttributeList& attributes);
bool get_ante(const AttributeList& attributes);
bool get_post(const AttributeList& attributes);
const ExpressionList* get_tight_l(const AttributeList& attributes);
const ExpressionList* get_loose_l(const AttributeList& attributes);
const ExpressionList* get_ante_l(const AttributeList& attributes);
const ExpressionList* get_post_l(const AttributeList& attributes);
// 1 "@conservative", 0 "@progressive", 2 not given.
int get_prog(const AttributeList& attributes);
Expression* get_tempo(const AttributeList& attributes);
const ExpressionList* get_events_tempo(const AttributeList& attributes);
const Var* get_sync_var(const AttributeList& attributes);
Expression* get_cond(const AttributeList& attributes);
const std::string* get_bsym(const AttributeList& attributes);
Action* get_action(const AttributeList& attributes);
Action* get_action_at_kill(const AttributeList& attributes);
// The "@coef" value; 0 when absent or not a number.
double get_beta(const AttributeList& attributes);
const CadDuration* get_grain(const AttributeList& attributes);
bool get_noRec(const AttributeList& attributes);
bool get_immediate(const AttributeList& attributes);
bool get_static_scope(const AttributeList& attributes);
const ExpressionList* get_events_list_target(const AttributeList& attributes);
const CadDuration* get_duration_target(const AttributeList& attributes);
const Expression* get_logic_target(const AttributeList& attributes);
const Expression* get_phase_target(const AttributeList& attributes);
const Expression* get_period_target(const AttributeList& attributes);

// Every expression held by the attributes of a list.
std::vector<Expression*> attribute_expressions(const AttributeList& attributes);

// The constant tab of the labels of "@jump a, b".
ExpPtr from_ident_list_to_tab(const std::vector<std::string>& labels);
