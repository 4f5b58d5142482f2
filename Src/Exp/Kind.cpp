#include "Exp/Kind.hpp"

#include "Exp/Values.hpp"
#include "Base/Console.hpp"

#include <cstring>
#include <iomanip>
#include <ostream>
#include <sstream>

// The static descriptions are constant-initialised, so they exist before any
// dynamic initialisation; `_init_` only adds the tags.
constinit Kind UndefValue::KIND{"undef", 1};
constinit Kind BoolValue::KIND{"bool", 2};
constinit Kind StringValue::KIND{"string", 3};
constinit Kind SymbValue::KIND{"symbol", 4};
constinit Kind IntValue::KIND{"int", 5};
constinit Kind FloatValue::KIND{"float", 6};
constinit Kind FctValue::KIND{"funct", 7};
constinit Kind TabValue::KIND{"tab", 8};
constinit Kind MapValue::KIND{"map", 9};
constinit Kind InterpolatedMapValue::KIND{"imap", 10};
constinit Kind NimValue::KIND{"nim", 11};
constinit Kind PafValue::KIND{"paf", 12};
constinit Kind ProcValue::KIND{"proc", 13};
constinit Kind ExeValue::KIND{"exe", 14};

namespace {

std::map<Kind::tag_t, const Kind*>& kinds() {
    // Never destroyed: values may be used by static destructors.
    static auto* table = new std::map<Kind::tag_t, const Kind*>;
    return *table;
}

template <class V>
void register_kind() {
    const V sample;
    std::uintptr_t dispatch = 0;
    std::memcpy(&dispatch, static_cast<const void*>(&sample), sizeof dispatch);
    V::KIND.tag = sample.tag();
    V::KIND.dispatch = dispatch;
}

std::string info_text() {
    std::ostringstream out;
    TaggedValue::info_size(out);
    return out.str();
}

} // namespace

Kind::Kind(const char* kind_name, tag_t kind_tag)
    : tag(kind_tag)
    , name(kind_name)
    , rank(0) {
    enter(this);
}

void Kind::enter(Kind* kind) {
    auto& table = kinds();
    if (table.count(kind->tag)) {
        error_text("ERROR: auto_tag feature does not produce distinct tag for values");
        error_text("ERROR: please report (architecture and environment and compiler)");
        error_text("ERROR: must abort");
        error_text(info_text());
        CAD_INTERNAL_ERROR(std::string("duplicate kind tag for ") + kind->name);
    }
    table[kind->tag] = kind;
    kind->rank = static_cast<int>(table.size());
}

void Kind::_init_() {
    static bool started = false;
    if (started) return;
    started = true;
    register_kind<UndefValue>();
    register_kind<BoolValue>();
    register_kind<StringValue>();
    register_kind<SymbValue>();
    register_kind<IntValue>();
    register_kind<FloatValue>();
    register_kind<FctValue>();
    register_kind<TabValue>();
    register_kind<MapValue>();
    register_kind<InterpolatedMapValue>();
    register_kind<NimValue>();
    register_kind<PafValue>();
    register_kind<ProcValue>();
    register_kind<ExeValue>();
    for (Kind* k :
         {&UndefValue::KIND, &BoolValue::KIND, &StringValue::KIND, &SymbValue::KIND, &IntValue::KIND,
          &FloatValue::KIND, &FctValue::KIND, &TabValue::KIND, &MapValue::KIND, &InterpolatedMapValue::KIND,
          &NimValue::KIND, &PafValue::KIND, &ProcValue::KIND, &ExeValue::KIND})
        enter(k);
}

const std::map<Kind::tag_t, const Kind*>& Kind::registry() {
    _init_();
    return kinds();
}

const char* Kind::look(tag_t tag) {
    const auto& table = registry();
    const auto it = table.find(tag);
    return it == table.end() ? "<unknown kind>" : it->second->name;
}

Kind::tag_t Kind::look(const std::string& kind_name) {
    for (const auto& [tag, kind] : registry())
        if (kind_name == kind->name) return tag;
    return 0;
}

void Kind::listing(std::ostream& out) {
    const auto& table = registry();
    const std::string dashes(62, '-');
    out << "Kind List (" << table.size() << " kind, auto_tag in " << 4 << " shorts):\n" << dashes << '\n';
    for (const auto& [tag, kind] : table) {
        out << "   Kind " << tag << " is " << std::left << std::setw(7) << kind->name << std::right
            << " (rank " << kind->rank << ")" << (kind->rank < 10 ? " " : "");
        for (int part = 0; part < 4; ++part)
            out << " tag " << part + 1 << ": " << ((kind->dispatch >> (16 * part)) & 0xFFFF);
        out << '\n';
    }
    out << dashes << '\n';
}

void TaggedValue::info_size(std::ostream& out) {
    out << "sizeof Value: " << sizeof(Value) << '\n'
        << "sizeof UndefValue: " << sizeof(UndefValue) << '\n'
        << "sizeof BoolValue: " << sizeof(BoolValue) << '\n'
        << "sizeof StringValue: " << sizeof(StringValue) << '\n'
        << "sizeof SymbValue: " << sizeof(SymbValue) << '\n'
        << "sizeof IntValue: " << sizeof(IntValue) << '\n'
        << "sizeof FloatValue: " << sizeof(FloatValue) << '\n'
        << "sizeof FctValue: " << sizeof(FctValue) << '\n'
        << "sizeof TabValue: " << sizeof(TabValue) << '\n'
        << "sizeof MapValue: " << sizeof(MapValue) << '\n'
        << "sizeof InterpolatedMapValue: " << sizeof(InterpolatedMapValue) << '\n'
        << "sizeof NimValue: " << sizeof(NimValue) << '\n'
        << "sizeof PafValue: " << sizeof(PafValue) << '\n'
        << "sizeof ProcValue: " << sizeof(ProcValue) << '\n'
        << "sizeof ExeValue: " << sizeof(ExeValue) << '\n';
    Kind::listing(out);
}

Initialisation_of_Expression::Initialisation_of_Expression(const char*) {
    Kind::_init_();
}
