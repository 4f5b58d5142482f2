// The one place where the runtime touches physical time: a one-shot timer
// with a delay in milliseconds and a callback. It runs on a clock of the host
// or, in fast-forward and when no host is installed, on the virtual queue.
#pragma once

#include "RunTime/VirtualTime.hpp"

#include <atomic>

class HostClock;
class HostClocks;

class CadClock {
public:
    // Makes the host clock when a host is installed, and zeroes the virtual
    // now.
    CadClock(void* owner, void (*callback)(void*));
    ~CadClock();
    CadClock(const CadClock&) = delete;
    CadClock& operator=(const CadClock&) = delete;

    // Arms the clock; a pending firing is replaced.
    void Delay(double ms);
    // Disarms the clock.
    void Reset();

    // Logical seconds: the virtual now, or the host time since `start_time`.
    static double GetTime();
    // Sets the virtual now; an internal error outside virtual time.
    static void SetTime(double t);
    // Logical time 0 is the host's present.
    static void init_now();
    static void init_at(double t);
    // Leaves fast-forward, handing the pending virtual firings to the host.
    static void set_normal_mode();
    // Empties the virtual queue; an internal error outside virtual time.
    static void Reset_all();
    // True when time is virtual for every clock: fast-forward, or no host.
    static bool virtual_mode();

    // Fast-forward: the clocks run on the virtual queue.
    static std::atomic<bool> fastforward;

    HostClock* host_clock = nullptr;
    void* owner;
    void (*callback)(void*);
    simul_clock sim;

private:
    bool runs_virtually() const { return fastforward.load() || !host_clock; }
    // The host that made `host_clock`.
    HostClocks* host = nullptr;
};

// Milliseconds (microsecond steps) of a monotonic clock since its first call.
// For statistics only, never for logic.
double GetCurrentUnixTimeMs();
