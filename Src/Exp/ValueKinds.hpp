// The fourteen value classes. `ValueCore<T>` holds the payload and the
// mechanics common to all kinds, and stamps each value with its class's
// kind tag; each `CadenziumValue<T>` says what its kind offers. The kinds
// are, in rank order (which is also their tag): undef, bool, string,
// symbol, int, float, funct, tab, map, imap, nim, paf, proc, exe.
#pragma once

#include "Exp/CountedPtr.hpp"
#include "Exp/Execution.hpp"
#include "Exp/TaggedValue.hpp"

#include <cassert>
#include <map>
#include <memory>
#include <type_traits>

class PartiallyAppliedFunction;
class NewInterpolatedMap;

// Only the specialisations below exist.
template <class T>
class CadenziumValue;

template <class T>
class ValueCore : public TaggedValue {
public:
    using payload_type = std::remove_const_t<T>;
    T val;

    void _construct_value_at(void* place) const final {
        if (place) ::new (place) CadenziumValue<T>(self());
    }
    void _destroy_self_content() final { std::destroy_at(&static_cast<CadenziumValue<T>&>(*this)); }
    int _compare_value_of_same_kind(const TaggedValue* other) const final {
        return self()._compare(static_cast<const ValueCore*>(other)->val);
    }
    ExpPtr clone() const final { return std::make_unique<CadenziumValue<T>>(self()); }
    int etag() const final {
        static const int tag = Expression::new_etag();
        return tag;
    }

protected:
    explicit ValueCore(const payload_type& v)
        : TaggedValue(CadenziumValue<T>::KIND.tag)
        , val(v) {}
    explicit ValueCore(payload_type&& v)
        : TaggedValue(CadenziumValue<T>::KIND.tag)
        , val(std::move(v)) {}
    // The tag is the class's constant, not read from the copied value.
    ValueCore(const ValueCore& o)
        : TaggedValue(CadenziumValue<T>::KIND.tag)
        , val(o.val) {}

private:
    const CadenziumValue<T>& self() const { return static_cast<const CadenziumValue<T>&>(*this); }
};

template <>
class CadenziumValue<char> final : public ValueCore<char> {
public:
    static constexpr Kind KIND{"undef", 1};
    CadenziumValue()
        : ValueCore(0) {}
    CadenziumValue(const CadenziumValue&) = default;
    int _compare(char) const { return 0; }
    bool get_bool() const override { return false; }
    Value execute(e_monop op) const override;
    Value execute(e_binop op, const TaggedValue& right) const override;
    void show(std::ostream& out) const override;
};

template <>
class CadenziumValue<bool> final : public ValueCore<bool> {
public:
    static constexpr Kind KIND{"bool", 2};
    explicit CadenziumValue(bool v = false)
        : ValueCore(v) {}
    CadenziumValue(const CadenziumValue&) = default;
    int _compare(bool x) const { return val ? -static_cast<int>(!x) : static_cast<int>(x); }
    bool get_bool() const override { return val; }
    Value execute(e_monop op) const override;
    Value execute(e_binop op, const TaggedValue& right) const override;
    void show(std::ostream& out) const override;
};

template <>
class CadenziumValue<CountedPtr<std::string>> final : public ValueCore<CountedPtr<std::string>> {
public:
    static constexpr Kind KIND{"string", 3};
    CadenziumValue()
        : ValueCore(nullptr) {}
    explicit CadenziumValue(CountedPtr<std::string> s)
        : ValueCore(std::move(s)) {}
    explicit CadenziumValue(const std::string& s)
        : ValueCore(make_counted<std::string>(s)) {}
    CadenziumValue(const CadenziumValue&) = default;
    int _compare(const CountedPtr<std::string>& x) const;
    bool garbageable() const override { return true; }
    bool get_bool() const override { return val && !val->empty(); }
    std::string get_string() const override { return val ? *val : std::string(); }
    std::string get_string_for_max() const override { return get_string(); }
    std::string get_raw_string() const override { return get_string(); }
    Value deep_copy() const override;
    Value execute(e_binop op, const TaggedValue& right) const override;
    void show(std::ostream& out) const override;
};

