// Virtual time: a queue of clock firings ordered by date, run as fast as the
// machine goes. A follow offline, and a jump in the score, run on it with the
// same scheduler code as a performance; only the clocks change. Each engine
// has its own queue (in its `TimeBase`).
#pragma once

#include <atomic>
#include <mutex>
#include <thread>

class CadClock;
class VirtualTime;

// The identity under which a `CadClock` sits in a virtual queue. A clock
// has at most one entry; arming it again replaces the entry.
class simul_clock {
public:
    simul_clock(VirtualTime& queue, CadClock* clock, void* owner, void (*callback)(void*))
        : owner(owner)
        , callback(callback)
        , clock(clock)
        , queue(queue) {}
    ~simul_clock();
    simul_clock(const simul_clock&) = delete;
    simul_clock& operator=(const simul_clock&) = delete;

    // Arms the clock `ms` milliseconds after the virtual now, behind the
    // entries already due at that date.
    void Delay(double ms);
    // Removes the clock's entry, if any.
    void Reset();
    bool is_queued() const { return queued; }
    // The date (virtual seconds) of the entry; meaningful while queued.
    double due_time() const { return due; }

    void* owner;
    void (*callback)(void*);
    CadClock* clock;

private:
    friend class VirtualTime;
    VirtualTime& queue;
    // Links of the intrusive queue, sorted by `due`.
    simul_clock* prev = nullptr;
    simul_clock* next = nullptr;
    double due = 0.0;
    // Written under the queue's lock, read without it.
    std::atomic<bool> queued{false};
};

class VirtualTime {
public:
    VirtualTime() = default;
    VirtualTime(const VirtualTime&) = delete;
    VirtualTime& operator=(const VirtualTime&) = delete;

    // Fires, in date order, every entry due at or before `t` (virtual
    // seconds). Each firing sets the virtual now to the entry's date first.
    // Callbacks may arm clocks; an entry armed at or before `t` fires in the
    // same run.
    void run_until(double t);
    // The same with no limit of date: runs until the queue is empty.
    void run_to_end();
    // Empties the queue. A run in progress on another thread is made to
    // leave, and waited for.
    void Reset_all();
    // Hands the pending entries over to the host's clocks when the virtual
    // mode ends: the host's time `host_now` (seconds) reads as the virtual
    // now, and each entry is armed for its date minus the hand-over date.
    void reschedule_all(double host_now);

    // Number of entries in the queue.
    int pending() const;

    double virtual_now() const { return virtual_now_s.load(); }
    void set_virtual_now(double t) { virtual_now_s.store(t); }
    // The host time (seconds) at which logical time 0 lies.
    double start_time() const { return start_time_s.load(); }
    void set_start_time(double t) { start_time_s.store(t); }
    // The last clock armed or disarmed in the queue.
    const simul_clock* last_simul() const;

private:
    friend class simul_clock;
    void run(double t, bool bounded);
    void unlink(simul_clock& c);
    void insert(simul_clock& c, double due);
    simul_clock* detach_all();
    void wait_for_runner() const;

    // The queue is a doubly linked list of the armed clocks, sorted by date,
    // ties in arming order. Each clock is in it at most once, so the links
    // live in the clock and arming never allocates. The mutex guards the
    // links only; no callback runs under it.
    mutable std::mutex queue_mutex;
    simul_clock* queue_head = nullptr;
    simul_clock* queue_tail = nullptr;
    int queue_count = 0;
    const simul_clock* last_touched = nullptr;

    std::atomic<double> virtual_now_s{0.0};
    std::atomic<double> start_time_s{0.0};

    // A run in progress (nesting depth), and the thread that runs it.
    std::atomic<int> running_queue{0};
    std::atomic<std::thread::id> queue_runner{};
    // Non-zero while a reset is pending: a run leaves at its next test.
    std::atomic<int> reset_waiters{0};
};
