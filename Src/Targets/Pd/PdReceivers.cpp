#include "PdReceivers.hpp"

namespace pd {
#include <g_canvas.h>
}

#include <algorithm>

namespace {

bool is_canvas(pd::t_gobj* g) {
    return std::string(pd::class_getname(*reinterpret_cast<t_pd*>(g))) == "canvas";
}

// The name of a [receive NAME] or [r NAME] box; empty for any other box.
std::string received_name(pd::t_gobj* g) {
    t_object* ob = pd::pd_checkobject(reinterpret_cast<t_pd*>(g));
    if (!ob || ob->te_type != T_OBJECT || !ob->te_binbuf) return {};
    const int n = pd::binbuf_getnatom(ob->te_binbuf);
    const t_atom* v = pd::binbuf_getvec(ob->te_binbuf);
    if (n < 2 || v[0].a_type != A_SYMBOL || v[1].a_type != A_SYMBOL) return {};
    const std::string head = v[0].a_w.w_symbol->s_name;
    return head == "r" || head == "receive" ? v[1].a_w.w_symbol->s_name : std::string();
}

void collect(_glist* canvas, std::vector<std::string>& names) {
    for (pd::t_gobj* g = canvas->gl_list; g; g = g->g_next) {
        if (is_canvas(g)) {
            collect(reinterpret_cast<_glist*>(g), names);
            continue;
        }
        const std::string name = received_name(g);
        if (!name.empty() && std::find(names.begin(), names.end(), name) == names.end())
            names.push_back(name);
    }
}

} // namespace

std::vector<std::string> patch_receivers(_glist* canvas) {
    std::vector<std::string> names;
    if (!canvas) return names;
    while (canvas->gl_owner)
        canvas = canvas->gl_owner;
    collect(canvas, names);
    return names;
}
