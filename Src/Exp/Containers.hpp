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

    ExpressionList elements;

    ExpPtr clone() const override { return std::make_unique<TabDefinition>(*this); }
    Value eval() const override;
    ScoreEval eval_in_score() const override;
    ExpPtr adjust_parameter(const UserFunction* f, const std::vector<std::string>& parameters) const override;
    void for_each_child(ChildVisitor visit) const override { visit_each(visit, elements); }
    bool auto_delimited() const override { return true; }
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;
    int compare_with(const Expression* other) const override;
};

using KeyValueList = std::vector<std::pair<ExpPtr, ExpPtr>>;

// `MAP{(k1, v1), (k2, v2)}`. Of two entries with the same key the first stays.
class MapDefinition : public NonConstantExpression {
public:
    explicit MapDefinition(KeyValueList pairs, const yy::location* loc = nullptr);
    MapDefinition(const MapDefinition& other);
    MapDefinition& operator=(const MapDefinition&) = delete;

    KeyValueList pairs;

    ExpPtr clone() const override { return std::make_unique<MapDefinition>(*this); }
    Value eval() const override;
    ScoreEval eval_in_score() const override;
    ExpPtr adjust_parameter(const UserFunction* f, const std::vector<std::string>& parameters) const override;
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

    ExpPtr clone() const override { return std::make_unique<InterpolatedMapDefinition>(*this); }
    ExpPtr adjust_parameter(const UserFunction* f, const std::vector<std::string>& parameters) const override;
    void show(std::ostream& out, int precedence) const override;
    int etag() const override;

protected:
    Value build(const std::vector<std::pair<Value, Value>>& entries) const override;
};

// `head[i, j, ...]`. A scalar acts as an endless tab of itself; a string
// gives its characters.
class TabAccess : public NonConstantExpression {
public:
    TabAccess(ExpPtr head, ExpressionList indices, const yy::location* loc = nullptr);
    TabAccess(const TabAccess& other);
    TabAccess& operator=(const TabAccess&) = delete;

    ExpPtr head;
    ExpressionList indices;

    ExpPtr clone() const override { return std::make_unique<TabAccess>(*this); }
    Value eval() const override;
    ScoreEval eval_in_score() const override;
    ExpPtr adjust_parameter(const UserFunction* f, const std::vector<std::string>& parameters) const override;
    void for_each_child(ChildVisitor visit) const override;
    const Expression* head_access() const override { return head.get(); }
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
