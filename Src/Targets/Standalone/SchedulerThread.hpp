// The standalone host's source of time: one scheduler thread that runs the
// callbacks of one-shot clocks, and a monotonic millisecond clock with
// sub-millisecond resolution. Clocks are armed, re-armed and unset from any
// thread; arming and firing a clock that exists allocate nothing.
//
// Time inside a callback is logical: the clock reads the date the firing clock
// was due, and delays armed there count from that date. Elsewhere the clock
// reads the physical time.
#pragma once

#include "RunTime/HostClock.hpp"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

class SchedulerThread final : public HostClocks {
public:
    // Starts the thread.
    SchedulerThread();
    // Stops the thread. Every clock must have been freed.
    ~SchedulerThread() override;
    SchedulerThread(const SchedulerThread&) = delete;
    SchedulerThread& operator=(const SchedulerThread&) = delete;

    HostClock* clock_new(void* owner, Callback callback) override;
    void clock_free(HostClock* clock) override;
    void clock_fdelay(HostClock* clock, double ms) override;
    void clock_unset(HostClock* clock) override;
    double clock_getftime() const override;
    // The physical time on the same scale, on any thread.
    double physical_ms() const;

    // True on the thread that runs the callbacks.
    bool on_scheduler_thread() const { return std::this_thread::get_id() == thread.get_id(); }

private:
    using Clock = std::chrono::steady_clock;
    struct Timer;

    Clock::time_point present() const;
    double since_origin(Clock::time_point t) const;
    void run();
    void fire(std::unique_lock<std::mutex>& lock);
    // The pending timers form a binary heap ordered by due time, then by
    // arming order; each timer knows its slot, so re-arming and unsetting are
    // logarithmic.
    static bool earlier(const Timer* a, const Timer* b);
    void heap_push(Timer* t);
    void heap_remove(Timer* t);
    void sift_up(std::size_t i);
    void sift_down(std::size_t i);
    void place(std::size_t i, Timer* t);

    const Clock::time_point origin;
    mutable std::mutex mutex;
    std::condition_variable wake;   // the heap's head changed, or stop
    std::condition_variable fired;  // a callback returned
    std::vector<Timer*> heap;       // capacity: one slot per clock made
    std::size_t clocks = 0;         // clocks made and not freed
    std::uint64_t armings = 0;      // orders timers due at one instant
    const Timer* firing = nullptr;  // the timer whose callback runs
    Clock::time_point firing_due{}; // and the date it was due
    bool stopping = false;
    std::thread thread;
};
