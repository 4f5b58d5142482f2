// The total order of values and the relational operators.
#include "Exp/Function.hpp"
#include "Exp/Nim.hpp"
#include "Exp/Values.hpp"
#include "Base/Console.hpp"

#include <algorithm>
#include <cstring>
#include <limits>

namespace {

int sign_of(double d) {
    return (d > 0) - (d < 0);
}

// A difference truncated toward zero, without the undefined conversions of
// NaN and of numbers beyond int.
int truncated(double d) {
    if (!(d > -1.0 && d < 1.0)) {
        if (d != d) return 0;
        return d > 0 ? static_cast<int>(std::min(d, 2.0e9)) : static_cast<int>(std::max(d, -2.0e9));
    }
    return 0;
}

// Common-prefix byte order, then length difference clamped to 32 bits.
int compare_bytes(const std::string& v, const std::string& x) {
    const std::size_t common = std::min(v.size(), x.size());
    if (common) {
        const int c = std::memcmp(v.data(), x.data(), common);
        if (c) return c;
    }
    const long long diff = static_cast<long long>(v.size()) - static_cast<long long>(x.size());
    return static_cast<int>(
        std::clamp<long long>(diff, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

const std::string& name_of(const FunctionDefinition* f) {
    static const std::string none;
    return f ? f->name : none;
}

// Sign of v minus x, across kinds.
int order(const TaggedValue& v, const TaggedValue& x) {
    return vcompare(x, v);
}

int compare_elements(const TaggedValue& v, const TaggedValue& x) {
    if (v.tag() == x.tag()) return v._compare_value_of_same_kind(&x);
    if (v.is_numeric() && x.is_numeric()) return sign_of(v.get_double() - x.get_double());
    return order(v, x);
}

} // namespace

int vcompare(const TaggedValue& a, const TaggedValue& b) {
    if (&a == &b) return 0;
    if (a.tag() == b.tag()) return b._compare_value_of_same_kind(&a);
    return b._compare_value_of_different_kind(a);
}

namespace {

// Ints and floats compare by value among themselves, so against other kinds
// they must stand as one block: a float takes the int tag there, which keeps
// the order transitive whatever the tags are.
int block_tag(const TaggedValue& v) {
    return v.is_double() ? IntValue::KIND.tag : v.tag();
}

} // namespace

int TaggedValue::_compare_value_of_different_kind(const TaggedValue& a) const {
    if (is_numeric() && a.is_numeric()) {
        const double mine = get_double(), other = a.get_double();
        return (mine > other) - (mine < other);
    }
    return block_tag(*this) - block_tag(a);
}

bool ValueKeyOrder::operator()(const TaggedValue& a, const TaggedValue& b) const {
    return vcompare(a, b) > 0;
}

int StringValue::_compare(const CountedPtr<std::string>& x) const {
    static const std::string empty;
    return compare_bytes(val ? *val : empty, x ? *x : empty);
}

int FctValue::_compare(const FunctionDefinition* x) const {
    return compare_bytes(name_of(val), name_of(x));
}

int PafValue::_compare(const CountedPtr<PartiallyAppliedFunction>& x) const {
    const int by_name = compare_bytes(name_of(val ? val->fct : nullptr), name_of(x ? x->fct : nullptr));
    if (by_name) return by_name;
    return (val ? val->nb_bound : 0) - (x ? x->nb_bound : 0);
}

int TabValue::_compare(const CountedPtr<tab_t>& x) const {
    static const tab_t empty;
    const tab_t& mine = val ? *val : empty;
    const tab_t& other = x ? *x : empty;
    if (mine.size() != other.size()) return mine.size() > other.size() ? 1 : -1;
    for (std::size_t i = 0; i < mine.size(); ++i)
        if (const int c = compare_elements(mine[i], other[i])) return c;
    return 0;
}

// Two maps never end the walk equal: the result is then 1, as it always was.
int MapValue::_compare(const CountedPtr<map_t>& x) const {
    static const map_t empty;
    const map_t& mine = val ? *val : empty;
    const map_t& other = x ? *x : empty;
    if (mine.size() != other.size()) return mine.size() > other.size() ? 1 : -1;
    auto a = mine.begin();
    auto b = other.begin();
    for (; a != mine.end() && b != other.end(); ++a, ++b) {
        if (const int c = compare_elements(a->first, b->first)) return c;
        if (const int c = compare_elements(a->second, b->second)) return c;
    }
    // Same size and no difference: the maps are equal, so that a map equals
    // itself and can be a key or a tested value.
    return 0;
}

// Differences below 1 count as equal; two imaps never end the walk equal.
int InterpolatedMapValue::_compare(const CountedPtr<imap_t>& x) const {
    static const imap_t empty;
    const imap_t& mine = val ? *val : empty;
    const imap_t& other = x ? *x : empty;
    if (mine.size() != other.size()) return mine.size() > other.size() ? 1 : -1;
    if (mine.empty()) return 1;
    for (auto a = mine.begin(), b = other.begin(); a != mine.end(); ++a, ++b) {
        if (const int c = truncated(a->first - b->first)) return c;
        if (const int c = truncated(a->second - b->second)) return c;
    }
    return 1;
}

int NimValue::_compare(const CountedPtr<nim_t>& x) const {
    if (!val || !x) return (val != nullptr) - (x != nullptr);
    return val->_compare(*x);
}

namespace {

// One relational operator on two numbers of one type; `what` names the pair
// in the internal error of an unknown operator.
template <class Number>
Value relation(e_binop op, Number x, Number y, const char* what) {
    switch (op) {
    case OP_LT:
        return bool_value(x < y);
    case OP_LE:
        return bool_value(x <= y);
    case OP_EQ:
        return bool_value(x == y);
    case OP_NE:
        return bool_value(x != y);
    case OP_GT:
        return bool_value(x > y);
    case OP_GE:
        return bool_value(x >= y);
    default:
        CAD_INTERNAL_ERROR(what);
        return undef_value();
    }
}

} // namespace

// Integers compare as integers; as soon as one side is a float both compare
// as doubles under IEEE rules.
Value execute_rel_numeric(e_binop op, const TaggedValue& a, const TaggedValue& b) {
    if (!a.is_double() && !b.is_double())
        return relation<long>(op, a.get_int(), b.get_int(), "<undefined relop(int, int)>");
    return relation<double>(op, a.get_double(), b.get_double(), "<undefined relop(num, num)>");
}

Value execute_rel(e_binop op, const TaggedValue& a, const TaggedValue& b) {
    if (a.is_numeric() && b.is_numeric()) return execute_rel_numeric(op, a, b);
    const int c = vcompare(a, b);
    switch (op) {
    case OP_LT:
        return bool_value(c > 0);
    case OP_LE:
        return bool_value(c >= 0);
    case OP_EQ:
        return bool_value(c == 0);
    case OP_NE:
        return bool_value(c != 0);
    case OP_GT:
        return bool_value(c < 0);
    case OP_GE:
        return bool_value(c < 1);
    default:
        CAD_INTERNAL_ERROR("<undefined relop>");
        return undef_value();
    }
}
