#include "PdMessages.hpp"

#include "Base/Console.hpp"
#include "RunTime/Environment_RunTime.hpp"
#include "Tree/Action.hpp"

namespace {

void append(PdMessage& out, const TaggedValue& v) {
    if (v.is_numeric()) {
        out.values.emplace_back(v.get_double());
    } else if (v.is_string_or_symb()) {
        out.values.emplace_back(v.get_string());
    } else if (v.is_tab()) {
        for (const Value& e : *value_cast<TabValue>(v).val)
            append(out, *e);
    } else {
        out.values.emplace_back(show_text(v));
    }
}

std::vector<t_atom> atoms_of(const PdMessage& m) {
    std::vector<t_atom> atoms(m.values.size());
    for (std::size_t i = 0; i < m.values.size(); ++i) {
        if (const double* d = std::get_if<double>(&m.values[i]))
            SETFLOAT(&atoms[i], static_cast<t_float>(*d));
        else
            SETSYMBOL(&atoms[i], gensym(std::get<std::string>(m.values[i]).c_str()));
    }
    return atoms;
}

} // namespace

PdMessage plain_message(const message& m) {
    PdMessage out{m.receiver, {}, place_of(m.source ? m.source->location.get() : nullptr)};
    out.values.reserve(m.values.size());
    for (const Value& v : m.values)
        append(out, *v);
    return out;
}

std::string place_of(const yy::location* loc) {
    if (!loc) return "(at unknown location)";
    const yy::position& b = loc->begin;
    const yy::position& e = loc->end;
    if (b.line == e.line) return str_printf("on line %d, chars %d-%d", b.line, b.column, e.column);
    return str_printf("from line %d to line %d", b.line, e.line);
}

void forward_to_receiver(const PdMessage& m) {
    t_pd* thing = gensym(m.receiver.c_str())->s_thing;
    if (!thing) {
        error("Cadenzium~ - Unable to forward to non-existing \"%s\" %s. Check your patch variables.",
              m.receiver.c_str(), m.place.c_str());
        return;
    }
    std::vector<t_atom> atoms = atoms_of(m);
    const int n = static_cast<int>(atoms.size());
    if (n == 0)
        pd_bang(thing);
    else if (atoms[0].a_type == A_SYMBOL)
        typedmess(thing, atoms[0].a_w.w_symbol, n - 1, atoms.data() + 1);
    else if (n == 1)
        pd_float(thing, atoms[0].a_w.w_float);
    else
        pd_list(thing, &s_list, n, atoms.data());
}
