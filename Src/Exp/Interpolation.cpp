#include "Exp/Interpolation.hpp"

#include "Exp/Values.hpp"
#include "Base/Console.hpp"

#include <map>
#include <vector>

namespace {

// Names by type: the first is the one printed.
const std::vector<std::vector<const char*>>& names_by_type() {
    static const std::vector<std::vector<const char*>> names = {
        {},
        {"linear", "linear_in", "linear_out", "linear_in_out"},
        {"back", "back_in"},
        {"back_out"},
        {"back_in_out"},
        {"bounce", "bounce_in"},
        {"bounce_out"},
        {"bounce_in_out"},
        {"cubic", "cubic_in"},
        {"cubic_out"},
        {"cubic_in_out"},
        {"circ", "circ_in"},
        {"circ_out"},
        {"circ_in_out"},
        {"elastic", "elastic_in"},
        {"elastic_out"},
        {"elastic_in_out"},
        {"exp", "exp_in"},
        {"exp_out"},
        {"exp_in_out"},
        {"quad", "quad_in"},
        {"quad_out"},
        {"quad_in_out"},
        {"quart", "quart_in"},
        {"quart_out"},
        {"quart_in_out"},
        {"quint", "quint_in"},
        {"quint_out"},
        {"quint_in_out"},
        {"sine", "sine_in"},
        {"sine_out"},
        {"sine_in_out"},
        {"poly"},
    };
    return names;
}

// InitializeInterpolTable: the map from name to type, built at first use.
const std::map<std::string, interpolate_type>& _interpol_type() {
    static const std::map<std::string, interpolate_type> table = [] {
        std::map<std::string, interpolate_type> t;
        const auto& names = names_by_type();
        for (size_t type = 1; type < names.size(); ++type)
            for (const char* name : names[type])
                t[name] = static_cast<interpolate_type>(type);
        return t;
    }();
    return table;
}

interpolate_type lookup(const std::string& name) {
    auto it = _interpol_type().find(name);
    return it == _interpol_type().end() ? INTERPOLATE_NONE : it->second;
}

} // namespace

interpolate_type to_interpol(const std::string& name) {
    const interpolate_type type = lookup(name);
    if (type == INTERPOLATE_NONE) error("Bad interpolation type '%s' [it2]", name.c_str());
    return type;
}

interpolate_type to_interpol(const TaggedValue& v) {
    if (v.is_string_or_symb()) return to_interpol(v.get_string());
    error("Bad interpolation type '%s' [it1]", show_text(v).c_str());
    return INTERPOLATE_NONE;
}

interpolate_type check_static_interpol_type(const std::string* name) {
    if (!name) return INTERPOLATE_LINEAR;
    if (name->empty()) {
        error("Bad interpolation type [it3]");
        return INTERPOLATE_LINEAR;
    }
    const interpolate_type type = lookup(*name);
    if (type != INTERPOLATE_NONE) return type;
    error("Bad interpolation type '%s' [it4]", name->c_str());
    return INTERPOLATE_LINEAR;
}

std::string interpol_to_str(interpolate_type type) {
    const auto& names = names_by_type();
    if (type <= 0 || static_cast<size_t>(type) >= names.size())
        return "<Error: Unknown interpolation type (" + std::to_string(static_cast<int>(type)) + ")>";
    return names[static_cast<size_t>(type)].front();
}

std::string interpol_to_pr_str(interpolate_type type) {
    return "\"" + interpol_to_str(type) + "\"";
}
