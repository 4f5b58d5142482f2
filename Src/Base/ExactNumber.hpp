// Numbers written with the fewest digits that read back to the same value:
// what a printed score needs to read back to the same tree.
#pragma once

#include <string>

// "1", "0.4", "0.33333334", "1e-07": the shortest text that a float parsed
// as a double then narrowed to float gives back exactly.
std::string exact_number(float value);
// The same for a double ("0.1", "0.30000000000000004").
std::string exact_number(double value);
