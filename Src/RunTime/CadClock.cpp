#include "RunTime/CadClock.hpp"

#include "Base/Console.hpp"

#include <chrono>

namespace {

void not_implemented(const char* what) {
    CAD_INTERNAL_ERROR(what);
    error("INTERNAL ERROR: NOT YET IMPLEMENTED: please report: '%s'", what);
}

} // namespace

CadClock::CadClock(TimeBase& t, void* owner, void (*callback)(void*))
    : time(t)
    , owner(owner)
    , callback(callback)
    , sim(t.queue, this, owner, callback) {
    if (HostClocks* host = time.host_clocks()) host_clock = host->clock_new(owner, callback);
    time.queue.set_virtual_now(0.0);
}

CadClock::~CadClock() {
    if (host_clock) time.host_clocks()->clock_free(host_clock);
}

void CadClock::Delay(double ms) {
    if (runs_virtually()) {
        sim.Delay(ms);
        return;
    }
    time.host_clocks()->clock_fdelay(host_clock, ms);
}

// An entry left in the virtual queue by a change of mode is dropped too.
void CadClock::Reset() {
    if (sim.is_queued()) sim.Reset();
    if (!runs_virtually()) time.host_clocks()->clock_unset(host_clock);
}

// ---- the time base ----

double TimeBase::GetTime() const {
    if (virtual_mode()) return queue.virtual_now();
    return 0.001 * host->clock_getftime() - queue.start_time();
}

void TimeBase::SetTime(double t) {
    if (!virtual_mode()) {
        not_implemented("CadClock::SetTime in non-standalone target");
        return;
    }
    queue.set_virtual_now(t);
}

void TimeBase::init_now() {
    queue.set_start_time(host ? 0.001 * host->clock_getftime() : 0.0);
    queue.set_virtual_now(0.0);
}

void TimeBase::init_at(double t) {
    queue.set_virtual_now(t);
    queue.set_start_time(t);
}

// Without a host the clocks stay virtual: there is nothing to hand over.
void TimeBase::set_normal_mode() {
    if (!fastforward.exchange(false)) return;
    if (host) queue.reschedule_all(0.001 * host->clock_getftime());
}

void TimeBase::Reset_all() {
    if (!virtual_mode()) {
        not_implemented("CadClock::Reset_all in non-standalone target");
        return;
    }
    queue.Reset_all();
}

void TimeBase::advance_to(double t) {
    if (!virtual_mode()) return;
    queue.run_until(t);
    if (t > queue.virtual_now()) queue.set_virtual_now(t);
}

double GetCurrentUnixTimeMs() {
    using namespace std::chrono;
    static const steady_clock::time_point origin = steady_clock::now();
    const auto us = duration_cast<microseconds>(steady_clock::now() - origin).count();
    return static_cast<double>(us) / 1000.0;
}
