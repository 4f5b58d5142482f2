// The fourteen value classes. `ValueCore<T>` holds the payload and the
// mechanics common to all kinds; each `CadenziumValue<T>` says what its kind
// offers. The kinds are, in rank order: undef, bool, string, symbol, int,
// float, funct, tab, map, imap, nim, paf, proc, exe.
#pragma once

#include "Exp/TaggedValue.hpp"

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
    int rank() const final { return CadenziumValue<T>::KIND.rank; }
    const Kind& kind() const final { return CadenziumValue<T>::KIND; }
    Expression* clone() const final { return new CadenziumValue<T>(self()); }
    int etag() const final {
        static const int tag = Expression::new_etag();
        return tag;
    }

protected:
    explicit ValueCore(const payload_type& v)
        : val(v) {}
    explicit ValueCore(payload_type&& v)
        : val(std::move(v)) {}
    ValueCore(const ValueCore&) = default;

private:
    const CadenziumValue<T>& self() const { return static_cast<const CadenziumValue<T>&>(*this); }
};

template <>
class CadenziumValue<char> final : public ValueCore<char> {
public:
    static Kind KIND;
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
    static Kind KIND;
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
class CadenziumValue<std::shared_ptr<std::string>> final : public ValueCore<std::shared_ptr<std::string>> {
public:
    static Kind KIND;
    CadenziumValue()
        : ValueCore(nullptr) {}
    explicit CadenziumValue(std::shared_ptr<std::string> s)
        : ValueCore(std::move(s)) {}
    explicit CadenziumValue(const std::string& s)
        : ValueCore(std::make_shared<std::string>(s)) {}
    CadenziumValue(const CadenziumValue&) = default;
    int _compare(const std::shared_ptr<std::string>& x) const;
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
    static Kind KIND;
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
    static Kind KIND;
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
    static Kind KIND;
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
    static Kind KIND;
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
class CadenziumValue<std::shared_ptr<tab_t>> final : public ValueCore<std::shared_ptr<tab_t>> {
public:
    static Kind KIND;
    CadenziumValue()
        : ValueCore(std::make_shared<tab_t>()) {}
    explicit CadenziumValue(std::shared_ptr<tab_t> t)
        : ValueCore(std::move(t)) {}
    explicit CadenziumValue(tab_t elements)
        : ValueCore(std::make_shared<tab_t>(std::move(elements))) {}
    CadenziumValue(const CadenziumValue&) = default;
    int _compare(const std::shared_ptr<tab_t>& x) const;
    bool garbageable() const override { return true; }
    bool get_bool() const override { return val && !val->empty(); }
    Value deep_copy() const override;
    Value execute(e_monop op) const override;
    Value execute(e_binop op, const TaggedValue& right) const override;
    Value apply(const TaggedValue& arg) const override;
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
class CadenziumValue<std::shared_ptr<map_t>> final : public ValueCore<std::shared_ptr<map_t>> {
public:
    static Kind KIND;
    CadenziumValue()
        : ValueCore(std::make_shared<map_t>()) {}
    explicit CadenziumValue(std::shared_ptr<map_t> m)
        : ValueCore(std::move(m)) {}
    CadenziumValue(const CadenziumValue&) = default;
    int _compare(const std::shared_ptr<map_t>& x) const;
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
class CadenziumValue<std::shared_ptr<imap_t>> final : public ValueCore<std::shared_ptr<imap_t>> {
public:
    static Kind KIND;
    CadenziumValue()
        : ValueCore(std::make_shared<imap_t>()) {}
    explicit CadenziumValue(std::shared_ptr<imap_t> m)
        : ValueCore(std::move(m)) {}
    CadenziumValue(const CadenziumValue&) = default;
    int _compare(const std::shared_ptr<imap_t>& x) const;
    bool garbageable() const override { return true; }
    bool get_bool() const override { return val && !val->empty(); }
    Value deep_copy() const override;
    Value apply(const TaggedValue& arg) const override;
    Value apply(const std::vector<Value>& args) const override;
    void show(std::ostream& out) const override;
};

using nim_t = NewInterpolatedMap;

template <>
class CadenziumValue<std::shared_ptr<nim_t>> final : public ValueCore<std::shared_ptr<nim_t>> {
public:
    static Kind KIND;
    CadenziumValue();
    explicit CadenziumValue(std::shared_ptr<nim_t> m)
        : ValueCore(std::move(m)) {}
    CadenziumValue(const CadenziumValue&) = default;
    int _compare(const std::shared_ptr<nim_t>& x) const;
    bool garbageable() const override { return true; }
    bool get_bool() const override;
    Value deep_copy() const override;
    Value apply(const TaggedValue& arg) const override;
    Value apply(const std::vector<Value>& args) const override;
    void show(std::ostream& out) const override;
};

template <>
class CadenziumValue<std::shared_ptr<PartiallyAppliedFunction>> final
    : public ValueCore<std::shared_ptr<PartiallyAppliedFunction>> {
public:
    static Kind KIND;
    CadenziumValue()
        : ValueCore(nullptr) {}
    explicit CadenziumValue(std::shared_ptr<PartiallyAppliedFunction> f)
        : ValueCore(std::move(f)) {}
    CadenziumValue(const CadenziumValue&) = default;
    int _compare(const std::shared_ptr<PartiallyAppliedFunction>& x) const;
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
    static Kind KIND;
    explicit CadenziumValue(unique_identifier uid = 0)
        : ValueCore(uid) {}
    CadenziumValue(const CadenziumValue&) = default;
    int _compare(unique_identifier x) const { return (val > x) - (val < x); }
    bool get_bool() const override { return true; }
    void show(std::ostream& out) const override;
};

template <>
class CadenziumValue<unsigned long> final : public ValueCore<unsigned long> {
public:
    static Kind KIND;
    // Execution numbers are 32-bit.
    explicit CadenziumValue(unsigned long id = 0)
        : ValueCore(static_cast<std::uint32_t>(id)) {}
    CadenziumValue(const CadenziumValue&) = default;
    int _compare(unsigned long x) const { return (val > x) - (val < x); }
    // True while the execution it names still runs.
    bool get_bool() const override;
    void show(std::ostream& out) const override;
};

using UndefValue = CadenziumValue<char>;
using BoolValue = CadenziumValue<bool>;
using StringValue = CadenziumValue<std::shared_ptr<std::string>>;
using SymbValue = CadenziumValue<uid_for_symbol>;
using IntValue = CadenziumValue<long>;
using FloatValue = CadenziumValue<double>;
using FctValue = CadenziumValue<const FunctionDefinition*>;
using TabValue = CadenziumValue<std::shared_ptr<tab_t>>;
using MapValue = CadenziumValue<std::shared_ptr<map_t>>;
using InterpolatedMapValue = CadenziumValue<std::shared_ptr<imap_t>>;
using NimValue = CadenziumValue<std::shared_ptr<nim_t>>;
using PafValue = CadenziumValue<std::shared_ptr<PartiallyAppliedFunction>>;
using ProcValue = CadenziumValue<const unique_identifier>;
using ExeValue = CadenziumValue<unsigned long>;

static_assert(sizeof(TabValue) == Value::buffer_size, "the largest value fills the buffer exactly");
static_assert(sizeof(MapValue) <= Value::buffer_size && sizeof(PafValue) <= Value::buffer_size);
static_assert(sizeof(StringValue) <= Value::buffer_size && sizeof(NimValue) <= Value::buffer_size);
static_assert(alignof(TabValue) <= alignof(void*));

// The value class V of `v`, whose tag the caller has checked.
template <class V>
const V& value_cast(const TaggedValue& v) {
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
