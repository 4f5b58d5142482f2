#include "RunTime/CadClock.hpp"

#include "Base/Console.hpp"
#include "RunTime/HostClock.hpp"

#include <chrono>

std::atomic<bool> CadClock::fastforward{false};

namespace {
void not_implemented(const char* what) {
    CAD_INTERNAL_ERROR(what);
    error("INTERNAL ERROR: NOT YET IMPLEMENTED: please report: '%s'", what);
}
} // namespace

CadClock::CadClock(void* owner, void (*callback)(void*))
    : owner(owner)
    , callback(callback)
    , sim(this, owner, callback)
    , host(installed_host_clocks()) {
    if (host) host_clock = host->clock_new(owner, callback);
    VirtualTime::set_virtual_now(0.0);
}

CadClock::~CadClock() {
    if (host_clock) host->clock_free(host_clock);
}

void CadClock::Delay(double ms) {
    if (runs_virtually()) {
        sim.Delay(ms);
        return;
    }
    host->clock_fdelay(host_clock, ms);
}

// An entry left in the virtual queue by a change of mode is dropped too.
void CadClock::Reset() {
    if (sim.is_queued()) sim.Reset();
    if (!runs_virtually()) host->clock_unset(host_clock);
}

bool CadClock::virtual_mode() {
    return fastforward.load() || !installed_host_clocks();
}

double CadClock::GetTime() {
    HostClocks* h = installed_host_clocks();
    if (fastforward.load() || !h) return VirtualTime::virtual_now();
    return 0.001 * h->clock_getftime() - VirtualTime::start_time();
}

void CadClock::SetTime(double t) {
    if (!virtual_mode()) {
        not_implemented("CadClock::SetTime in non-standalone target");
        return;
    }
    VirtualTime::set_virtual_now(t);
}

void CadClock::init_now() {
    HostClocks* h = installed_host_clocks();
    VirtualTime::set_start_time(h ? 0.001 * h->clock_getftime() : 0.0);
    VirtualTime::set_virtual_now(0.0);
}

void CadClock::init_at(double t) {
    VirtualTime::set_virtual_now(t);
    VirtualTime::set_start_time(t);
}

void CadClock::set_normal_mode() {
    if (!fastforward.exchange(false)) return;
    VirtualTime::reschedule_all();
}

void CadClock::Reset_all() {
    if (!virtual_mode()) {
        not_implemented("CadClock::Reset_all in non-standalone target");
        return;
    }
    VirtualTime::Reset_all();
}

double GetCurrentUnixTimeMs() {
    using namespace std::chrono;
    static const steady_clock::time_point origin = steady_clock::now();
    const auto us = duration_cast<microseconds>(steady_clock::now() - origin).count();
    return static_cast<double>(us) / 1000.0;
}
