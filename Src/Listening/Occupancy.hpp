// The laws of the stay in a semi-Markov state, shared by every state whose
// expected stay (in frames, at the live tempo) is the same. Records are
// pooled: when the tempo changes and the keys with it, a record that no
// state asked for at the last frame is reused for a new key, vectors and
// all, so that the steady state does not allocate.
#pragma once

#include <memory>
#include <vector>

struct UniqueOccupancy {
    // occupancy[u]: the stay lasts exactly u + 1 frames.
    std::vector<double> occupancy;
    // survivor[u]: the stay lasts more than u frames.
    std::vector<double> survivor;
    // Asked for during the current frame.
    bool used = false;

    double key = 0;
    bool in_use = false;
};

class OccupancyMap {
public:
    UniqueOccupancy* find(double key);
    // A record for a new key, with empty laws.
    UniqueOccupancy& acquire(double key);
    // Drops the records not used since the last purge; clears the flags of
    // the others.
    void purge();
    int size() const;
    void clear() { records.clear(); }

private:
    std::vector<std::unique_ptr<UniqueOccupancy>> records;
};

// Fills `out` with u_max values: out[k] is the probability of a stay of
// k + 1 frames for a law of the given mean. `model` chooses the law:
// strictly between 0 and 1 a negative binomial of parameter `model`, 1.0 a
// Poisson, -3.0 and -2.0 two geometric laws, anything else a third one.
// With `log` the values are natural logarithms.
void DiscreteOccupancies(std::vector<double>& out, double mean, int u_max, double model, bool log);

// The negative binomial parameter whose law of mean `mean` (frames) has a
// standard deviation of `spread` times the mean: a stay as uncertain in
// proportion for a long note as for a short one (rubato stretches both
// alike). Kept within (0.02, 0.98); short stays cannot be tighter than the
// law allows.
double spread_model(double mean, double spread);

// survivor[u] = 1 - sum(occupancy[0..u-1]), never below 0.
void survivor_from_occupancy(const std::vector<double>& occupancy, std::vector<double>& survivor);
