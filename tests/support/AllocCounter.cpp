#include "AllocCounter.hpp"

#include <cstdlib>
#include <new>

namespace {
thread_local bool counting = false;
thread_local std::size_t count = 0;

void* counted_alloc(std::size_t n) {
    if (counting) ++count;
    if (void* p = std::malloc(n ? n : 1)) return p;
    throw std::bad_alloc();
}
} // namespace

namespace alloc_counter {
void start() {
    count = 0;
    counting = true;
}
std::size_t stop() {
    counting = false;
    return count;
}
} // namespace alloc_counter

void* operator new(std::size_t n) { return counted_alloc(n); }
void* operator new[](std::size_t n) { return counted_alloc(n); }
void operator delete(void* p) noexcept { std::free(p); }
void operator delete[](void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
