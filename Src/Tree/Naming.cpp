// Names of hidden objects and labels of actions.
#include "Tree/Action.hpp"

#include "Tree/Attributes.hpp"

#include <cstdio>

namespace {

const std::string ANONYMOUS = "__anonymous";
const std::string DOLLAR_ANONYMOUS = "$__anonymous";
constexpr size_t MAX_NAME = 127;

// Drops "__anonymous<n>_" (or its dollar form) from the front of a name.
std::string strip_anonymous_prefix(const std::string& name) {
    for (const std::string& prefix : {DOLLAR_ANONYMOUS, ANONYMOUS}) {
        if (name.compare(0, prefix.size(), prefix) != 0) continue;
        size_t i = prefix.size();
        while (i < name.size() && name[i] >= '0' && name[i] <= '9')
            ++i;
        if (i < name.size() && name[i] == '_') ++i;
        return name.substr(i);
    }
    return name;
}

} // namespace

std::string anonymous_name(BuildContext* ctx, const std::string& name, bool dollar) {
    const int number = ctx ? ++ctx->anonymous_count : 0;
    const std::string& prefix = dollar ? DOLLAR_ANONYMOUS : ANONYMOUS;
    std::string out = prefix + std::to_string(number) + "_" + strip_anonymous_prefix(name);
    if (out.size() > MAX_NAME) out.resize(MAX_NAME);
    return out;
}

bool is_an_anonymous_name(const std::string& name) {
    return name.compare(0, ANONYMOUS.size(), ANONYMOUS) == 0 ||
           name.compare(0, DOLLAR_ANONYMOUS.size(), DOLLAR_ANONYMOUS) == 0;
}

std::string make_label(BuildContext* ctx, const std::string& name, const AttributeList& attributes,
                       const std::string& base) {
    if (!name.empty()) return name;
    if (const std::string* label = get_label(attributes)) return *label;
    return anonymous_name(ctx, base, false);
}
