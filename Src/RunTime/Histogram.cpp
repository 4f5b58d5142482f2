#include "RunTime/Histogram.hpp"

#include "Base/Console.hpp"

#include <algorithm>
#include <cstdio>
#include <unistd.h>

namespace {

constexpr double bounds[Histogram::BINS] = {0, 1, 2, 5, 10, 20, 30, 50, 100, 500, 1000};

// Resident and virtual sizes of the process, in kB (0 where unknown).
void memory_use(long& resident_kb, long& virtual_kb) {
    resident_kb = virtual_kb = 0;
    FILE* statm = std::fopen("/proc/self/statm", "r");
    if (!statm) return;
    long pages_virtual = 0, pages_resident = 0;
    if (std::fscanf(statm, "%ld %ld", &pages_virtual, &pages_resident) == 2) {
        const long page_kb = sysconf(_SC_PAGESIZE) / 1024;
        resident_kb = pages_resident * page_kb;
        virtual_kb = pages_virtual * page_kb;
    }
    std::fclose(statm);
}

std::string row(const Histogram::bins_t& bins, const char* label) {
    std::string text;
    for (const auto count : bins)
        text += str_printf("%8lu\t", static_cast<unsigned long>(count));
    return text + label;
}

} // namespace

int Histogram::bin_of(double value) {
    int bin = 0;
    for (int i = 0; i < BINS; ++i)
        if (value >= bounds[i]) bin = i;
    return bin;
}

void Histogram::update_inter(double ms) {
    if (first_inter) {
        first_inter = false;
        return;
    }
    ++inter[static_cast<std::size_t>(bin_of(ms * 0.1))];
    min_inter = std::min(min_inter, ms);
}

void Histogram::update_duration_and_messages(double ms, int sent) {
    ++durations[static_cast<std::size_t>(bin_of(100.0 * ms))];
    ++messages[static_cast<std::size_t>(bin_of(sent))];
    total_messages += sent;
    ++total_instants;
    max_duration = std::max(max_duration, ms);
}

void Histogram::Reset() {
    *this = Histogram();
}

void Histogram::post_statistic(const std::string& prefix) const {
    long resident = 0, virt = 0;
    memory_use(resident, virt);
    const char* p = prefix.c_str();
    post("%sResident memory used (kB): %ld", p, resident);
    post("%sVirtual memory used (kB): %ld", p, virt);
    post("%sTotal messages: %d", p, total_messages);
    post("%sTotal logical instants: %d", p, total_instants);
    post("%sMax logical instant duration: %.2f ms", p, max_duration);
    post("%sMin duration between logical instant: %.2f ms", p, min_inter);
    bins_t bin_bounds{};
    for (int i = 0; i < BINS; ++i)
        bin_bounds[static_cast<std::size_t>(i)] = static_cast<std::uint32_t>(bounds[i]);
    post_text(row(bin_bounds, " Histo Bin"));
    post_text(row(messages, " Histo Messages"));
    post_text(row(inter, " Histo Inter logical instant (10ms)"));
    post_text(row(durations, " Histo duration logical instant (0.01ms)"));
}
