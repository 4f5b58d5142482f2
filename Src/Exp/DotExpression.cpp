#include "Exp/DotExpression.hpp"

#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/EvalContext.hpp"

#include <ostream>

DotExpression::DotExpression(EvalContext* engine, ExpPtr l, std::unique_ptr<Var> var, const yy::location* loc)
    : Var(engine, var->name, loc)
    , left(std::move(l)) {
    dynamic = true;
}

DotExpression::DotExpression(const DotExpression& other)
    : Var(other)
    , left(other.left->clone()) {}

bool DotExpression::alive(unsigned long& exe) const {
    Value v = left->eval();
    if (!v->is_exe()) {
        error("Bad argument in dot expression: left hand side is not a proc");
        error("Got: %s", show_text(v).c_str());
        report_location("", location);
        return false;
    }
    exe = value_cast<ExeValue>(*v).number();
    return v->get_bool();
}

// The variable in the environments of the running instance, found by name
// from the innermost one.
var_management* DotExpression::vm_in_scope(const char* mode) const {
    unsigned long exe = 0;
    if (!alive(exe)) return nullptr;
    Environment* env = ctx ? ctx->exe_environment(exe, uid) : nullptr;
    var_management* vm = env ? env->get_vm(uid) : nullptr;
    if (!vm)
        error("Local variable '%s' not found in the context of processus '%lu (%s)", name.c_str(), exe, mode);
    return vm;
}

Value DotExpression::eval() const {
    var_management* vm = vm_in_scope("read");
    if (!vm || !vm->initialised()) return undef_value();
    return vm->newest();
}

void DotExpression::set_var(const TaggedValue& v) const {
    var_management* vm = vm_in_scope("write");
    if (!vm) return;
    vm->env->set_var(vm->index, v);
}

ExpPtr DotExpression::adjust_parameter(const UserFunction* f,
                                       const std::vector<std::string>& parameters) const {
    auto copy = std::make_unique<DotExpression>(*this);
    copy->left = left->adjust_parameter(f, parameters);
    return copy;
}

void DotExpression::show(std::ostream& out, int) const {
    left->show(out, 100);
    out << '.' << name;
}

int DotExpression::etag() const {
    static const int tag = new_etag();
    return tag;
}

int DotExpression::compare_with(const Expression* other) const {
    const auto* o = static_cast<const DotExpression*>(other);
    if (name != o->name) return name < o->name ? -1 : 1;
    return compare_nodes(left.get(), o->left.get());
}

Value DspVar::eval() const {
    return ctx ? ctx->dsp_read(name, location) : undef_value();
}

void DspVar::set_var(const TaggedValue& v) const {
    if (ctx) ctx->dsp_write(name, v, location);
}

int DspVar::etag() const {
    static const int tag = new_etag();
    return tag;
}
