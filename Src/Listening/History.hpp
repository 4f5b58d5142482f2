// A bounded history of doubles, newest at the back. Once full, appending
// drops the oldest entry. The storage is either lent by its owner (attach:
// a slot of a BufferPool, given back when the history is no longer used)
// or its own, allocated once at the first append, so that a decoding step
// that appends to a history never allocates afterwards (a std::deque would
// allocate and free blocks as the ring slides).
//
// The ring is stored twice over, side by side: each entry is written at
// its place and `bound` places further. The entries from the newest back to
// the oldest thus always lie side by side in memory, and the loops of the
// recursion walk them with a pointer, without wrapping around.
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

    // The doubles a history of `bound` entries stores.
    static constexpr std::size_t storage_for(std::size_t bound) { return 2 * bound; }

    // Uses storage_for(bound()) doubles at `external` (they outlive the
    // attachment), and forgets the entries.
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
            own.resize(storage_for(limit));
            ring = own.data();
        }
        if (count == limit) pop_front();
        const std::size_t at = wrap(head + count);
        ring[at] = v;
        ring[at + limit] = v;
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
        return newest()[-static_cast<std::ptrdiff_t>(u)];
    }

    // The newest entry; newest()[-u] is back(u), for u below size().
    const double* newest() const {
        assert(count > 0 && "an empty history has no newest entry");
        return ring + wrap(head + count - 1) + limit;
    }

    // The entries from back(u) towards the oldest: `first` points at
    // back(u) and first[-j] is back(u + j), for j below the returned length
    // (all the entries left).
    std::size_t newest_run(std::size_t u, const double*& first) const {
        assert(u < count && "history read past its oldest entry");
        first = newest() - u;
        return count - u;
    }

    std::size_t size() const { return count; }
    bool empty() const { return count == 0; }
    std::size_t bound() const { return limit; }
    // Forgets the entries; keeps the storage.
    void clear() { head = count = 0; }

private:
    // An index below twice the bound brought back into the ring (cheaper
    // than a modulo).
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
    // The newest inverse; newest_inverse()[-u] is inverse(u).
    const double* newest_inverse() const { return inverses.newest(); }
    std::size_t size() const { return values.size(); }
    bool empty() const { return values.empty(); }

private:
    History values;
    History inverses;
};
