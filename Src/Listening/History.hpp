// A bounded history of doubles, newest at the back. Once full, appending
// drops the oldest entry. The storage is allocated once, at the first
// append, to the full bound, so that a decoding step that appends to a
// history never allocates afterwards (a std::deque would allocate and free
// blocks as the ring slides).
#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <vector>

class History {
public:
    explicit History(std::size_t bound)
        : limit(bound) {
        assert(bound > 0 && "a history needs room for one entry");
    }

    // Appends v; when the history already holds `bound` entries the oldest
    // one is dropped first.
    void push_back(double v) {
        if (storage.empty()) storage.resize(limit);
        if (count == limit) pop_front();
        storage[wrap(head + count)] = v;
        ++count;
    }

    void pop_front() {
        if (count == 0) return;
        head = wrap(head + 1);
        --count;
    }

    // The entry `u` places from the back: back(0) is the newest.
    double back(std::size_t u = 0) const {
        assert(u < count && "history read past its oldest entry");
        return storage[wrap(head + count - 1 - u)];
    }

    // The entries from back(u) towards the oldest that lie side by side in
    // memory: `first` points at back(u) and first[-j] is back(u + j), for j
    // below the returned length. Loops over a history walk such runs.
    std::size_t newest_run(std::size_t u, const double*& first) const {
        assert(u < count && "history read past its oldest entry");
        const std::size_t i = wrap(head + count - 1 - u);
        first = storage.data() + i;
        return std::min(i + 1, count - u);
    }

    std::size_t size() const { return count; }
    bool empty() const { return count == 0; }
    std::size_t bound() const { return limit; }
    // Forgets the entries; keeps the storage.
    void clear() { head = count = 0; }

private:
    // An index below twice the bound brought back into the ring (cheaper
    // than a modulo in the inner loops of the recursion).
    std::size_t wrap(std::size_t i) const { return i >= limit ? i - limit : i; }

    std::vector<double> storage;
    std::size_t limit;
    std::size_t head = 0;
    std::size_t count = 0;
};
