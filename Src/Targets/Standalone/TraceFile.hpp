// Where a trace goes: a file, or standard output for "-".
#pragma once

#include <fstream>
#include <ostream>
#include <string>

struct TraceTarget {
    std::ostream* stream = nullptr;
    std::ofstream file;
};

// Opens `path` ("-": standard output; empty: no trace). False, reported,
// when the file cannot be written.
bool open_trace(const std::string& path, TraceTarget& target);
