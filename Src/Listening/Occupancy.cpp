#include "Listening/Occupancy.hpp"

#include <algorithm>
#include <cmath>

UniqueOccupancy* OccupancyMap::find(double key) {
    for (auto& r : records)
        if (r->in_use && r->key == key) return r.get();
    return nullptr;
}

UniqueOccupancy& OccupancyMap::acquire(double key) {
    UniqueOccupancy* free_record = nullptr;
    for (auto& r : records) {
        if (r->in_use) continue;
        free_record = r.get();
        break;
    }
    if (!free_record) {
        records.push_back(std::make_unique<UniqueOccupancy>());
        free_record = records.back().get();
    }
    free_record->key = key;
    free_record->in_use = true;
    free_record->used = false;
    free_record->occupancy.clear();
    free_record->survivor.clear();
    return *free_record;
}

void OccupancyMap::purge() {
    for (auto& r : records) {
        if (!r->in_use) continue;
        if (!r->used) r->in_use = false;
        r->used = false;
    }
}

int OccupancyMap::size() const {
    return static_cast<int>(
        std::count_if(records.begin(), records.end(), [](const auto& r) { return r->in_use; }));
}

namespace {

double value_of(double log_value, bool log) {
    return log ? log_value : std::exp(log_value);
}

// Negative binomial with p = model: its mean stay is r + 1 frames when
// r = (mean - 1) q / p, with r at least 0.1. Computed in logarithms.
void negative_binomial(std::vector<double>& out, double mean, double model, bool log) {
    const double p = model;
    const double q = 1.0 - p;
    const double r = std::max((mean - 1.0) * q / p, 0.1);
    double acc = r * std::log(q);
    out[0] = value_of(acc, log);
    for (size_t u = 2; u <= out.size(); ++u) {
        acc += std::log(p * ((r - 1.0) / static_cast<double>(u - 1) + 1.0));
        out[u - 1] = value_of(acc, log);
    }
}

void poisson(std::vector<double>& out, double mean, bool log) {
    out[0] = log ? -mean : std::exp(-mean);
    for (size_t k = 1; k < out.size(); ++k) {
        const double factor = mean / static_cast<double>(k);
        out[k] = log ? out[k - 1] + std::log(factor) : out[k - 1] * factor;
    }
}

void geometric(std::vector<double>& out, double log_q, bool log) {
    const double q = std::exp(log_q);
    out[0] = log ? std::log(1.0 - q) : 1.0 - q;
    for (size_t k = 1; k < out.size(); ++k)
        out[k] = log ? out[k - 1] + log_q : out[k - 1] * q;
}

double geometric_log_q(double mean, double model) {
    if (model == -3.0) return mean < 0.0001 ? -10000.0 : -1.0 / mean;
    if (model == -2.0) return mean < 0.0001 ? -6931.471805599453 : std::log(0.5) / mean;
    const double q = mean < 1.001 ? 1.0 - 1.0 / 1.001 : 1.0 - 1.0 / mean;
    return std::log(q);
}

} // namespace

void DiscreteOccupancies(std::vector<double>& out, double mean, int u_max, double model, bool log) {
    out.assign(static_cast<size_t>(std::max(u_max, 0)), log ? -INFINITY : 0.0);
    if (out.empty()) return;
    if (mean <= 0) {
        out[0] = log ? 0.0 : 1.0;
        return;
    }
    if (model > 0 && model < 1)
        negative_binomial(out, mean, model, log);
    else if (model == 1.0)
        poisson(out, mean, log);
    else
        geometric(out, geometric_log_q(mean, model), log);
}

double spread_model(double mean, double spread) {
    if (mean <= 1 || spread <= 0) return 0.98;
    const double q = (mean - 1.0) / (spread * spread * mean * mean);
    return 1.0 - std::clamp(q, 0.02, 0.98);
}

void survivor_from_occupancy(const std::vector<double>& occupancy, std::vector<double>& survivor) {
    survivor.resize(occupancy.size());
    if (survivor.empty()) return;
    survivor[0] = 1.0;
    for (size_t u = 1; u < survivor.size(); ++u)
        survivor[u] = std::max(0.0, survivor[u - 1] - occupancy[u - 1]);
}
