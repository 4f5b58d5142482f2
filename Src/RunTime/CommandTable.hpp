// The engine's commands by name. A score's "cadenzium::name args" action, a
// patch's message, the editor's OSC command port and the program's standard
// input all reach the same table, so that every command exists everywhere
// under one name.
//
// Each entry knows what its operation takes (its kind). The caller's values
// (numbers and texts, as each source has them) are read here for that kind;
// when they do not fit, the caller is told which rule they broke and says it
// in its own words.
#pragma once

#include "Exp/Values.hpp"

#include <functional>
#include <map>
#include <string>
#include <vector>

class cadenzium_core;

// What a command's operation takes.
enum command_kind : int {
    CMD_NONE = 0,
    CMD_INT = 1,
    CMD_DOUBLE = 2,
    CMD_STRING = 3,
    CMD_TWO_STRINGS = 4,
    CMD_DOUBLE_INT = 5,
    CMD_THREE_INTS = 6,
    CMD_DOUBLES = 7,
    CMD_TWO_INTS = 8,
    CMD_STRING_VALUE = 9,
};

// The arguments once read for the kind.
struct CommandArgs {
    std::vector<long> ints;
    std::vector<double> doubles;
    std::vector<std::string> strings;
    Value value;
};

// Which rule the given values broke.
enum class ArgumentProblem {
    None,
    ExpectsInts,       // an int where a number was due (kinds 1, 6, 8)
    ExpectsFirstFloat, // kinds 2 and 5
    ExpectsSecondInt,  // kind 5
    ExpectsFloats,     // kind 7
    ExpectsStrings,    // kinds 3 and 4
    Other,             // kind 9
};

struct internal_function {
    command_kind kind = CMD_NONE;
    std::function<void(cadenzium_core&, const CommandArgs&)> method;
    // A string command that may also come bare ("start" alone).
    bool optional_string = false;
};

// Reads `values` for `kind`. Extra values are ignored. Ints serve where
// floats are due and the other way round (truncated); a tab gives its
// elements for a list of floats.
ArgumentProblem read_command_args(command_kind kind, bool optional_string, const std::vector<Value>& values,
                                  CommandArgs& out);

// What was expected, for a host's report ("expects ints as arguments").
const char* expected_arguments(ArgumentProblem problem);

class CommandTable {
public:
    using Method = std::function<void(cadenzium_core&, const CommandArgs&)>;

    void add(const std::string& name, command_kind kind, Method method, bool optional_string = false);

    // One line per operation of the engine: the kind follows from its
    // parameters, a result is dropped.
    template <class R>
    void add(const std::string& name, R (cadenzium_core::*m)()) {
        add(name, CMD_NONE, [m](cadenzium_core& c, const CommandArgs&) { (c.*m)(); });
    }
    template <class R>
    void add(const std::string& name, R (cadenzium_core::*m)(int)) {
        add(name, CMD_INT,
            [m](cadenzium_core& c, const CommandArgs& a) { (c.*m)(static_cast<int>(a.ints[0])); });
    }
    template <class R>
    void add(const std::string& name, R (cadenzium_core::*m)(double)) {
        add(name, CMD_DOUBLE, [m](cadenzium_core& c, const CommandArgs& a) { (c.*m)(a.doubles[0]); });
    }
    template <class R>
    void add(const std::string& name, R (cadenzium_core::*m)(const std::string&)) {
        add(name, CMD_STRING, [m](cadenzium_core& c, const CommandArgs& a) { (c.*m)(a.strings[0]); });
    }
    template <class R>
    void add(const std::string& name, R (cadenzium_core::*m)(const std::string&, const std::string&)) {
        add(name, CMD_TWO_STRINGS,
            [m](cadenzium_core& c, const CommandArgs& a) { (c.*m)(a.strings[0], a.strings[1]); });
    }
    template <class R>
    void add(const std::string& name, R (cadenzium_core::*m)(int, int)) {
        add(name, CMD_TWO_INTS, [m](cadenzium_core& c, const CommandArgs& a) {
            (c.*m)(static_cast<int>(a.ints[0]), static_cast<int>(a.ints[1]));
        });
    }
    template <class R>
    void add(const std::string& name, R (cadenzium_core::*m)(const std::vector<double>&)) {
        add(name, CMD_DOUBLES, [m](cadenzium_core& c, const CommandArgs& a) { (c.*m)(a.doubles); });
    }
    template <class R>
    void add(const std::string& name, R (cadenzium_core::*m)(const std::string&, const TaggedValue&)) {
        add(name, CMD_STRING_VALUE,
            [m](cadenzium_core& c, const CommandArgs& a) { (c.*m)(a.strings[0], *a.value); });
    }

    // Null when there is no command of that name.
    const internal_function* find(const std::string& name) const;
    // The names, in order.
    std::vector<std::string> names() const;

private:
    std::map<std::string, internal_function> table;
};
