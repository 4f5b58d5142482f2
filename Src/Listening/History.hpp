// A bounded history of doubles, newest at the back. Once full, appending
// drops the oldest entry. The storage is either lent by its owner (attach:
// a slot of a BufferPool, given back when the history is no longer used)
// or its own, allocated once at the first append to the full bound, so
// that a decoding step that appends to a history never allocates
// afterwards (a std::deque would allocate and free blocks as the ring
// slides).
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
    // A copy holds its entries in storage of its own.
    History(const History& other)
        : limit(other.limit) {
        for (std::size_t u = other.count; u-- > 0;)
            push_back(other.back(u));
    }
    History& operator=(const History&) = delete;

    // Uses `bound()` doubles at `external` (they outlive the attachment),
    // and forgets the entries.
    void attach(double* external) {
        assert(external && "a history attaches to storage");
        ring = external;
        clear();
    }
    // Forgets the entries and lets go of lent storage.
    void detach() {
        ring = own.empty() ? nullptr : own.data();
        clear();
    }
    bool attached() const { return ring && (own.empty() || ring != own.data()); }

    // Appends v; when the history already holds `bound` entries the oldest
    // one is dropped first.
    void push_back(double v) {
        if (!ring) {
            own.resize(limit);
            ring = own.data();
        }
        if (count == limit) pop_front();
        ring[wrap(head + count)] = v;
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
        return ring[wrap(head + count - 1 - u)];
    }

    // The entries from back(u) towards the oldest that lie side by side in
    // memory: `first` points at back(u) and first[-j] is back(u + j), for j
    // below the returned length. Loops over a history walk such runs.
    std::size_t newest_run(std::size_t u, const double*& first) const {
        assert(u < count && "history read past its oldest entry");
        const std::size_t i = wrap(head + count - 1 - u);
        first = ring + i;
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

    std::vector<double> own;
    double* ring = nullptr;
    std::size_t limit;
    std::size_t head = 0;
    std::size_t count = 0;
};

// The history of the frames' normalisers, with their inverses kept beside
// them: the look-back of every semi-Markov state divides each past frame by
// its normaliser, so the division is done once, when the frame's total is
// known, and the look-backs multiply.
class Normalisers {
public:
    explicit Normalisers(std::size_t bound)
        : values(bound)
        , inverses(bound) {}

    // `N` above 0 (the recursion replaces a total of 0 by 1).
    void push_back(double N) {
        assert(N > 0 && "a normaliser is positive");
        values.push_back(N);
        inverses.push_back(1.0 / N);
    }
    void clear() {
        values.clear();
        inverses.clear();
    }
    double back(std::size_t u = 0) const { return values.back(u); }
    // 1 / back(u).
    double inverse(std::size_t u) const { return inverses.back(u); }
    std::size_t size() const { return values.size(); }
    bool empty() const { return values.empty(); }

private:
    History values;
    History inverses;
};
