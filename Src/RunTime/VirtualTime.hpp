// Virtual time: a queue of clock firings ordered by date, run as fast as the
// machine goes. A jump in the score runs on it with the same scheduler code
// as a performance; only the clocks change.
#pragma once

#include <atomic>

class CadClock;

// The identity under which a `CadClock` sits in the virtual queue. A clock
// has at most one entry; arming it again replaces the entry.
class simul_clock {
public:
    simul_clock(CadClock* clock, void* owner, void (*callback)(void*))
        : owner(owner)
        , callback(callback)
        , clock(clock) {}
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
    // Links of the intrusive queue, sorted by `due`.
    simul_clock* prev = nullptr;
    simul_clock* next = nullptr;
    double due = 0.0;
    // Written under the queue's lock, read without it.
    std::atomic<bool> queued{false};
};

// The process-wide virtual queue and the time bases shared by all engines.
class VirtualTime {
public:
    // Fires, in date order, every entry due at or before `t` (virtual
    // seconds). Each firing sets the virtual now to the entry's date first.
    // Callbacks may arm clocks; an entry armed at or before `t` fires in the
    // same run.
    static void run_until(double t);
    // The same with no limit of date: runs until the queue is empty.
    static void run_to_end();
    // Empties the queue. A run in progress on another thread is made to
    // leave, and waited for.
    static void Reset_all();
    // Hands the pending entries over to the host's clocks, when the virtual
    // mode ends.
    static void reschedule_all();

    // Number of entries in the queue.
    static int pending();

    static double virtual_now();
    static void set_virtual_now(double t);
    // The host time (seconds) at which logical time 0 lies.
    static double start_time();
    static void set_start_time(double t);
    // The last clock armed or disarmed in the queue.
    static const simul_clock* last_simul();

private:
    friend class simul_clock;
    static void run(double t, bool bounded);
    static void unlink(simul_clock& c);
    static void insert(simul_clock& c, double due);
    static simul_clock* detach_all();
};
