// Firing assignments: a variable, a parameter of a tempo variable, a
// variable of a running group, an element of a tab.
#include "RunTime/Firing.hpp"

#include "Exp/Environment.hpp"
#include "Exp/Reference.hpp"
#include "Exp/ValueKinds.hpp"
#include "Exp/Values.hpp"
#include "RunTime/Runtime.hpp"
#include "Exp/Var.hpp"
#include "RunTime/CadTimer.hpp"
#include "Base/Console.hpp"
#include "Tree/Assignments.hpp"

#include <cmath>
#include <sstream>

void Firing::visit(AssignmentAction& a) {
    if (!runs(a) || !condition_holds(a)) return;
    const Value v = a.value->eval();
    if (a.target) a.target->set_var(v);
}

void Firing::visit(VarParamAssignmentAction& a) {
    if (!runs(a) || !condition_holds(a)) return;
    a.target->set_var(a.value->eval());
}

// Declarations take effect when their group starts: nothing to fire.
void Firing::visit(ActionDeclaration&) {}

void Firing::visit(LocalAssignment& a) {
    if (!runs(a) || !condition_holds(a)) return;
    const Value obj = a.object->eval();
    if (!obj->is_exe()) {
        error("Local Assignment '%s' does not refer to a bloc (got a %s)", a.field.c_str(), obj->kind_name());
        ::post_location("Local assignment: bad lhs", a.location.get());
        return;
    }
    const auto id = value_cast<ExeValue>(*obj).number();
    CadTimer* timer = rt.find_exe(id);
    if (!timer) {
        ::post_location("Warning: local assignment to a vanished block", a.location.get());
        return;
    }
    const unique_identifier uid = Reference::unique_id(a.field);
    for (auto it = timer->stack.rbegin(); it != timer->stack.rend(); ++it) {
        if (!(*it)->is_defined_var(uid)) continue;
        (*it)->set_var(uid, a.value->eval());
        return;
    }
    error("Local variable '%s' not found in the context of processus %d (write)", a.field.c_str(),
          static_cast<int>(id));
    ::post_location("Local assignment: bad local var", a.location.get());
}

namespace {

// The position that index `v` names in a tab of `size` elements, or -1
// after a report. A position beyond the end grows the tab.
long tab_position(const TaggedValue& v, std::size_t size, bool last) {
    if (!v.is_numeric()) {
        error("Index in array assignement must be a numeric.");
        return -1;
    }
    const double x = v.get_double();
    const long i = static_cast<long>(x);
    if (v.is_double() && std::fabs(x - static_cast<double>(i)) > 0.0001)
        error("Warning: float used as a tab index and its value is not an integer by more than E-4");
    if (i < 0) {
        error("Negative index in array assignment (%d)", static_cast<int>(i));
        return -1;
    }
    if (static_cast<std::size_t>(i) >= size)
        error(last ? "Implicit array resizing in final array assignment (index = %d, size = %d)"
                   : "Implicit array resizing in array assignment (index = %d, size = %d)",
              static_cast<int>(i), static_cast<int>(size));
    return i;
}

// The element of `tab` at `position`, the tab grown to hold it.
Value& element(tab_t& tab, long position) {
    if (static_cast<std::size_t>(position) >= tab.size()) tab.resize(static_cast<std::size_t>(position) + 1);
    return tab[static_cast<std::size_t>(position)];
}

} // namespace

// The tab is shared with the variable's history: it is changed in place,
// and the variable is then assigned it again, so that its observers run.
void Firing::visit(TabAssignment& a) {
    if (!runs(a) || !condition_holds(a)) return;
    const Value root = a.tab->eval();
    Value current = root;
    for (std::size_t level = 0; level < a.indices.size(); ++level) {
        if (!current->is_tab()) {
            error("TabAssignement: left handside is not an array (got a %s).", current->kind_name());
            a.post_location();
            std::ostringstream text;
            a.tab->show(text);
            error("error evaluating '%s'", text.str().c_str());
            return;
        }
        tab_t& elements = *value_cast<TabValue>(*current).val;
        const bool last = level + 1 == a.indices.size();
        const long position = tab_position(*a.indices[level]->eval(), elements.size(), last);
        if (position < 0) return;
        if (last) {
            element(elements, position) = a.value->eval();
            break;
        }
        current = element(elements, position);
    }
    if (const Var* var = a.tab->is_a_variable()) var->set_var(root);
}
