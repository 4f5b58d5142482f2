// The kinds of values. A value's kind is read from the low half-word of its
// dispatch pointer (its "tag"), so a kind test is one load and one compare.
// Each value class has one `Kind`; the registry checks at start-up that the
// fourteen tags differ.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <map>
#include <string>

class Kind {
public:
    using tag_t = std::int16_t;

    // The static description of a value class; its tag is filled in by `_init_`.
    constexpr Kind(const char* kind_name, int kind_rank)
        : name(kind_name)
        , rank(kind_rank) {}
    // A kind entered in the registry at once, with a known tag.
    Kind(const char* kind_name, tag_t kind_tag);

    tag_t tag = 0;
    const char* name;
    int rank;                    // number of kinds registered once this one is in
    std::uintptr_t dispatch = 0; // the full dispatch pointer, for `listing`

    // Builds the registry once: takes every value class's tag and checks that
    // they are distinct. Safe to call many times.
    static void _init_();

    static const char* look(tag_t tag);
    static const char* look(const Kind& kind) { return look(kind.tag); }
    // Tag of a kind name, 0 when unknown.
    static tag_t look(const std::string& kind_name);
    static void listing(std::ostream& out);
    static const std::map<tag_t, const Kind*>& registry();

private:
    static void enter(Kind* kind);
};
