// The registry of the fourteen kinds: their constant descriptions in rank
// order, looked up by tag or by name, and the listing printed for diagnosis.
#include "Exp/Kind.hpp"

#include "Exp/Values.hpp"

#include <array>
#include <cassert>
#include <iomanip>
#include <ostream>

namespace {

struct KindEntry {
    const Kind* kind;
    const char* class_name;
    std::size_t bytes;
};

template <class V>
constexpr KindEntry entry(const char* class_name) {
    return {&V::KIND, class_name, sizeof(V)};
}

constexpr std::array<KindEntry, Kind::count> entries = {
    entry<UndefValue>("UndefValue"),   entry<BoolValue>("BoolValue"),
    entry<StringValue>("StringValue"), entry<SymbValue>("SymbValue"),
    entry<IntValue>("IntValue"),       entry<FloatValue>("FloatValue"),
    entry<FctValue>("FctValue"),       entry<TabValue>("TabValue"),
    entry<MapValue>("MapValue"),       entry<InterpolatedMapValue>("InterpolatedMapValue"),
    entry<NimValue>("NimValue"),       entry<PafValue>("PafValue"),
    entry<ProcValue>("ProcValue"),     entry<ExeValue>("ExeValue"),
};

constexpr bool tags_are_ranks() {
    for (std::size_t i = 0; i < entries.size(); ++i)
        if (entries[i].kind->tag != static_cast<Kind::tag_t>(i + 1) ||
            entries[i].kind->rank != static_cast<int>(i + 1))
            return false;
    return true;
}
static_assert(tags_are_ranks(), "the kinds are listed by rank and each tag is its rank");

constexpr std::array<const Kind*, Kind::count> kinds_by_rank() {
    std::array<const Kind*, Kind::count> kinds{};
    for (std::size_t i = 0; i < entries.size(); ++i)
        kinds[i] = entries[i].kind;
    return kinds;
}
constexpr std::array<const Kind*, Kind::count> kinds = kinds_by_rank();

bool valid(Kind::tag_t tag) {
    return tag >= 1 && tag <= Kind::count;
}

} // namespace

std::span<const Kind* const> Kind::registry() noexcept {
    return kinds;
}

const Kind& Kind::of(tag_t tag) noexcept {
    assert(valid(tag) && "a value carries the tag of one of the fourteen kinds");
    return *kinds[static_cast<std::size_t>(tag - 1)];
}

const char* Kind::look(tag_t tag) {
    return valid(tag) ? of(tag).name : "<unknown kind>";
}

Kind::tag_t Kind::look(const std::string& kind_name) {
    for (const Kind* kind : kinds)
        if (kind_name == kind->name) return kind->tag;
    return 0;
}

void Kind::listing(std::ostream& out) {
    const std::string dashes(62, '-');
    out << "Kind List (" << count << " kinds, tag = rank, stored in each value):\n" << dashes << '\n';
    for (const KindEntry& e : entries)
        out << "   Kind " << std::setw(2) << static_cast<int>(e.kind->tag) << " is " << std::left
            << std::setw(7) << e.kind->name << " class " << std::setw(21) << e.class_name << std::right
            << std::setw(3) << e.bytes << " bytes\n";
    out << dashes << '\n';
}

void TaggedValue::info_size(std::ostream& out) {
    out << "sizeof Value: " << sizeof(Value) << '\n';
    Kind::listing(out);
}
