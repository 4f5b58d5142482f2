#include "Listening/BufferPool.hpp"

#include <cassert>

BufferPool::BufferPool(std::size_t slot_size)
    : size(slot_size) {
    assert(slot_size > 0 && "a slot holds at least one value");
}

void BufferPool::reserve(std::size_t slots) {
    if (slots <= blocks.size()) return;
    free_slots.reserve(slots);
    while (blocks.size() < slots) {
        blocks.push_back(std::make_unique<double[]>(size));
        free_slots.push_back(blocks.back().get());
    }
}

double* BufferPool::borrow() {
    if (free_slots.empty()) {
        ++refused;
        return nullptr;
    }
    double* slot = free_slots.back();
    free_slots.pop_back();
    return slot;
}

void BufferPool::give_back(double* slot) {
    assert(slot && "only a lent slot is given back");
    assert(free_slots.size() < blocks.size() && "a slot given back twice");
    free_slots.push_back(slot);
}
