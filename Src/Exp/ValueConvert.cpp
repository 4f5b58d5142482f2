// Conversions between kinds (`get_*`) and deep copies.
#include "Exp/Environment.hpp"
#include "Exp/Function.hpp"
#include "Exp/Nim.hpp"
#include "Exp/Reference.hpp"
#include "Exp/Values.hpp"
#include "Base/Console.hpp"
#include "Exp/EvalContext.hpp"

#include <cmath>
#include <limits>

namespace {

void bad_conversion(const TaggedValue& v, const char* word) {
    std::string text = str_printf("Internal error: Bad type in get_%s requested on %s", word, v.kind_name());
    if (v.is_undef()) text += "\nDid you forget a 'forget'?";
    error_text(text);
}

} // namespace

long TaggedValue::get_int() const {
    bad_conversion(*this, "int");
    return 0;
}

double TaggedValue::get_double() const {
    bad_conversion(*this, "double");
    return failed_conversion_nan();
}

const FunctionDefinition* TaggedValue::get_fct() const {
    bad_conversion(*this, "function");
    return nullptr;
}

uid_for_symbol TaggedValue::get_symb() const {
    bad_conversion(*this, "symbol");
    return 0;
}

std::string TaggedValue::get_string() const {
    return show_text(*this);
}
std::string TaggedValue::get_string_for_max() const {
    return show_text(*this);
}
std::string TaggedValue::get_raw_string() const {
    return get_string();
}

// Truncation toward zero; a NaN gives 0 and a number beyond 32 bits the
// nearest bound, where a plain conversion would be undefined.
long FloatValue::get_int() const {
    if (std::isnan(val)) return 0;
    if (val >= static_cast<double>(std::numeric_limits<std::int32_t>::max()))
        return std::numeric_limits<std::int32_t>::max();
    if (val <= static_cast<double>(std::numeric_limits<std::int32_t>::min()))
        return std::numeric_limits<std::int32_t>::min();
    return static_cast<long>(val);
}

bool SymbValue::get_bool() const {
    return !Reference::uid2string(val).empty();
}

std::string SymbValue::get_string() const {
    return Reference::uid2string(val);
}

bool FctValue::get_bool() const {
    return val && val->is_user_defined();
}

const FunctionDefinition* PafValue::get_fct() const {
    return val.get();
}

bool PafValue::get_bool() const {
    return val && val->is_user_defined();
}

bool NimValue::get_bool() const {
    return val && !val->empty();
}


Value TaggedValue::deep_copy() const {
    return Value(*this);
}

Value StringValue::deep_copy() const {
    return string_value(get_string());
}

Value TabValue::deep_copy() const {
    tab_t copy;
    copy.reserve(size());
    if (val)
        for (const Value& element : *val)
            copy.push_back(element->deep_copy());
    return tab_value(std::move(copy));
}

Value MapValue::deep_copy() const {
    auto copy = make_counted<map_t>();
    if (val)
        for (const auto& [key, value] : *val)
            copy->emplace(key->deep_copy(), value->deep_copy());
    return Value::make<MapValue>(std::move(copy));
}

Value InterpolatedMapValue::deep_copy() const {
    return Value::make<InterpolatedMapValue>(val ? make_counted<imap_t>(*val) : make_counted<imap_t>());
}

Value NimValue::deep_copy() const {
    return Value::make<NimValue>(val ? make_counted<nim_t>(*val) : make_counted<nim_t>());
}
