// Attributes: small tagged values that the parser collects behind an event
// or an action. Nodes read them once, at construction, through the free
// get_* accessors; the list stays with the node for printing.
#pragma once

#include "Tree/ASTNode.hpp"

#include <list>
#include <string>
#include <vector>

class Expression;

class Attribute : public ASTNode {
public:
    // The keyword the attribute prints with.
    virtual const char* keyword() const = 0;
    void show(std::ostream& out) const override { out << keyword(); }
};

using AttributeList = std::list<Attribute*>;

// A label of an event or an action ("@name", "@label", or a bare word
// behind an event). A number is kept as its text, so 12 and "12" are one.
class LabelAttribute : public Attribute {
public:
    explicit LabelAttribute(std::string text) : label(std::move(text)) {}
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

// Where the follower may jump after an event: a list of labels, or a
// variable read at run time, or (later) any expression.
struct JumpSpec {
    std::vector<std::string> labels;
    std::string variable;
    Expression* expression = nullptr;
    bool empty() const { return labels.empty() && variable.empty() && !expression; }
};

class JumpAttribute : public Attribute {
public:
    explicit JumpAttribute(JumpSpec spec) : jump(std::move(spec)) {}
    const char* keyword() const override { return "@Jump"; }
    void show(std::ostream& out) const override;
    JumpSpec jump;
};

// Accessors over a possibly null list. A flag is true if an attribute of the
// class is present; a value is the first one's.
const std::string* get_label(const AttributeList* attributes);
bool get_hook(const AttributeList* attributes);
bool get_pizz(const AttributeList* attributes);
bool get_staccato(const AttributeList* attributes);
bool get_fermata(const AttributeList* attributes);
const JumpSpec* get_jump(const AttributeList* attributes);

// Frees the attributes of a list and the list itself.
void delete_attributes(AttributeList* attributes);
