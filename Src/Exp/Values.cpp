// The `Value` wrapper and what every kind shares as a constant expression.
#include "Exp/Values.hpp"

#include "Base/Console.hpp"

#include <memory>
#include <sstream>

const Value& undef_value() {
    static const Value* exemplar = new Value();
    return *exemplar;
}

// The copy is built before the target is destroyed: the source may live in
// the target's own payload (an element of the tab being replaced).
void Value::replace_with(const TaggedValue& v) {
    alignas(void*) unsigned char fresh[buffer_size];
    v._construct_value_at(fresh);
    object()._destroy_self_content();
    std::memcpy(raw_buffer, fresh, buffer_size);
}

Value& Value::operator=(const Value& o) {
    if (this != &o) replace_with(o.object());
    return *this;
}

Value& Value::operator=(const TaggedValue& o) {
    if (&o != &object()) replace_with(o);
    return *this;
}

Value& Value::operator=(Value&& o) noexcept {
    if (this == &o) return *this;
    alignas(void*) unsigned char taken[buffer_size];
    std::memcpy(taken, o.raw_buffer, buffer_size);
    o.become_undef();
    object()._destroy_self_content();
    std::memcpy(raw_buffer, taken, buffer_size);
    return *this;
}

Value TaggedValue::eval() const {
    return Value(*this);
}

ScoreEval TaggedValue::eval_in_score() const {
    return {VARIABILITY_STATIC, Value(*this)};
}

int TaggedValue::compare_with(const Expression* other) const {
    const TaggedValue* v = other ? other->is_value() : nullptr;
    if (!v) return 1;
    if (v->tag() != tag()) return tag() - v->tag();
    return _compare_value_of_same_kind(v);
}

Value string_value(const std::string& s) {
    return Value::make<StringValue>(s);
}

namespace {

// The text of a string given away by the caller, moved into a shared payload.
CountedPtr<std::string> adopt(std::string* s) {
    const std::unique_ptr<std::string> owned(s);
    if (!owned) return nullptr;
    return make_counted<std::string>(std::move(*owned));
}

} // namespace

Value string_value(std::string* s) {
    return Value::make<StringValue>(adopt(s));
}

std::unique_ptr<TaggedValue> pstring_value(const std::string& s) {
    return std::make_unique<StringValue>(s);
}

std::unique_ptr<TaggedValue> pstring_value(std::string* s) {
    return std::make_unique<StringValue>(adopt(s));
}

std::unique_ptr<TaggedValue> pstring_value(const char* s) {
    return std::make_unique<StringValue>(std::string(s ? s : ""));
}

Value exe_value(unsigned long number) {
    if (number == 0) return Value::make<ExeValue>();
    return Value::make<ExeValue>(make_counted<Execution>(static_cast<std::uint32_t>(number), false));
}

Value tab_value(tab_t elements) {
    return Value::make<TabValue>(std::move(elements));
}

bool eval_bool(const Expression* e) {
    return e ? e->eval()->get_bool() : false;
}

long eval_int(const Expression* e) {
    return e ? e->eval()->get_int() : 0;
}

std::string show_text(const TaggedValue& v) {
    std::ostringstream out;
    v.show(out);
    return out.str();
}

const char* binop_to_string(int op) {
    static const char* const spelling[] = {
        "+", "-", "*", "/", "%", "<", "<=", "==", "!=", ">", ">=", "&&", "||"};
    if (op >= OP_PLUS && op <= OP_OR) return spelling[op];
    CAD_INTERNAL_ERROR(str_printf("binop %d", op));
    return "<Unknown Binop Operator>";
}

const char* monop_to_string(int op) {
    if (op == OP_NOT) return "!";
    if (op == OP_NEG) return "-";
    CAD_INTERNAL_ERROR(str_printf("monop %d", op));
    return "<Unknown Monop Operator>";
}
