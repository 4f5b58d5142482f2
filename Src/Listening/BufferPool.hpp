// Fixed slots of doubles, lent to the states of the decode window and given
// back when they leave it, so that what the machine keeps in memory is
// bounded by the window (and so by the score), not by the length of the
// performance. Slots are made ahead of the performance (reserve); borrowing
// and giving back never allocate.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

class BufferPool {
public:
    explicit BufferPool(std::size_t slot_size);
    BufferPool(const BufferPool&) = delete;
    BufferPool& operator=(const BufferPool&) = delete;

    // Makes sure `slots` slots exist; slots already lent stay where they are.
    void reserve(std::size_t slots);
    // A free slot, or null when all are lent (counted in misses()).
    double* borrow();
    void give_back(double* slot);

    std::size_t slot_size() const { return size; }
    std::size_t slots() const { return blocks.size(); }
    std::size_t lent() const { return blocks.size() - free_slots.size(); }
    // Borrows refused because every slot was lent.
    std::size_t misses() const { return refused; }

private:
    std::size_t size;
    std::vector<std::unique_ptr<double[]>> blocks;
    std::vector<double*> free_slots;
    std::size_t refused = 0;
};
