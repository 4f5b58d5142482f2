#include "Exp/TabLibrary.hpp"

#include "Base/Console.hpp"

#include <cassert>

bool arity_is(const LibraryCall& call, int expected) {
    if (call.count() == expected) return true;
    error("Bad arguments number in function call %s (%d expected, %d provided) [t3]", call.name(), expected,
          call.count());
    return false;
}

bool arity_between(const LibraryCall& call, int least, int most) {
    if (call.count() >= least && call.count() <= most) return true;
    error("Bad arguments number in function call %s (%d or %d expected, %d provided) [t3]", call.name(),
          least, most, call.count());
    return false;
}

bool tab_arg(const LibraryCall& call, std::size_t i) {
    if (call[i].is_tab()) return true;
    if (i == 0)
        error("Bad argument in function %s (got %s): a tab is expected [t29]", call.name(),
              call[i].kind_name());
    else
        error("Bad argument %d in function %s (got %s): a tab is expected [t30]", static_cast<int>(i + 1),
              call.name(), call[i].kind_name());
    return false;
}

bool tab_or_string_arg(const LibraryCall& call, std::size_t i) {
    if (call[i].is_tab() || call[i].is_string()) return true;
    error("Bad argument %d in function %s (got %s): a tab or a string is expected [t6]",
          static_cast<int>(i + 1), call.name(), call[i].kind_name());
    return false;
}

bool count_arg(const LibraryCall& call, std::size_t i, long& out, bool zero_ok) {
    if (whole_number(call[i], out) && (out > 0 || (zero_ok && out == 0))) return true;
    const std::string got = show_text(call[i]);
    if (i == 2)
        error("Bad argument 3 in function %s (got %s): a positive int is expected [t55]", call.name(),
              got.c_str());
    else
        error("Bad argument %d in function %s (got %s): a positive int is expected [t59]",
              static_cast<int>(i + 1), call.name(), got.c_str());
    return false;
}

bool number_arg(const LibraryCall& call, std::size_t i, double& out) {
    if (call[i].is_numeric()) {
        out = call[i].get_double();
        return true;
    }
    error("Bad argument %d in function %s (got %s): a numeric is expected [t58]", static_cast<int>(i + 1),
          call.name(), show_text(call[i]).c_str());
    return false;
}

bool length_fits(const LibraryCall& call, long n) {
    if (n <= max_built_length) return true;
    error("Bad argument in function %s: %ld elements is more than the %ld a tab may hold [t57]", call.name(),
          n, max_built_length);
    return false;
}

tab_t& mutable_tab(const TaggedValue& tab) {
    const auto& t = value_cast<TabValue>(tab);
    assert(t.val && "a tab value always holds its elements");
    return *t.val;
}
