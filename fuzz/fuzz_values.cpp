// Fuzzes the reader of value files (what "@loadval" and "@loadvar" read):
// any bytes either read as assignments or are refused with a reason, never
// a crash or a deep recursion; and what reads is written back in a form
// that reads again to itself.
#include "Exp/Environment.hpp"
#include "Exp/ValueFiles.hpp"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

namespace {

// The least runtime a global environment needs.
class FuzzContext : public EvalContext {
public:
    GlobalEnvironment* global_env() override { return &global; }
    std::vector<Environment*>& env_stack() override { return stack; }
    const InstantDates& instant() const override { return dates; }

    InstantDates dates; // before the environment, which dates its first values
    GlobalEnvironment global{this};
    std::vector<Environment*> stack{&global};
};

std::string written(const TaggedValue& v) {
    std::ostringstream out;
    write_value(out, v);
    return out.str();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static FuzzContext ctx; // the functions a file may name, installed once
    const std::string text(reinterpret_cast<const char*>(data), size);
    std::vector<SavedAssignment> read;
    std::string why;
    if (!read_assignments(text, &ctx.global, read, why)) {
        if (why.empty()) std::abort(); // a refusal always says why
        return 0;
    }
    for (const SavedAssignment& a : read) {
        const std::string form = written(a.value);
        std::vector<SavedAssignment> again;
        if (!read_assignments("$v := " + form + "\n", &ctx.global, again, why) || again.size() != 1)
            std::abort();
        if (written(again.front().value) != form) std::abort();
    }
    return 0;
}
