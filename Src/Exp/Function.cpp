#include "Exp/Function.hpp"

#include "Exp/Environment.hpp"
#include "Exp/Reference.hpp"
#include "Base/Console.hpp"
#include "Exp/EvalContext.hpp"

#include <cassert>
#include <ostream>

FunctionDefinition::FunctionDefinition(const std::string& fname, int farity, GlobalEnvironment* genv,
                                       const yy::location* loc)
    : name(fname)
    , uid(Reference::unique_id(fname))
    , arity(farity)
    , env(genv)
    , location(loc) {
    if (env) registered = env->set_function(this);
}

FunctionDefinition::FunctionDefinition(const FunctionDefinition& other, bool)
    : ASTNode()
    , name(other.name)
    , uid(other.uid)
    , arity(other.arity)
    , is_pure(other.is_pure)
    , env(other.env)
    , location(other.location) {}

UserFunction::UserFunction(const std::string& fname, const std::vector<std::string>& params, ExpPtr fbody,
                           GlobalEnvironment* genv, const yy::location* loc)
    : FunctionDefinition(fname, static_cast<int>(params.size()), genv, loc)
    , parameters(params)
    , body(fbody ? fbody->adjust_parameter(this, params) : nullptr) {}

// The argument pointer is saved on the machine stack, so recursion works.
Value UserFunction::apply(const std::vector<Value>& args) const {
    if (static_cast<int>(args.size()) != arity) {
        error("Bad arguments number in function call %s (%d expected and %d provided) [baf1]", name.c_str(),
              arity, static_cast<int>(args.size()));
        return undef_value();
    }
    return traced ? traced_apply(args) : evaluate(args);
}

Value UserFunction::evaluate(const std::vector<Value>& args) const {
    if (!body) return undef_value();
    const std::vector<Value>* saved = current_args;
    current_args = &args;
    Value result = body->eval();
    current_args = saved;
    return result;
}

void UserFunction::show(std::ostream& out) const {
    out << (traced ? "TFUN (" : "FUN (");
    const char* separator = "";
    for (const std::string& p : parameters) {
        out << separator << p;
        separator = ", ";
    }
    out << ") ";
    if (body)
        body->show(out);
    else
        out << "<Null element>";
}

PartiallyAppliedFunction::PartiallyAppliedFunction(const FunctionDefinition* f,
                                                   const std::vector<Value>& bound)
    : FunctionDefinition((assert(f && "a closure needs a function"), *f), true)
    , fct(f)
    , args(static_cast<std::size_t>(std::max(f->nb_arg(), 0))) {
    add_args(bound);
}

PartiallyAppliedFunction::PartiallyAppliedFunction(const PartiallyAppliedFunction& other)
    : FunctionDefinition(other, true)
    , fct(other.fct)
    , args(other.args)
    , nb_bound(other.nb_bound) {}

void PartiallyAppliedFunction::add_args(const std::vector<Value>& more) {
    for (const Value& v : more) {
        if (nb_bound >= static_cast<int>(args.size())) return;
        args[static_cast<std::size_t>(nb_bound++)] = v;
    }
}

Value PartiallyAppliedFunction::apply(const std::vector<Value>& more) const {
    const int total = nb_bound + static_cast<int>(more.size());
    const int needed = fct ? fct->nb_arg() : 0;
    if (total > needed) {
        error("Too much argument provided to partially applied function %s", name.c_str());
        post_location("error in partial application, please report", location);
        return undef_value();
    }
    if (total == needed) {
        std::vector<Value> all(args.begin(), args.begin() + nb_bound);
        all.insert(all.end(), more.begin(), more.end());
        return fct->apply(all);
    }
    auto closure = make_counted<PartiallyAppliedFunction>(*this);
    closure->add_args(more);
    return Value::make<PafValue>(std::move(closure));
}

void PartiallyAppliedFunction::show(std::ostream& out) const {
    out << name << "(";
    for (int i = 0; i < nb_bound; ++i) {
        if (i) out << ", ";
        args[static_cast<std::size_t>(i)]->show(out);
    }
    out << ")";
}

ForwardFunction::ForwardFunction(const std::string& fname, GlobalEnvironment* genv, const yy::location* loc)
    : FunctionDefinition(fname, 0, nullptr, loc)
    , lookup_env(genv) {}

bool ForwardFunction::do_resolve() const {
    if (resolved) return true;
    const FunctionDefinition* found = lookup_env ? lookup_env->get_function(uid) : nullptr;
    if (!found || found == this) {
        error("Unknown function: %s", name.c_str());
        return false;
    }
    resolved = found;
    const_cast<ForwardFunction*>(this)->arity = found->arity;
    const_cast<ForwardFunction*>(this)->is_pure = found->is_pure;
    return true;
}

Value ForwardFunction::apply(const std::vector<Value>& args) const {
    if (!do_resolve()) return undef_value();
    return resolved->apply(args);
}

bool ForwardFunction::is_user_defined() const {
    return do_resolve() && resolved->is_user_defined();
}

int ForwardFunction::nb_arg() const {
    return do_resolve() ? resolved->nb_arg() : 0;
}

Value get_functional_value_from_name(EvalContext* ctx, const std::string& name, const yy::location* loc) {
    GlobalEnvironment* env = ctx ? ctx->global_env() : nullptr;
    if (!env) {
        CAD_INTERNAL_ERROR("no global environment for function " + name);
        return undef_value();
    }
    if (const FunctionDefinition* f = env->get_function(Reference::unique_id(name)))
        return Value::make<FctValue>(f);
    return Value::make<FctValue>(env->adopt_forward(new ForwardFunction(name, env, loc)));
}
