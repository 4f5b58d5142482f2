#include "Listening/PedalHistory.hpp"

#include <algorithm>

void PedalHistory::reset(std::size_t bound, std::size_t size) {
    rows.assign(bound, std::vector<float>(size, 0.0f));
    clear();
}

void PedalHistory::push(const std::vector<float>& spectrum) {
    if (rows.empty()) return;
    if (count == rows.size()) {
        head = (head + 1) % rows.size();
        --count;
    }
    std::vector<float>& row = rows[(head + count) % rows.size()];
    const std::size_t n = std::min(row.size(), spectrum.size());
    std::copy_n(spectrum.begin(), n, row.begin());
    std::fill(row.begin() + static_cast<std::ptrdiff_t>(n), row.end(), 0.0f);
    ++count;
}
