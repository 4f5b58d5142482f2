// Statistics of logical instants: the intervals between them, their
// durations and the messages each sends, in eleven bins.
#pragma once

#include <array>
#include <cstdint>
#include <string>

class Histogram {
public:
    static constexpr int BINS = 11;
    using bins_t = std::array<std::uint32_t, BINS>;

    // The bin of a value: the highest whose bound it reaches.
    static int bin_of(double value);

    // Time between the starts of two instants, in milliseconds.
    void update_inter(double ms);
    // Duration of an instant in milliseconds, and the messages it sent.
    void update_duration_and_messages(double ms, int messages);
    void Reset();
    void post_statistic(const std::string& prefix) const;

    bins_t inter{};
    bins_t durations{};
    bins_t messages{};
    int total_messages = 0;
    int total_instants = 0;
    double max_duration = 0.0;
    double min_inter = 10000.0;

private:
    bool first_inter = true;
};
