// A fixed ring of note commands from the thread that fires the score's
// actions (one at a time: they hold the environment lock) to the audio
// thread. Neither side allocates or waits; a full ring drops the command
// and counts it.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

struct NoteCommand {
    int node = 0;                 // number of the node in its graph's schedule
    std::uint32_t generation = 0; // of the graph's definitions
    int channel = 0;
    int key = 0;
    int velocity = 0; // 0 releases the key
    double date = 0;  // seconds of the engine's clock
};

template <std::size_t Capacity>
class NoteRing {
    static_assert((Capacity & (Capacity - 1)) == 0, "the capacity of a ring is a power of two");

public:
    // The producer's side.
    bool push(const NoteCommand& c) {
        const std::size_t w = write.load(std::memory_order_relaxed);
        if (w - read.load(std::memory_order_acquire) == Capacity) {
            dropped.fetch_add(1, std::memory_order_relaxed);
            return false;
        }
        slots[w & (Capacity - 1)] = c;
        write.store(w + 1, std::memory_order_release);
        return true;
    }
    // The consumer's side.
    bool pop(NoteCommand& out) {
        const std::size_t r = read.load(std::memory_order_relaxed);
        if (r == write.load(std::memory_order_acquire)) return false;
        out = slots[r & (Capacity - 1)];
        read.store(r + 1, std::memory_order_release);
        return true;
    }
    // Commands dropped since the last call.
    std::uint32_t take_dropped() { return dropped.exchange(0, std::memory_order_relaxed); }

private:
    std::array<NoteCommand, Capacity> slots{};
    std::atomic<std::size_t> write{0};
    std::atomic<std::size_t> read{0};
    std::atomic<std::uint32_t> dropped{0};
};
