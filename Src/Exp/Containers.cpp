#include "Exp/Containers.hpp"

#include "Exp/Reference.hpp"
#include "Base/Console.hpp"

#include <algorithm>
#include <ostream>

namespace {

void show_list(std::ostream& out, const ExpressionList& list) {
    const char* separator = "";
    for (const ExpPtr& e : list) {
        out << separator;
        e->show(out, 0);
        separator = ", ";
    }
}

} // namespace

TabDefinition::TabDefinition(ExpressionList list, const yy::location* loc)
    : NonConstantExpression(loc)
    , elements(std::move(list)) {}

TabDefinition::TabDefinition(const TabDefinition& other)
    : NonConstantExpression(other)
    , elements(clone_list(other.elements)) {}

Value TabDefinition::eval() const {
    tab_t out;
    out.reserve(elements.size());
    for (const ExpPtr& e : elements)
        out.push_back(e->eval());
    return tab_value(std::move(out));
}

ScoreEval TabDefinition::eval_in_score() const {
    int variability = VARIABILITY_STATIC;
    tab_t out;
    out.reserve(elements.size());
    for (const ExpPtr& e : elements) {
        ScoreEval known = e->eval_in_score();
        if (known.variability == VARIABILITY_DYNAMIC) return known;
        variability = std::min(variability, known.variability);
        out.push_back(std::move(known.value));
    }
    return {variability, tab_value(std::move(out))};
}

ExpPtr TabDefinition::adjust_parameter(const UserFunction* f, const std::vector<std::string>& params) const {
    ExpressionList adjusted;
    for (const ExpPtr& e : elements)
        adjusted.push_back(e->adjust_parameter(f, params));
    return std::make_unique<TabDefinition>(std::move(adjusted), location);
}

void TabDefinition::show(std::ostream& out, int) const {
    out << "TAB [";
    show_list(out, elements);
    out << "]";
}

int TabDefinition::etag() const {
    static const int tag = new_etag();
    return tag;
}

int TabDefinition::compare_with(const Expression* other) const {
    return compare_lists(elements, static_cast<const TabDefinition*>(other)->elements);
}

MapDefinition::MapDefinition(KeyValueList list, const yy::location* loc)
    : NonConstantExpression(loc)
    , pairs(std::move(list)) {}

MapDefinition::MapDefinition(const MapDefinition& other)
    : NonConstantExpression(other) {
    for (const auto& [k, v] : other.pairs)
        pairs.emplace_back(k->clone(), v->clone());
}

Value MapDefinition::build(const std::vector<std::pair<Value, Value>>& entries) const {
    auto out = make_counted<map_t>();
    for (const auto& [key, value] : entries)
        out->emplace(key, value);
    return Value::make<MapValue>(std::move(out));
}

Value MapDefinition::eval() const {
    std::vector<std::pair<Value, Value>> entries;
    entries.reserve(pairs.size());
    for (const auto& [k, v] : pairs) {
        Value value = v->eval();
        entries.emplace_back(k->eval(), std::move(value));
    }
    return build(entries);
}

ScoreEval MapDefinition::eval_in_score() const {
    int variability = VARIABILITY_STATIC;
    std::vector<std::pair<Value, Value>> entries;
    for (const auto& [k, v] : pairs) {
        ScoreEval value = v->eval_in_score();
        if (value.variability == VARIABILITY_DYNAMIC) return value;
        ScoreEval key = k->eval_in_score();
        if (key.variability == VARIABILITY_DYNAMIC) return key;
        variability = std::min({variability, value.variability, key.variability});
        entries.emplace_back(std::move(key.value), std::move(value.value));
    }
    return {variability, build(entries)};
}

KeyValueList MapDefinition::adjusted_pairs(const UserFunction* f,
                                           const std::vector<std::string>& params) const {
    KeyValueList adjusted;
    for (const auto& [k, v] : pairs)
        adjusted.emplace_back(k->adjust_parameter(f, params), v->adjust_parameter(f, params));
    return adjusted;
}

ExpPtr MapDefinition::adjust_parameter(const UserFunction* f, const std::vector<std::string>& params) const {
    return std::make_unique<MapDefinition>(adjusted_pairs(f, params), location);
}

void MapDefinition::for_each_child(ChildVisitor visit) const {
    for (const auto& [k, v] : pairs) {
        visit(*k);
        visit(*v);
    }
}

void MapDefinition::show(std::ostream& out, int) const {
    out << (show_as_score_text(out) ? "map {" : "MAP {");
    const char* separator = "";
    for (const auto& [k, v] : pairs) {
        out << separator << "(";
        k->show(out, 0);
        out << ", ";
        v->show(out, 0);
        out << ")";
        separator = ", ";
    }
    out << "}";
}

int MapDefinition::etag() const {
    static const int tag = new_etag();
    return tag;
}

int MapDefinition::compare_with(const Expression* other) const {
    const auto* o = static_cast<const MapDefinition*>(other);
    if (pairs.size() != o->pairs.size()) return pairs.size() > o->pairs.size() ? 1 : -1;
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        if (const int c = compare_nodes(pairs[i].first.get(), o->pairs[i].first.get())) return c;
        if (const int c = compare_nodes(pairs[i].second.get(), o->pairs[i].second.get())) return c;
    }
    return 0;
}

Value InterpolatedMapDefinition::build(const std::vector<std::pair<Value, Value>>& entries) const {
    auto out = make_counted<imap_t>();
    for (const auto& [key, value] : entries)
        out->emplace(key->get_double(), value->get_double());
    return Value::make<InterpolatedMapValue>(std::move(out));
}

