// What the predefined functions of the library share: a function made of a
// name, a least arity and a plain body; the state the library keeps per
// engine (random source, trace depth, helper threads); and small helpers to
// check arguments and to call function values.
#pragma once

#include "Exp/Function.hpp"
#include "Exp/HelperJobs.hpp"
#include "Exp/ValueKinds.hpp"

#include <cstdint>
#include <random>
#include <string>
#include <vector>

class GlobalEnvironment;

// One call of a library function, as its body sees it.
struct LibraryCall {
    const FunctionDefinition& fn;
    const std::vector<Value>& args;
    GlobalEnvironment& env;

    const char* name() const { return fn.name.c_str(); }
    int count() const { return static_cast<int>(args.size()); }
    const TaggedValue& operator[](std::size_t i) const { return *args[i]; }
};

using LibraryBody = Value (*)(const LibraryCall& call);

// A predefined function whose body checks its own arguments. `arity` is the
// least count it takes: a call with fewer arguments gives a closure.
class LibraryFunction final : public PredefinedFunction {
public:
    LibraryFunction(const std::string& name, int arity, LibraryBody body, GlobalEnvironment* env,
                    bool pure = true);
    Value apply(const std::vector<Value>& args) const override;
    int most_args() const override { return most; }
    // Declares optional arguments after the required ones (-1: any number).
    LibraryFunction* up_to(int count) {
        most = count;
        return this;
    }

private:
    LibraryBody body;
    int most;
};

// The library's state in one engine: no function keeps any of its own.
struct LibraryState {
    // The source of "@random", "@rand", "@rand_int" and of the tab functions
    // that shuffle: a fixed seed, so a score draws the same numbers each run.
    static constexpr std::uint32_t default_seed = 20061111;
    std::minstd_rand random{default_seed};
    int trace_depth = 0;
    std::size_t plot_count = 0; // numbers the temporary files of "@gnuplot"
    HelperJobs jobs;

    // A draw in 0 .. 32767, as the C library's `rand` gives.
    int rand15() { return static_cast<int>(random() % 32768u); }
};

LibraryState& library_of(GlobalEnvironment& env);

// ---- checks that report and tell the caller to give undef ----

// False (reported with `format`, which takes the name and the count) when
// the call does not have between `least` and `most` arguments.
bool count_in(const LibraryCall& call, int least, int most, const char* format);
// The message that names a bad argument's kind: "%s" name, "%s" kind.
bool fail_kind(const LibraryCall& call, std::size_t i, const char* format);

// ---- reading values ----

const tab_t& tab_of(const TaggedValue& v);
map_t& map_of(const TaggedValue& v);
imap_t& imap_of(const TaggedValue& v);
Value make_tab(tab_t elements);
Value make_map(map_t entries);
// An int that fits the language's 32 bits, from an int or a whole float.
bool whole_number(const TaggedValue& v, long& out);
// The most elements a library function builds, so that a number typed by
// mistake does not exhaust the memory of the concert machine.
inline constexpr long max_built_length = 1L << 24;

// ---- calling function values ----

// Applies a function value (fct, paf, map, imap, nim) to `args`.
Value call_value(const TaggedValue& f, const std::vector<Value>& args);
bool truth(const Value& v);
