// The kinds of values. Each value class has one constant `Kind`, whose tag
// is fixed: the kind's rank, from 1 (undef) to 14 (exe). Every value stores
// its tag, so a kind test is one load and one compare with a constant, and a
// dispatch on kinds can be a switch. The same numbers on every compiler and
// machine also give the order between values of different kinds.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <span>
#include <string>

class Kind {
public:
    // One byte: a value's tag is written by one byte store and tested against
    // an immediate.
    using tag_t = std::uint8_t;
    static constexpr int count = 14;

    constexpr Kind(const char* kind_name, tag_t kind_tag)
        : tag(kind_tag)
        , name(kind_name)
        , rank(kind_tag) {}

    tag_t tag;
    const char* name;
    int rank; // the place in the order between kinds, equal to the tag

    // The kind of a valid tag.
    static const Kind& of(tag_t tag) noexcept;
    // Name of a tag, "<unknown kind>" when no kind has it.
    static const char* look(tag_t tag);
    static const char* look(const Kind& kind) { return look(kind.tag); }
    // Tag of a kind name, 0 when unknown.
    static tag_t look(const std::string& kind_name);
    static void listing(std::ostream& out);
    // The fourteen kinds in rank order.
    static std::span<const Kind* const> registry() noexcept;
};
