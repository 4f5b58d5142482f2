#include "Exp/Library.hpp"

#include "Base/Console.hpp"
#include "Exp/Environment.hpp"
#include "Exp/LibraryInstall.hpp"

#include <cassert>
#include <cmath>
#include <cstdint>

LibraryFunction::LibraryFunction(const std::string& fname, int farity, LibraryBody fbody,
                                 GlobalEnvironment* genv, bool pure)
    : PredefinedFunction(fname, farity, genv)
    , body(fbody)
    , most(farity) {
    assert(body && "a library function needs a body");
    is_pure = pure;
}

Value LibraryFunction::apply(const std::vector<Value>& args) const {
    assert(env && "library functions live in a global environment");
    return body(LibraryCall{*this, args, *env});
}

LibraryState& library_of(GlobalEnvironment& env) {
    return env.library();
}

bool count_in(const LibraryCall& call, int least, int most, const char* format) {
    if (call.count() >= least && call.count() <= most) return true;
    error(format, call.name(), call.count());
    return false;
}

bool fail_kind(const LibraryCall& call, std::size_t i, const char* format) {
    error(format, call.name(), call[i].kind_name());
    return false;
}

const tab_t& tab_of(const TaggedValue& v) {
    static const tab_t empty;
    const auto& t = value_cast<TabValue>(v);
    return t.val ? *t.val : empty;
}

map_t& map_of(const TaggedValue& v) {
    const auto& m = value_cast<MapValue>(v);
    assert(m.val && "a map value always holds a map");
    return *m.val;
}

imap_t& imap_of(const TaggedValue& v) {
    const auto& m = value_cast<InterpolatedMapValue>(v);
    assert(m.val && "an imap value always holds a map");
    return *m.val;
}

Value make_tab(tab_t elements) {
    return tab_value(std::move(elements));
}

Value make_map(map_t entries) {
    return Value::make<MapValue>(make_counted<map_t>(std::move(entries)));
}

bool whole_number(const TaggedValue& v, long& out) {
    if (v.is_int()) {
        out = v.get_int();
        return true;
    }
    if (!v.is_double()) return false;
    const double x = v.get_double();
    if (!std::isfinite(x) || x != std::trunc(x) || x < INT32_MIN || x > INT32_MAX) return false;
    out = static_cast<long>(x);
    return true;
}

Value call_value(const TaggedValue& f, const std::vector<Value>& args) {
    if (f.is_fct()) {
        const FunctionDefinition* def = f.get_fct();
        return def ? def->apply(args) : undef_value();
    }
    return f.apply(args);
}

bool truth(const Value& v) {
    return v->get_bool();
}

void install_predefined_function(GlobalEnvironment* env) {
    assert(env && "functions are installed in a global environment");
    install_scalar_functions(*env);
    install_kind_functions(*env);
    install_tracing_functions(*env);
    install_predefined_tab_function(*env);
    install_tab_search_functions(*env);
    install_tab_order_functions(*env);
    install_tab_shape_functions(*env);
    install_predefined_random_function(*env);
    install_system_function(*env);
    install_predefined_map_function(*env);
    install_imap_functions(*env);
}
