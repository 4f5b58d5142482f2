// The one place where the runtime touches physical time: a one-shot timer
// with a delay in milliseconds and a callback. It runs on a clock of the
// host or, in fast-forward and when the host has none, on the virtual queue
// of its engine's time base.
#pragma once

#include "RunTime/TimeBase.hpp"

class HostClock;

class CadClock {
public:
    // Makes the host clock when the time base has a host, and zeroes the
    // virtual now.
    CadClock(TimeBase& time, void* owner, void (*callback)(void*));
    ~CadClock();
    CadClock(const CadClock&) = delete;
    CadClock& operator=(const CadClock&) = delete;

    // Arms the clock; a pending firing is replaced.
    void Delay(double ms);
    // Disarms the clock.
    void Reset();

    TimeBase& time;
    HostClock* host_clock = nullptr;
    void* owner;
    void (*callback)(void*);
    simul_clock sim;

private:
    bool runs_virtually() const { return time.fastforward.load() || !host_clock; }
};