template <>
class CadenziumValue<uid_for_symbol> final : public ValueCore<uid_for_symbol> {
public:
    static constexpr Kind KIND{"symbol", 4};
    explicit CadenziumValue(uid_for_symbol uid = 0)
        : ValueCore(uid) {}
    CadenziumValue(const CadenziumValue&) = default;
    int _compare(uid_for_symbol x) const { return (val > x) - (val < x); }
    bool get_bool() const override;
    uid_for_symbol get_symb() const override { return val; }
    std::string get_string() const override;
    void show(std::ostream& out) const override;
};

template <>
class CadenziumValue<long> final : public ValueCore<long> {
public:
    static constexpr Kind KIND{"int", 5};
    // Integers of the language are 32-bit: a wider number wraps.
    explicit CadenziumValue(long v = 0)
        : ValueCore(static_cast<long>(static_cast<std::int32_t>(v))) {}
    CadenziumValue(const CadenziumValue&) = default;
    int _compare(long x) const { return (val > x) - (val < x); }
    long get_int() const override { return val; }
    double get_double() const override { return static_cast<double>(val); }
    bool get_bool() const override { return val != 0; }
    Value execute(e_monop op) const override;
    Value execute(e_binop op, const TaggedValue& right) const override;
    void show(std::ostream& out) const override;
};

template <>
class CadenziumValue<double> final : public ValueCore<double> {
public:
    static constexpr Kind KIND{"float", 6};
    explicit CadenziumValue(double v = 0.0)
        : ValueCore(v) {}
    CadenziumValue(const CadenziumValue&) = default;
    // NaN compares equal to everything.
    int _compare(double x) const { return (val > x) - (val < x); }
    long get_int() const override;
    double get_double() const override { return val; }
    bool get_bool() const override { return val != 0.0; }
    Value execute(e_monop op) const override;
    Value execute(e_binop op, const TaggedValue& right) const override;
    void show(std::ostream& out) const override;
};

template <>
class CadenziumValue<const FunctionDefinition*> final : public ValueCore<const FunctionDefinition*> {
public:
    static constexpr Kind KIND{"funct", 7};
    explicit CadenziumValue(const FunctionDefinition* f = nullptr)
        : ValueCore(f) {}
    CadenziumValue(const CadenziumValue&) = default;
    int _compare(const FunctionDefinition* x) const;
    const FunctionDefinition* get_fct() const override { return val; }
    bool get_bool() const override;
    Value apply(const TaggedValue& arg) const override;
    Value apply(const std::vector<Value>& args) const override;
    void show(std::ostream& out) const override;
};

using tab_t = std::vector<Value>;

template <>
class CadenziumValue<CountedPtr<tab_t>> final : public ValueCore<CountedPtr<tab_t>> {
public:
    static constexpr Kind KIND{"tab", 8};
    CadenziumValue()
        : ValueCore(make_counted<tab_t>()) {}
    explicit CadenziumValue(CountedPtr<tab_t> t)
        : ValueCore(std::move(t)) {}
    explicit CadenziumValue(tab_t elements)
        : ValueCore(make_counted<tab_t>(std::move(elements))) {}
    CadenziumValue(const CadenziumValue&) = default;
    int _compare(const CountedPtr<tab_t>& x) const;
    bool garbageable() const override { return true; }
    bool get_bool() const override { return val && !val->empty(); }
    Value deep_copy() const override;
    Value execute(e_monop op) const override;
    Value execute(e_binop op, const TaggedValue& right) const override;
    // The element at `index`, as `at` without a site.
    Value apply(const TaggedValue& index) const override;
    // The element at `index` (truncated; undef for a non-number). An index
    // out of bounds is reported, with the expression `site` that indexes
    // and its place when there is one.
    Value at(const TaggedValue& index, const Expression* site) const;
    void show(std::ostream& out) const override;
    std::size_t size() const { return val ? val->size() : 0; }
};

// Map keys are ordered by `vcompare`, so keys of different kinds coexist and
// numeric keys of different kinds (1 and 1.0) are the same key.
struct ValueKeyOrder {
    using is_transparent = void; // lookups need no copy of the key
    bool operator()(const TaggedValue& a, const TaggedValue& b) const;
};
using map_t = std::map<Value, Value, ValueKeyOrder>;