ExpPtr InterpolatedMapDefinition::adjust_parameter(const UserFunction* f,
                                                   const std::vector<std::string>& params) const {
    return std::make_unique<InterpolatedMapDefinition>(adjusted_pairs(f, params), location);
}

void InterpolatedMapDefinition::show(std::ostream& out, int precedence) const {
    out << "I";
    MapDefinition::show(out, precedence);
}

int InterpolatedMapDefinition::etag() const {
    static const int tag = new_etag();
    return tag;
}

TabAccess::TabAccess(ExpPtr h, ExpressionList list, const yy::location* loc)
    : NonConstantExpression(loc)
    , head(std::move(h))
    , indices(std::move(list)) {}

TabAccess::TabAccess(const TabAccess& other)
    : NonConstantExpression(other)
    , head(other.head->clone())
    , indices(clone_list(other.indices)) {}

std::string TabAccess::SeenIndices::text() const {
    std::string out;
    for (int k = 0; k < count; ++k)
        out += (k ? ", " : "") + std::to_string(at[k]);
    return out;
}

// At score time a bad access only warns: the same text may be valid at run time.
TabAccess::Step TabAccess::access(Value& current, const TaggedValue& index, const SeenIndices& seen,
                                  bool at_score_time) const {
    if (!index.is_numeric()) {
        if (at_score_time) {
            post("Warning: bad tab access in static expression: non numeric expression. Cannot reduce "
                 "statically");
            return Step::failed;
        }
        error("Bad tab access on tab-promotable value (%s): index is not numeric (%s)", current->kind_name(),
              index.kind_name());
        report_location("", location);
        return Step::failed;
    }
    const long i = index.get_int();
    if (current->is_tab()) {
        const auto size = static_cast<long>(value_cast<TabValue>(*current).size());
        if (at_score_time && (i < 0 || i >= size)) return Step::failed;
        current = value_cast<TabValue>(*current).at(index, this);
        return Step::ok;
    }
    if (i < 0) {
        if (at_score_time) {
            post("Warning: bad tab access in static expression: index is negative. Cannot reduce statically");
            return Step::failed;
        }
        error("Bad tab access to a tab-promotable value (%s): index is negative (%d)", current->kind_name(),
              static_cast<int>(i));
        report_location("", location);
        return Step::failed;
    }
    if (current->is_string()) {
        const std::string s = current->get_string();
        if (static_cast<std::size_t>(i) >= s.size()) {
            if (at_score_time) {
                post("Warning: bad tab access on static string: index is out of bound. Cannot reduce "
                     "statically.");
                return Step::failed;
            }
            error("Bad tab access on string: index is out of bound (%d on a string of size %d)",
                  static_cast<int>(i), static_cast<int>(s.size()));
            report_location("", location);
            return Step::failed;
        }
        current = string_value(std::string(1, s[static_cast<std::size_t>(i)]));
        return Step::ok;
    }
    if (current->atomic()) return Step::ok;
    if (at_score_time) return Step::failed;
    error("Bad tab access : element at indices [%s...] does not refer to a tab-promotable value '%s'",
          seen.text().c_str(), show_text(*current).c_str());
    report_location("", location);
    return Step::failed;
}

Value TabAccess::eval() const {
    Value current = head->eval();
    SeenIndices seen;
    for (const ExpPtr& e : indices) {
        const Value index = e->eval();
        if (index->is_numeric()) seen.push(index->get_int());
        if (access(current, index, seen, false) == Step::failed) return undef_value();
    }
    return current;
}

ScoreEval TabAccess::eval_in_score() const {
    ScoreEval known = head->eval_in_score();
    if (known.variability == VARIABILITY_DYNAMIC) return known;
    std::vector<Value> values;
    for (const ExpPtr& e : indices) {
        ScoreEval index = e->eval_in_score();
        if (index.variability == VARIABILITY_DYNAMIC) return index;
        known.variability = std::min(known.variability, index.variability);
        values.push_back(std::move(index.value));
    }
    SeenIndices seen;
    for (const Value& index : values) {
        if (index->is_numeric()) seen.push(index->get_int());
        if (access(known.value, index, seen, true) == Step::failed)
            return {VARIABILITY_DYNAMIC, undef_value()};
    }
    return known;
}

ExpPtr TabAccess::adjust_parameter(const UserFunction* f, const std::vector<std::string>& params) const {
    ExpressionList adjusted;
    for (const ExpPtr& e : indices)
        adjusted.push_back(e->adjust_parameter(f, params));
    return std::make_unique<TabAccess>(head->adjust_parameter(f, params), std::move(adjusted), location);
}

void TabAccess::for_each_child(ChildVisitor visit) const {
    visit(*head);
    visit_each(visit, indices);
}

void TabAccess::show(std::ostream& out, int) const {
    if (head->auto_delimited()) {
        head->show(out, 0);
    } else {
        out << "(";
        head->show(out, 0);
        out << ")";
    }
    out << "[";
    show_list(out, indices);
    out << "]";
}

int TabAccess::etag() const {
    static const int tag = new_etag();
    return tag;
}

int TabAccess::compare_with(const Expression* other) const {
    const auto* o = static_cast<const TabAccess*>(other);
    if (const int c = compare_nodes(head.get(), o->head.get())) return c;
    return compare_lists(indices, o->indices);
}
