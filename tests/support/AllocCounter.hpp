// Counts heap allocations made by this thread between start() and stop(),
// so tests can check that a real-time path allocates nothing.
#pragma once

#include <cstddef>

namespace alloc_counter {
void start();
// Returns the number of allocations since start().
std::size_t stop();
} // namespace alloc_counter