template <>
class CadenziumValue<CountedPtr<map_t>> final : public ValueCore<CountedPtr<map_t>> {
public:
    static constexpr Kind KIND{"map", 9};
    CadenziumValue()
        : ValueCore(make_counted<map_t>()) {}
    explicit CadenziumValue(CountedPtr<map_t> m)
        : ValueCore(std::move(m)) {}
    CadenziumValue(const CadenziumValue&) = default;
    int _compare(const CountedPtr<map_t>& x) const;
    bool garbageable() const override { return true; }
    bool get_bool() const override { return val && !val->empty(); }
    Value deep_copy() const override;
    Value execute(e_monop op) const override;
    Value execute(e_binop op, const TaggedValue& right) const override;
    Value apply(const TaggedValue& arg) const override;
    Value apply(const std::vector<Value>& args) const override;
    void show(std::ostream& out) const override;
};

using imap_t = std::map<double, double>;

template <>
class CadenziumValue<CountedPtr<imap_t>> final : public ValueCore<CountedPtr<imap_t>> {
public:
    static constexpr Kind KIND{"imap", 10};
    CadenziumValue()
        : ValueCore(make_counted<imap_t>()) {}
    explicit CadenziumValue(CountedPtr<imap_t> m)
        : ValueCore(std::move(m)) {}
    CadenziumValue(const CadenziumValue&) = default;
    int _compare(const CountedPtr<imap_t>& x) const;
    bool garbageable() const override { return true; }
    bool get_bool() const override { return val && !val->empty(); }
    Value deep_copy() const override;
    Value apply(const TaggedValue& arg) const override;
    Value apply(const std::vector<Value>& args) const override;
    void show(std::ostream& out) const override;
};

using nim_t = NewInterpolatedMap;

template <>
class CadenziumValue<CountedPtr<nim_t>> final : public ValueCore<CountedPtr<nim_t>> {
public:
    static constexpr Kind KIND{"nim", 11};
    CadenziumValue();
    explicit CadenziumValue(CountedPtr<nim_t> m)
        : ValueCore(std::move(m)) {}
    CadenziumValue(const CadenziumValue&) = default;
    int _compare(const CountedPtr<nim_t>& x) const;
    bool garbageable() const override { return true; }
    bool get_bool() const override;
    Value deep_copy() const override;
    Value apply(const TaggedValue& arg) const override;
    Value apply(const std::vector<Value>& args) const override;
    void show(std::ostream& out) const override;
};

template <>
class CadenziumValue<CountedPtr<PartiallyAppliedFunction>> final
    : public ValueCore<CountedPtr<PartiallyAppliedFunction>> {
public:
    static constexpr Kind KIND{"paf", 12};
    CadenziumValue()
        : ValueCore(nullptr) {}
    explicit CadenziumValue(CountedPtr<PartiallyAppliedFunction> f)
        : ValueCore(std::move(f)) {}
    CadenziumValue(const CadenziumValue&) = default;
    int _compare(const CountedPtr<PartiallyAppliedFunction>& x) const;
    bool garbageable() const override { return true; }
    const FunctionDefinition* get_fct() const override;
    bool get_bool() const override;
    Value apply(const TaggedValue& arg) const override;
    Value apply(const std::vector<Value>& args) const override;
    void show(std::ostream& out) const override;
};

template <>
class CadenziumValue<const unique_identifier> final : public ValueCore<const unique_identifier> {
public:
    static constexpr Kind KIND{"proc", 13};
    explicit CadenziumValue(unique_identifier uid = 0)
        : ValueCore(uid) {}
    CadenziumValue(const CadenziumValue&) = default;
    int _compare(unique_identifier x) const { return (val > x) - (val < x); }
    bool get_bool() const override { return true; }
    void show(std::ostream& out) const override;
};

