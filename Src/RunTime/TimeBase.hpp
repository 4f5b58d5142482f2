// The logical time of one engine. With the host's clocks (a patch, the
// program's scheduler thread) time is the host's, since `init_now`; without
// them, and always in fast-forward, it is virtual: a queue of firings run as
// fast as the machine goes. The engine makes one and gives it to its clocks;
// nothing about time is shared between engines.
#pragma once

#include "RunTime/HostClock.hpp"
#include "RunTime/VirtualTime.hpp"

#include <atomic>

class TimeBase {
public:
    // `host` null: time is virtual, from 0. With the host's clocks (which
    // outlive the time base), logical time 0 is the moment it is built.
    explicit TimeBase(HostClocks* host = nullptr)
        : host(host) {
        if (host) init_now();
    }
    TimeBase(const TimeBase&) = delete;
    TimeBase& operator=(const TimeBase&) = delete;

    HostClocks* host_clocks() const { return host; }

    // Logical seconds: the virtual now, or the host time since the start.
    double GetTime() const;
    // Sets the virtual now; an internal error outside virtual time.
    void SetTime(double t);
    // Logical time 0 is the host's present.
    void init_now();
    void init_at(double t);
    // Leaves fast-forward, handing the pending virtual firings to the host.
    void set_normal_mode();
    // Empties the virtual queue; an internal error outside virtual time.
    void Reset_all();
    // True when time is virtual for every clock: fast-forward, or no host.
    bool virtual_mode() const { return fastforward.load() || !host; }

    // Offline: fires what falls due up to `t`, then stands at `t` (never
    // going back). Nothing in real time.
    void advance_to(double t);

    // Fast-forward: the clocks run on the virtual queue.
    std::atomic<bool> fastforward{false};
    VirtualTime queue;

private:
    HostClocks* host;
};

// Milliseconds (microsecond steps) of a monotonic clock since its first call.
// For statistics only, never for logic.
double GetCurrentUnixTimeMs();
