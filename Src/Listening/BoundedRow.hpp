// A row of at most `bound` doubles with the few vector operations the
// recursion uses. Like History, its storage is lent by its owner (attach)
// or its own, allocated once to the full bound at the first use; filling it
// never allocates afterwards.
#pragma once

#include <cassert>
#include <cstddef>
#include <vector>

class BoundedRow {
public:
    explicit BoundedRow(std::size_t bound)
        : limit(bound) {
        assert(bound > 0 && "a row needs room for one value");
    }
    BoundedRow(const BoundedRow&) = delete;
    BoundedRow& operator=(const BoundedRow&) = delete;

    // Uses `bound()` doubles at `external`, and empties the row.
    void attach(double* external) {
        assert(external && "a row attaches to storage");
        values = external;
        n = 0;
    }
    // Empties the row and lets go of lent storage.
    void detach() {
        values = own.empty() ? nullptr : own.data();
        n = 0;
    }

    void resize(std::size_t size) {
        assert(size <= limit && "a row holds at most its bound");
        if (!values) {
            own.resize(limit);
            values = own.data();
        }
        n = size;
    }
    void push_back(double v) {
        resize(n + 1);
        values[n - 1] = v;
    }
    void clear() { n = 0; }

    double& operator[](std::size_t i) {
        assert(i < n && "row read past its end");
        return values[i];
    }
    double operator[](std::size_t i) const {
        assert(i < n && "row read past its end");
        return values[i];
    }
    const double* data() const { return values; }
    std::size_t size() const { return n; }
    bool empty() const { return n == 0; }
    std::size_t bound() const { return limit; }

private:
    std::vector<double> own;
    double* values = nullptr;
    std::size_t limit;
    std::size_t n = 0;
};