template <>
class CadenziumValue<CountedPtr<Execution>> final : public ValueCore<CountedPtr<Execution>> {
public:
    static constexpr Kind KIND{"exe", 14};
    // No execution (number 0).
    CadenziumValue()
        : ValueCore(nullptr) {}
    explicit CadenziumValue(CountedPtr<Execution> e)
        : ValueCore(std::move(e)) {}
    CadenziumValue(const CadenziumValue&) = default;
    // Executions compare by number.
    int _compare(const CountedPtr<Execution>& x) const {
        const std::uint32_t a = number(), b = x ? x->number() : 0;
        return (a > b) - (a < b);
    }
    std::uint32_t number() const { return val ? val->number() : 0; }
    // True while the execution it names still runs.
    bool get_bool() const override { return val && val->running(); }
    void show(std::ostream& out) const override;
};

using UndefValue = CadenziumValue<char>;
using BoolValue = CadenziumValue<bool>;
using StringValue = CadenziumValue<CountedPtr<std::string>>;
using SymbValue = CadenziumValue<uid_for_symbol>;
using IntValue = CadenziumValue<long>;
using FloatValue = CadenziumValue<double>;
using FctValue = CadenziumValue<const FunctionDefinition*>;
using TabValue = CadenziumValue<CountedPtr<tab_t>>;
using MapValue = CadenziumValue<CountedPtr<map_t>>;
using InterpolatedMapValue = CadenziumValue<CountedPtr<imap_t>>;
using NimValue = CadenziumValue<CountedPtr<nim_t>>;
using PafValue = CadenziumValue<CountedPtr<PartiallyAppliedFunction>>;
using ProcValue = CadenziumValue<const unique_identifier>;
using ExeValue = CadenziumValue<CountedPtr<Execution>>;

// Dispatch pointer, tag and one word of payload: every kind fits the buffer.
template <class... V>
constexpr bool fit_the_buffer = ((sizeof(V) <= Value::buffer_size && alignof(V) <= alignof(void*)) && ...);
static_assert(
    fit_the_buffer<UndefValue, BoolValue, StringValue, SymbValue, IntValue, FloatValue, FctValue, TabValue,
                   MapValue, InterpolatedMapValue, NimValue, PafValue, ProcValue, ExeValue>);
static_assert(sizeof(TabValue) == Value::buffer_size, "the structured values fill the buffer exactly");

// The value class V of `v`, whose tag the caller has checked.
template <class V>
const V& value_cast(const TaggedValue& v) {
    assert(v.tag() == V::KIND.tag && "value_cast to a kind the value is not of");
    return static_cast<const V&>(v);
}

inline bool TaggedValue::is_undef() const {
    return tag() == UndefValue::KIND.tag;
}
inline bool TaggedValue::is_bool() const {
    return tag() == BoolValue::KIND.tag;
}
inline bool TaggedValue::is_string() const {
    return tag() == StringValue::KIND.tag;
}
inline bool TaggedValue::is_symbol() const {
    return tag() == SymbValue::KIND.tag;
}
inline bool TaggedValue::is_int() const {
    return tag() == IntValue::KIND.tag;
}
inline bool TaggedValue::is_double() const {
    return tag() == FloatValue::KIND.tag;
}
inline bool TaggedValue::is_map() const {
    return tag() == MapValue::KIND.tag;
}
inline bool TaggedValue::is_imap() const {
    return tag() == InterpolatedMapValue::KIND.tag;
}
inline bool TaggedValue::is_nim() const {
    return tag() == NimValue::KIND.tag;
}
inline bool TaggedValue::is_fct() const {
    return tag() == FctValue::KIND.tag;
}
inline bool TaggedValue::is_paf() const {
    return tag() == PafValue::KIND.tag;
}
inline bool TaggedValue::is_proc() const {
    return tag() == ProcValue::KIND.tag;
}
inline bool TaggedValue::is_tab() const {
    return tag() == TabValue::KIND.tag;
}
inline bool TaggedValue::is_exe() const {
    return tag() == ExeValue::KIND.tag;
}

inline Value::Value() noexcept {
    ::new (static_cast<void*>(raw_buffer)) UndefValue();
}
inline void Value::become_undef() noexcept {
    ::new (static_cast<void*>(raw_buffer)) UndefValue();
}
