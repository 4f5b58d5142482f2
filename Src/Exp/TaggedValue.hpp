// A value of the language: one object of a closed family of fourteen kinds,
// held by `Value` in a buffer of three machine words (dispatch pointer, kind
// tag, payload). Simple kinds live in the buffer; structured kinds hold one
// counted pointer, so copies share the payload. Operations never throw: a
// bad one reports and yields undef.
#pragma once

#include "Exp/ExpressionBase.hpp"
#include "Exp/Kind.hpp"

#include <cstring>
#include <iosfwd>
#include <new>
#include <string>
#include <utility>
#include <vector>

class FunctionDefinition;

class TaggedValue : public Expression {
public:
    using Expression::show;

    // The kind tag, stored in the value by its class. Two values are of the
    // same kind exactly when their tags are equal.
    Kind::tag_t tag() const noexcept { return kind_tag; }
    int rank() const noexcept { return kind_tag; }
    const Kind& kind() const noexcept { return Kind::of(kind_tag); }

    // Copy-constructs this value at `place` (nothing when `place` is null).
    virtual void _construct_value_at(void* place) const = 0;
    virtual void _destroy_self_content() = 0;
    // Sign of this minus `other`, which is of the same kind.
    virtual int _compare_value_of_same_kind(const TaggedValue* other) const = 0;
    const char* kind_name() const { return kind().name; }
    // Whether the value holds a shared payload.
    virtual bool garbageable() const { return false; }
    bool atomic() const { return !garbageable(); }

    bool is_undef() const;
    bool is_bool() const;
    bool is_string() const;
    bool is_symbol() const;
    bool is_int() const;
    bool is_double() const;
    bool is_float() const { return is_double(); }
    bool is_numeric() const { return is_int() || is_double(); }
    bool is_map() const;
    bool is_imap() const;
    bool is_nim() const;
    bool is_fct() const;
    bool is_paf() const;
    bool is_proc() const;
    bool is_tab() const;
    bool is_exe() const;
    bool is_string_or_symb() const { return is_string() || is_symbol(); }
    // Something that can be applied to arguments.
    bool is_funct() const { return is_fct() || is_map() || is_nim() || is_imap() || is_paf(); }

    // Conversions. Those a kind does not offer report and give a neutral
    // result (0, null, "", or the failed-conversion NaN).
    virtual long get_int() const;
    virtual const FunctionDefinition* get_fct() const;
    virtual bool get_bool() const = 0;
    virtual uid_for_symbol get_symb() const;
    virtual double get_double() const;
    virtual std::string get_string() const;
    virtual std::string get_string_for_max() const;
    virtual std::string get_raw_string() const;

    virtual Value deep_copy() const;
    virtual Value execute(e_monop op) const;
    virtual Value execute(e_binop op, const TaggedValue& right) const;
    virtual Value apply(const TaggedValue& arg) const;
    virtual Value apply(const std::vector<Value>& args) const;

    // The order between kinds, from `b`'s side (see `vcompare`).
    int _compare_value_of_different_kind(const TaggedValue& a) const;
    static void info_size(std::ostream& out);

    // As an expression, a value is a constant leaf.
    Value eval() const override;
    ScoreEval eval_in_score() const override;
    const TaggedValue* is_value() const override { return this; }
    bool is_a_value() const override { return true; }
    ExpPtr adjust_parameter(const UserFunction*, const std::vector<std::string>&) const override {
        return clone();
    }
    bool auto_delimited() const override { return true; }
    void show(std::ostream& out) const override = 0;
    void show(std::ostream& out, int) const override { show(out); }
    int compare_with(const Expression* other) const override;

protected:
    explicit TaggedValue(Kind::tag_t tag) noexcept
        : kind_tag(tag) {}
    TaggedValue(const TaggedValue&) = default;

private:
    const Kind::tag_t kind_tag;
};

class Value {
public:
    static constexpr std::size_t buffer_size = 3 * sizeof(void*);

    Value() noexcept; // undef
    Value(const TaggedValue& v) { v._construct_value_at(raw_buffer); }
    Value(const Value& o) { o.object()._construct_value_at(raw_buffer); }
    // Bitwise transfer; the source becomes undef. No reference-count traffic.
    Value(Value&& o) noexcept {
        std::memcpy(raw_buffer, o.raw_buffer, buffer_size);
        o.become_undef();
    }
    ~Value() { object()._destroy_self_content(); }

    Value& operator=(const Value& o);
    Value& operator=(Value&& o) noexcept;
    Value& operator=(const TaggedValue& o);

    // Constructs a value of class V in place.
    template <class V, class... Args>
    static Value make(Args&&... args) {
        Value v{Uninitialised{}};
        ::new (static_cast<void*>(v.raw_buffer)) V(std::forward<Args>(args)...);
        return v;
    }

    const TaggedValue& object() const noexcept {
        return *std::launder(reinterpret_cast<const TaggedValue*>(raw_buffer));
    }
    TaggedValue& object() noexcept { return *std::launder(reinterpret_cast<TaggedValue*>(raw_buffer)); }
    const TaggedValue& operator*() const noexcept { return object(); }
    TaggedValue& operator*() noexcept { return object(); }
    const TaggedValue* operator->() const noexcept { return &object(); }
    TaggedValue* operator->() noexcept { return &object(); }
    operator const TaggedValue&() const noexcept { return object(); }

    Kind::tag_t tag() const noexcept { return object().tag(); }

private:
    struct Uninitialised {};
    explicit Value(Uninitialised) noexcept {}
    void become_undef() noexcept;
    void replace_with(const TaggedValue& v);

    alignas(void*) unsigned char raw_buffer[buffer_size];
};

// The process-wide undefined value that failing operations copy.
const Value& undef_value();

// What score-time evaluation knows: a variability (see `Variability`) and,
// unless dynamic, the value.
struct ScoreEval {
    int variability;
    Value value;
};
