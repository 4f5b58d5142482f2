// The host's source of physical time: one-shot clocks whose callbacks run on
// the host's scheduler thread, and a millisecond clock. A host hands its
// `HostClocks` to the engine through its port; without them, the engine's
// time is virtual.
#pragma once

// A clock made by a host. Each host derives its own clock type from it.
class HostClock {
protected:
    HostClock() = default;
    ~HostClock() = default;
};

class HostClocks {
public:
    using Callback = void (*)(void*);

    virtual ~HostClocks() = default;

    // A new, unarmed clock that calls `callback(owner)` when it fires.
    virtual HostClock* clock_new(void* owner, Callback callback) = 0;
    // Destroys a clock. Its pending firing is dropped; if its callback is
    // running on another thread, waits for it to return.
    virtual void clock_free(HostClock* clock) = 0;
    // Arms the clock `ms` milliseconds from now, replacing a pending firing.
    virtual void clock_fdelay(HostClock* clock, double ms) = 0;
    // Disarms the clock.
    virtual void clock_unset(HostClock* clock) = 0;
    // The host's time in milliseconds, with sub-millisecond resolution.
    virtual double clock_getftime() const = 0;
};

