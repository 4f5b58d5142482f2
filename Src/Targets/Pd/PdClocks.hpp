// The engine's clocks on Pure Data's scheduler: one-shot `t_clock`s that
// fire in Pd's logical time, so that timed actions fall on their sample
// whatever the load of the machine. Pd calls them on its one thread, the
// thread of messages and of the signal chain.
#pragma once

#include "RunTime/HostClock.hpp"

#include "PdApi.hpp"

class PdClocks final : public HostClocks {
public:
    PdClocks();
    HostClock* clock_new(void* owner, Callback callback) override;
    void clock_free(HostClock* clock) override;
    void clock_fdelay(HostClock* clock, double ms) override;
    void clock_unset(HostClock* clock) override;
    // Milliseconds of Pd's logical time since the object was made.
    double clock_getftime() const override;

private:
    double origin;
};
