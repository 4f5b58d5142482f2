#include "Tree/Attributes.hpp"

namespace {

template <class T>
const T* first_of(const AttributeList* attributes) {
    if (!attributes) return nullptr;
    for (const Attribute* a : *attributes)
        if (auto* found = dynamic_cast<const T*>(a)) return found;
    return nullptr;
}

} // namespace

void LabelAttribute::show(std::ostream& out) const { out << keyword() << ' ' << label; }

void JumpAttribute::show(std::ostream& out) const {
    out << keyword() << ' ';
    if (!jump.variable.empty()) {
        out << jump.variable;
        return;
    }
    for (size_t i = 0; i < jump.labels.size(); ++i) out << (i ? ", " : "") << jump.labels[i];
}

const std::string* get_label(const AttributeList* attributes) {
    const LabelAttribute* a = first_of<LabelAttribute>(attributes);
    return a ? &a->label : nullptr;
}

bool get_hook(const AttributeList* attributes) { return first_of<HookAttribute>(attributes); }
bool get_pizz(const AttributeList* attributes) { return first_of<PizzAttribute>(attributes); }
bool get_staccato(const AttributeList* attributes) { return first_of<StaccatoAttribute>(attributes); }
bool get_fermata(const AttributeList* attributes) { return first_of<FermataAttribute>(attributes); }

const JumpSpec* get_jump(const AttributeList* attributes) {
    const JumpAttribute* a = first_of<JumpAttribute>(attributes);
    return a ? &a->jump : nullptr;
}

void delete_attributes(AttributeList* attributes) {
    if (!attributes) return;
    for (Attribute* a : *attributes) delete a;
    delete attributes;
}
