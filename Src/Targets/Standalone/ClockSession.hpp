// The source of time of one run of the program: the scheduler thread's
// clocks for a run paced by the wall clock, the virtual queue for an
// offline run (timers then fire at their exact dates, as fast as the
// machine goes, and the run is deterministic). Made before the engine,
// destroyed after it.
#pragma once

#include <memory>

class HostClocks;
class SchedulerThread;

class ClockSession {
public:
    explicit ClockSession(bool realtime);
    ~ClockSession();
    ClockSession(const ClockSession&) = delete;
    ClockSession& operator=(const ClockSession&) = delete;

private:
    std::unique_ptr<SchedulerThread> thread;
    HostClocks* previous = nullptr;
};
