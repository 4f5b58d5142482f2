#include "PdClocks.hpp"

#include <cassert>

namespace {

struct PdClock final : HostClock {
    t_clock* clock = nullptr;
    void* owner = nullptr;
    HostClocks::Callback callback = nullptr;
};

PdClock* as_pd(HostClock* c) {
    assert(c && "a Pd clock is asked of a null clock");
    return static_cast<PdClock*>(c);
}

void tick(void* self) {
    auto* c = static_cast<PdClock*>(self);
    c->callback(c->owner);
}

} // namespace

PdClocks::PdClocks()
    : origin(clock_getlogicaltime()) {}

HostClock* PdClocks::clock_new(void* owner, Callback callback) {
    auto* c = new PdClock;
    c->owner = owner;
    c->callback = callback;
    c->clock = pd::clock_new(c, reinterpret_cast<t_method>(tick));
    return c;
}

void PdClocks::clock_free(HostClock* clock) {
    PdClock* c = as_pd(clock);
    pd::clock_free(c->clock);
    delete c;
}

void PdClocks::clock_fdelay(HostClock* clock, double ms) {
    pd::clock_delay(as_pd(clock)->clock, ms < 0 ? 0 : ms);
}

void PdClocks::clock_unset(HostClock* clock) {
    pd::clock_unset(as_pd(clock)->clock);
}

double PdClocks::clock_getftime() const {
    return clock_gettimesince(origin);
}
