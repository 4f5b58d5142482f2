// Values of the language: the `Value` wrapper, the fourteen kinds, and the
// operations between values (arithmetic, comparison, concatenation).
#pragma once

#include "Exp/TaggedValue.hpp"
#include "Exp/ValueKinds.hpp"

#include <string>

// The total order behind map keys, tab comparison and relational operators
// on non-numbers. Its sign is reversed: positive when a is less than b.
int vcompare(const TaggedValue& a, const TaggedValue& b);

Value string_value(const std::string& s);
Value string_value(std::string* s); // adopts the string
// A string as a leaf of a tree.
std::unique_ptr<TaggedValue> pstring_value(const std::string& s);
std::unique_ptr<TaggedValue> pstring_value(std::string* s); // adopts the string
std::unique_ptr<TaggedValue> pstring_value(const char* s);

inline Value int_value(long v) {
    return Value::make<IntValue>(v);
}
inline Value float_value(double v) {
    return Value::make<FloatValue>(v);
}
inline Value bool_value(bool v) {
    return Value::make<BoolValue>(v);
}
// The value naming a running execution, as its runtime hands it out.
inline Value exe_value(CountedPtr<Execution> execution) {
    return Value::make<ExeValue>(std::move(execution));
}
// A value naming execution `number` that does not run (0: no execution).
Value exe_value(unsigned long number);
Value tab_value(tab_t elements);

// The string of `get_string(a)` followed by `get_string(b)`.
Value concat_value(const TaggedValue& a, const TaggedValue& b);
// Arithmetic on doubles, with the division by zero reported.
Value execute_dop(e_binop op, double x, double y);
Value execute_rel(e_binop op, const TaggedValue& a, const TaggedValue& b);
Value execute_rel_numeric(e_binop op, const TaggedValue& a, const TaggedValue& b);
// A scalar `a` combined with each element of a tab or each value of a map.
Value execute_tab(const TaggedValue& a, e_binop op, const TabValue& t);
Value execute_map(const TaggedValue& a, e_binop op, const MapValue& m);
Value binop_error(e_binop op, const TaggedValue& a, const TaggedValue& b);
const char* binop_to_string(int op);
const char* monop_to_string(int op);

bool eval_bool(const Expression* e);
long eval_int(const Expression* e);

// `show` collected in a string.
std::string show_text(const TaggedValue& v);
