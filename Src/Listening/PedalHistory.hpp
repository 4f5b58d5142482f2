// The spectra kept for the pedal model: at most `bound` of them, oldest
// first, in storage made once, so that feeding the history on the audio
// thread never allocates.
#pragma once

#include <cstddef>
#include <vector>

class PedalHistory {
public:
    // Room for `bound` spectra of `size` bins; forgets what it held.
    void reset(std::size_t bound, std::size_t size);
    void clear() { head = count = 0; }

    // Appends a copy of `spectrum` (cut or zero-extended to the size),
    // dropping the oldest first when full.
    void push(const std::vector<float>& spectrum);

    std::size_t size() const { return count; }
    bool empty() const { return count == 0; }
    std::size_t bound() const { return rows.size(); }
    // i = 0 is the oldest.
    const std::vector<float>& operator[](std::size_t i) const { return rows[(head + i) % rows.size()]; }

private:
    std::vector<std::vector<float>> rows;
    std::size_t head = 0;
    std::size_t count = 0;
};
