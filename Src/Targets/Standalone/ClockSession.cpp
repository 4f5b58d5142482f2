#include "ClockSession.hpp"

#include "RunTime/CadClock.hpp"
#include "RunTime/HostClock.hpp"
#include "RunTime/VirtualTime.hpp"
#include "SchedulerThread.hpp"

ClockSession::ClockSession(bool realtime) {
    CadClock::fastforward = false;
    if (realtime) {
        thread = std::make_unique<SchedulerThread>();
        previous = install_host_clocks(thread.get());
        CadClock::init_now();
        return;
    }
    previous = install_host_clocks(nullptr);
    VirtualTime::Reset_all();
    CadClock::init_at(0.0);
}

ClockSession::~ClockSession() {
    install_host_clocks(previous);
    thread.reset();
}
