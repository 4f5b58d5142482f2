// Arithmetic between values (`+ - * / %`). The kind of the left operand
// decides; relational and logical operators are handled by the expression.
#include "Exp/Values.hpp"
#include "Base/Console.hpp"

#include <cmath>

namespace {

Value not_arithmetic(e_binop op) {
    CAD_INTERNAL_ERROR(str_printf("arithmetic called with operator %s", binop_to_string(op)));
    return undef_value();
}

// The remainder by zero traps on the machine: it gives 0 here, unreported.
long int_remainder(long a, long b) {
    return b == 0 ? 0 : a % b;
}

// 32-bit arithmetic that wraps; the division goes through doubles.
Value int_arith(e_binop op, long a, long b) {
    const auto x = static_cast<std::uint32_t>(a), y = static_cast<std::uint32_t>(b);
    switch (op) {
    case OP_PLUS:
        return int_value(static_cast<std::int32_t>(x + y));
    case OP_MINUS:
        return int_value(static_cast<std::int32_t>(x - y));
    case OP_TIMES:
        return int_value(static_cast<std::int32_t>(x * y));
    case OP_DIV:
        return execute_dop(OP_DIV, static_cast<double>(a), static_cast<double>(b));
    case OP_MOD:
        return int_value(int_remainder(a, b));
    default:
        return not_arithmetic(op);
    }
}

double number_of(const TaggedValue& v) {
    return v.is_int() ? static_cast<double>(value_cast<IntValue>(v).val) : value_cast<FloatValue>(v).val;
}

// A number on the left of something that is not a number.
Value number_with_other(const TaggedValue& a, e_binop op, const TaggedValue& b) {
    if (b.is_map()) return execute_map(a, op, value_cast<MapValue>(b));
    if (b.is_tab()) return execute_tab(a, op, value_cast<TabValue>(b));
    if (b.is_string() && op == OP_PLUS) return concat_value(a, b);
    return binop_error(op, a, b);
}

const tab_t& elements_of(const TabValue& t) {
    static const tab_t empty;
    return t.val ? *t.val : empty;
}

const map_t& entries_of(const MapValue& m) {
    static const map_t empty;
    return m.val ? *m.val : empty;
}

} // namespace

Value execute_dop(e_binop op, double x, double y) {
    switch (op) {
    case OP_PLUS:
        return float_value(x + y);
    case OP_MINUS:
        return float_value(x - y);
    case OP_TIMES:
        return float_value(x * y);
    case OP_DIV:
        if (y == 0) {
            error("Division by zero");
            return float_value(failed_conversion_nan());
        }
        return float_value(x / y);
    case OP_MOD:
        return float_value(std::fmod(x, y));
    default:
        return not_arithmetic(op);
    }
}

Value execute_tab(const TaggedValue& a, e_binop op, const TabValue& t) {
    const tab_t& elements = elements_of(t);
    tab_t out;
    out.reserve(elements.size());
    for (const Value& e : elements)
        out.push_back(a.execute(op, e));
    return tab_value(std::move(out));
}

Value execute_map(const TaggedValue& a, e_binop op, const MapValue& m) {
    auto out = make_counted<map_t>();
    for (const auto& [key, value] : entries_of(m))
        (*out)[key] = a.execute(op, value);
    return Value::make<MapValue>(std::move(out));
}

Value concat_value(const TaggedValue& a, const TaggedValue& b) {
    return string_value(a.get_string() + b.get_string());
}

Value binop_error(e_binop op, const TaggedValue& a, const TaggedValue& b) {
    error("Bad type in binop '%s': %s and %s\nargument 1: %s\nargument 2: %s", binop_to_string(op),
          a.kind_name(), b.kind_name(), a.get_string().c_str(), b.get_string().c_str());
    return undef_value();
}

// Symbols, functions, interpolated maps, closures, processes, executions:
// only concatenation with a string.
Value TaggedValue::execute(e_binop op, const TaggedValue& b) const {
    if (op == OP_PLUS && (is_string() || b.is_string()) && !is_undef() && !b.is_undef())
        return concat_value(*this, b);
    error("Error (binary op): '%s %s %s'", kind_name(), binop_to_string(op), b.kind_name());
    return undef_value();
}

Value UndefValue::execute(e_binop op, const TaggedValue& b) const {
    return binop_error(op, *this, b);
}

// With an int, `+` is the "or" and `*` the "and" of the truth values.
Value BoolValue::execute(e_binop op, const TaggedValue& b) const {
    if (!is_arithmetic_op(op)) return not_arithmetic(op);
    if (b.is_int()) {
        const bool other = value_cast<IntValue>(b).val != 0;
        if (op == OP_PLUS) return int_value(val || other);
        if (op == OP_TIMES) return int_value(val && other);
        error("Bad operation between booleans '%s'", binop_to_string(op));
        return int_value(0);
    }
    if (b.is_double()) return execute_dop(op, val ? 1.0 : 0.0, value_cast<FloatValue>(b).val);
    if (b.is_string() && op == OP_PLUS) return concat_value(*this, b);
    return binop_error(op, *this, b);
}

Value IntValue::execute(e_binop op, const TaggedValue& b) const {
    if (!is_arithmetic_op(op)) return not_arithmetic(op);
    if (b.is_int()) return int_arith(op, val, value_cast<IntValue>(b).val);
    if (b.is_double()) return execute_dop(op, static_cast<double>(val), value_cast<FloatValue>(b).val);
    return number_with_other(*this, op, b);
}

Value FloatValue::execute(e_binop op, const TaggedValue& b) const {
    if (!is_arithmetic_op(op)) return not_arithmetic(op);
    if (b.is_numeric()) return execute_dop(op, val, number_of(b));
    return number_with_other(*this, op, b);
}

Value StringValue::execute(e_binop op, const TaggedValue& b) const {
    if (op == OP_PLUS) return concat_value(*this, b);
    return binop_error(op, *this, b);
}

// Element by element; with another tab, as far as the shorter goes.
Value TabValue::execute(e_binop op, const TaggedValue& b) const {
    if (!is_arithmetic_op(op)) return not_arithmetic(op);
    const tab_t& mine = elements_of(*this);
    tab_t out;
    if (b.is_tab()) {
        const tab_t& other = elements_of(value_cast<TabValue>(b));
        const std::size_t n = std::min(mine.size(), other.size());
        out.reserve(n);
        for (std::size_t i = 0; i < n; ++i)
            out.push_back(mine[i]->execute(op, other[i]));
    } else {
        out.reserve(mine.size());
        for (const Value& e : mine)
            out.push_back(e->execute(op, b));
    }
    return tab_value(std::move(out));
}

// Value by value; with another map, on the keys both have.
Value MapValue::execute(e_binop op, const TaggedValue& b) const {
    if (!is_arithmetic_op(op)) return not_arithmetic(op);
    auto out = make_counted<map_t>();
    if (b.is_map()) {
        const map_t& other = entries_of(value_cast<MapValue>(b));
        for (const auto& [key, value] : entries_of(*this)) {
            const auto found = other.find(key);
            if (found != other.end()) out->emplace(key, value->execute(op, found->second));
        }
    } else {
        for (const auto& [key, value] : entries_of(*this))
            out->emplace(key, value->execute(op, b));
    }
    return Value::make<MapValue>(std::move(out));
}
