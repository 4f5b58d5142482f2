// Value files: lines "$name := value" in the score's notation, written with
// every digit a float needs to read back exactly. The reader takes what the
// writer writes (numbers, strings, symbols, booleans, undef, tabs, maps,
// imaps, function names) and refuses anything else at its place.
#pragma once

#include "Exp/Values.hpp"

#include <iosfwd>
#include <string>
#include <vector>

class GlobalEnvironment;

// Writes `v`; a value that has no written form (a nim, a closure, a process,
// an execution) is written as undef.
void write_value(std::ostream& out, const TaggedValue& v);

struct SavedAssignment {
    std::string name;
    Value value;
};

// The assignments of `text`, one per line; false, with `why` set, when the
// text is not a list of assignments. Function names are looked up in `env`.
bool read_assignments(const std::string& text, GlobalEnvironment* env, std::vector<SavedAssignment>& out,
                      std::string& why);

// The whole content of a file; false when it cannot be read.
bool read_file(const std::string& path, std::string& text);
