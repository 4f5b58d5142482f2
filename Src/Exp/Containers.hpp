// Tabs and maps written in expressions, and indexing.
#pragma once

#include "Exp/Values.hpp"

#include <utility>
#include <vector>

// `TAB[e1, e2, ...]`
class TabDefinition : public NonConstantExpression {
public:
    explicit TabDefinition(ExpressionList elements, const yy::location* loc = nullptr);
    TabDefinition(const TabDefinition& other);
    TabDefinition& operator=(const TabDefinition&) = delete;
    ~TabDefinition() override { delete_list(elements); }

    ExpressionList elements;

    Expression* clone() const override { return new TabDefinition(*this); }
    Value eval() const override;
    ScoreEval eval_in_score() const override;
    Expression* adjust_parameter(const UserFunction* f,
                                 const std::vector<std::string>& parameters) const override;
    void for_each_child(ChildVisitor visit) const override { visit_each(visit, elements); }
    bool auto_delimited() const override { return true; }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;
};

using KeyValueList = std::vector<std::pair<Expression*, Expression*>>;

// `MAP{(k1, v1), (k2, v2)}`. Of two entries with the same key the first stays.
class MapDefinition : public NonConstantExpression {
public:
    explicit MapDefinition(KeyValueList pairs, const yy::location* loc = nullptr);
    MapDefinition(const MapDefinition& other);
    MapDefinition& operator=(const MapDefinition&) = delete;
    ~MapDefinition() override;

    KeyValueList pairs;

    Expression* clone() const override { return new MapDefinition(*this); }
    Value eval() const override;
    ScoreEval eval_in_score() const override;
    Expression* adjust_parameter(const UserFunction* f,
                                 const std::vector<std::string>& parameters) const override;
    // Each key, then its value.
    void for_each_child(ChildVisitor visit) const override;
    bool auto_delimited() const override { return true; }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;

protected:
    // Builds the map from evaluated pairs (value first, then key).
    virtual Value build(const std::vector<std::pair<Value, Value>>& entries) const;
    KeyValueList adjusted_pairs(const UserFunction* f, const std::vector<std::string>& parameters) const;
};

// `imap{(x1, y1), ...}`: a piecewise-linear function of doubles.
class InterpolatedMapDefinition : public MapDefinition {
public:
    using MapDefinition::MapDefinition;

    Expression* clone() const override { return new InterpolatedMapDefinition(*this); }
    Expression* adjust_parameter(const UserFunction* f,
                                 const std::vector<std::string>& parameters) const override;
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;

protected:
    Value build(const std::vector<std::pair<Value, Value>>& entries) const override;
};

// `head[i, j, ...]`. A scalar acts as an endless tab of itself; a string
// gives its characters.
class TabAccess : public NonConstantExpression {
public:
    TabAccess(Expression* head, ExpressionList indices, const yy::location* loc = nullptr);
    TabAccess(const TabAccess& other);
    TabAccess& operator=(const TabAccess&) = delete;
    ~TabAccess() override;

    Expression* head;
    ExpressionList indices;

    Expression* clone() const override { return new TabAccess(*this); }
    Value eval() const override;
    ScoreEval eval_in_score() const override;
    Expression* adjust_parameter(const UserFunction* f,
                                 const std::vector<std::string>& parameters) const override;
    void for_each_child(ChildVisitor visit) const override;
    const Expression* head_access() const override { return head; }
    const ExpressionList* tab_access_indices() const override { return &indices; }
    bool auto_delimited() const override { return true; }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;

private:
    // The first indices of an access, for the message of a bad one.
    struct SeenIndices {
        static constexpr int capacity = 64;
        long at[capacity];
        int count = 0;
        void push(long i) {
            if (count < capacity) at[count++] = i;
        }
        std::string text() const;
    };
    enum class Step { ok, failed };
    // One index applied to `current`; at score time a bad case is a warning.
    Step access(Value& current, const TaggedValue& index, const SeenIndices& seen, bool at_score_time) const;
};
