// What the value layer's tests share: a runtime as the value layer sees it
// (TestContext), a console capture, a function for calls, and building
// blocks for trees and values.
#pragma once

#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/Expression.hpp"
#include "Exp/Function.hpp"
#include "TestContext.hpp"

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

class ConsoleCapture {
public:
    ConsoleCapture() {
        previous = set_console_sink([this](ConsoleLevel level, std::string_view line) {
            lines.emplace_back(level, std::string(line));
        });
    }
    ~ConsoleCapture() { set_console_sink(previous); }
    ConsoleCapture(const ConsoleCapture&) = delete;
    ConsoleCapture& operator=(const ConsoleCapture&) = delete;

    // The user errors reported (internal faults are not counted).
    int errors() const {
        int n = 0;
        for (const auto& [level, line] : lines)
            n += level == ConsoleLevel::Error;
        return n;
    }
    bool contains(const std::string& fragment) const {
        for (const auto& [level, line] : lines)
            if (line.find(fragment) != std::string::npos) return true;
        return false;
    }
    void clear() { lines.clear(); }

    std::vector<std::pair<ConsoleLevel, std::string>> lines;

private:
    ConsoleSink previous;
};

// A predefined function for calls: the sum of its numeric arguments.
class SumFunction : public PredefinedFunction {
public:
    SumFunction(const std::string& name, int arity, GlobalEnvironment* env)
        : PredefinedFunction(name, arity, env) {}
    Value apply(const std::vector<Value>& args) const override {
        ++calls;
        if (static_cast<int>(args.size()) != arity) return undef_value();
        double sum = 0;
        for (const Value& a : args)
            sum += a->get_double();
        return float_value(sum);
    }
    mutable int calls = 0;
};

// Building blocks for trees, each node owned by what it is given to.
inline ExpPtr lit(long v) {
    return std::make_unique<IntValue>(v);
}
inline ExpPtr lit(int v) {
    return std::make_unique<IntValue>(v);
}
inline ExpPtr lit(double v) {
    return std::make_unique<FloatValue>(v);
}
inline ExpPtr lit(bool v) {
    return std::make_unique<BoolValue>(v);
}
inline ExpPtr lit(const char* s) {
    return pstring_value(s);
}
// A node of class T made of `args`.
template <class T, class... Args>
ExpPtr node(Args&&... args) {
    return std::make_unique<T>(std::forward<Args>(args)...);
}
inline ExpPtr bin(e_binop op, ExpPtr a, ExpPtr b) {
    return node<BinaryExpression>(op, std::move(a), std::move(b));
}
// A list of subexpressions (an initializer list cannot hand them over).
template <class... Nodes>
ExpressionList exps(Nodes... nodes) {
    return expression_list(std::move(nodes)...);
}
template <class... Nodes>
ExpPtr tab_of(Nodes... elements) {
    return node<TabDefinition>(exps(std::move(elements)...));
}
// The pairs of a map definition, keys and values alternating.
inline void add_pairs(KeyValueList&) {}
template <class K, class V, class... Rest>
void add_pairs(KeyValueList& out, K key, V value, Rest... rest) {
    out.emplace_back(std::move(key), std::move(value));
    add_pairs(out, std::move(rest)...);
}
template <class... Nodes>
KeyValueList key_values(Nodes... nodes) {
    KeyValueList out;
    add_pairs(out, std::move(nodes)...);
    return out;
}
inline Value tab_of_ints(std::initializer_list<long> elements) {
    tab_t t;
    for (long e : elements)
        t.push_back(int_value(e));
    return tab_value(std::move(t));
}
inline Value map_of(std::initializer_list<std::pair<Value, Value>> entries) {
    auto m = make_counted<map_t>();
    for (const auto& [k, v] : entries)
        m->emplace(k, v);
    return Value::make<MapValue>(std::move(m));
}
inline Value imap_of(std::initializer_list<std::pair<double, double>> entries) {
    auto m = make_counted<imap_t>();
    for (const auto& [x, y] : entries)
        m->emplace(x, y);
    return Value::make<InterpolatedMapValue>(std::move(m));
}
inline std::string text(const TaggedValue& v) {
    return show_text(v);
}
inline std::string text(const Expression& e) {
    std::ostringstream out;
    e.show(out, 0);
    return out.str();
}
