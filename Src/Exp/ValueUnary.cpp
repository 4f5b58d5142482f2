// The unary operators `!` and `-`.
#include "Exp/Values.hpp"
#include "Base/Console.hpp"

#include <bit>

// `!` is the negation of the truth value; `-` has no meaning here.
Value TaggedValue::execute(e_monop op) const {
    if (op == OP_NOT) return bool_value(!get_bool());
    error("Error (unary op): '%s' called on %s", monop_to_string(op), kind_name());
    return undef_value();
}

Value UndefValue::execute(e_monop op) const {
    error("Bad operation %s on %s", monop_to_string(op), get_string().c_str());
    return undef_value();
}

// A boolean does not look at the operator: `-true` is false, like `!true`.
Value BoolValue::execute(e_monop) const {
    return bool_value(!val);
}

Value IntValue::execute(e_monop op) const {
    if (op == OP_NOT) return bool_value(val == 0);
    if (op == OP_NEG) return int_value(static_cast<std::int32_t>(0u - static_cast<std::uint32_t>(val)));
    return TaggedValue::execute(op);
}

// The negation flips the sign bit: -0.0 exists and a NaN keeps its payload.
Value FloatValue::execute(e_monop op) const {
    if (op == OP_NOT) return bool_value(!get_bool());
    if (op == OP_NEG)
        return float_value(std::bit_cast<double>(std::bit_cast<std::uint64_t>(val) ^ (1ULL << 63)));
    return TaggedValue::execute(op);
}

Value TabValue::execute(e_monop op) const {
    tab_t out;
    out.reserve(size());
    if (val)
        for (const Value& e : *val)
            out.push_back(e->execute(op));
    return tab_value(std::move(out));
}

Value MapValue::execute(e_monop op) const {
    auto out = make_counted<map_t>();
    if (val)
        for (const auto& [key, value] : *val)
            out->emplace(key, value->execute(op));
    return Value::make<MapValue>(std::move(out));
}
