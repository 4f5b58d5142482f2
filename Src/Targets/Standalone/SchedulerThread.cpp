#include "SchedulerThread.hpp"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

#include <pthread.h>
#include <sched.h>
#ifdef __linux__
#include <sys/prctl.h>
#endif

namespace {
constexpr std::size_t not_pending = std::numeric_limits<std::size_t>::max();
// Longest delay the clock takes (about 30 years): more would overflow the
// time point.
constexpr double max_delay_ms = 1e12;
// The real-time priority asked for the clock thread: above ordinary work,
// below the system's own real-time threads.
constexpr int clock_priority = 40;
} // namespace

struct SchedulerThread::Timer : HostClock {
    Timer(void* owner, Callback callback)
        : owner(owner)
        , callback(callback) {}

    void* owner;
    Callback callback;
    Clock::time_point due{};
    std::uint64_t order = 0;
    std::size_t slot = not_pending;
};

SchedulerThread::SchedulerThread()
    : origin(Clock::now())
    , thread([this] { run(); }) {}

SchedulerThread::~SchedulerThread() {
    {
        std::lock_guard lock(mutex);
        assert(clocks == 0 && "every clock is freed before its scheduler thread stops");
        stopping = true;
    }
    wake.notify_all();
    thread.join();
}

HostClock* SchedulerThread::clock_new(void* owner, Callback callback) {
    auto* t = new Timer(owner, callback);
    std::lock_guard lock(mutex);
    ++clocks;
    if (heap.capacity() < clocks) heap.reserve(2 * clocks); // so that arming never allocates
    return t;
}

void SchedulerThread::clock_free(HostClock* clock) {
    auto* t = static_cast<Timer*>(clock);
    {
        std::unique_lock lock(mutex);
        if (t->slot != not_pending) heap_remove(t);
        // A clock freed from its own callback is not touched after it.
        if (!on_scheduler_thread()) fired.wait(lock, [&] { return firing != t; });
        --clocks;
    }
    delete t;
}

void SchedulerThread::clock_fdelay(HostClock* clock, double ms) {
    auto* t = static_cast<Timer*>(clock);
    ms = std::clamp(std::isnan(ms) ? 0.0 : ms, 0.0, max_delay_ms);
    const auto delay =
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double, std::milli>(ms));
    bool new_head = false;
    {
        std::lock_guard lock(mutex);
        if (t->slot != not_pending) heap_remove(t);
        t->due = present() + delay;
        t->order = ++armings;
        heap_push(t);
        new_head = heap.front() == t;
    }
    if (new_head) wake.notify_one();
}

void SchedulerThread::clock_unset(HostClock* clock) {
    auto* t = static_cast<Timer*>(clock);
    std::lock_guard lock(mutex);
    if (t->slot != not_pending) heap_remove(t);
}

double SchedulerThread::clock_getftime() const {
    return since_origin(present());
}

double SchedulerThread::physical_ms() const {
    return since_origin(Clock::now());
}

double SchedulerThread::since_origin(Clock::time_point t) const {
    return std::chrono::duration<double, std::milli>(t - origin).count();
}

// Inside a callback, the present is the date the clock was due: delays armed
// there count from it, so that lateness does not add up along a chain of
// clocks. Only the scheduler thread writes `firing`, so it reads it unlocked.
SchedulerThread::Clock::time_point SchedulerThread::present() const {
    if (on_scheduler_thread() && firing) return firing_due;
    return Clock::now();
}

// ---- the thread ----

void SchedulerThread::run() {
#ifdef __linux__
    // The kernel may defer a timed wake-up by the thread's timer slack, 50 us
    // by default; a clock thread asks for none.
    prctl(PR_SET_TIMERSLACK, 1UL, 0UL, 0UL, 0UL);
#endif
    // Clock callbacks are short and must not wait behind other work: a
    // real-time priority when the system grants it, the normal one else.
    sched_param priority{};
    priority.sched_priority = clock_priority;
    pthread_setschedparam(pthread_self(), SCHED_FIFO, &priority);
    std::unique_lock lock(mutex);
    while (!stopping) {
        if (heap.empty()) {
            wake.wait(lock);
            continue;
        }
        const Clock::time_point due = heap.front()->due;
        if (Clock::now() < due) {
            wake.wait_until(lock, due);
            continue;
        }
        fire(lock);
    }
}

// The callback runs unlocked, so that it may arm clocks, its own included.
void SchedulerThread::fire(std::unique_lock<std::mutex>& lock) {
    Timer* t = heap.front();
    heap_remove(t);
    firing = t;
    firing_due = t->due;
    lock.unlock();
    t->callback(t->owner);
    lock.lock();
    firing = nullptr;
    fired.notify_all();
}

// ---- heap ----

bool SchedulerThread::earlier(const Timer* a, const Timer* b) {
    return a->due < b->due || (a->due == b->due && a->order < b->order);
}

void SchedulerThread::place(std::size_t i, Timer* t) {
    heap[i] = t;
    t->slot = i;
}

void SchedulerThread::heap_push(Timer* t) {
    assert(heap.size() < heap.capacity() && "one heap slot is reserved per clock");
    heap.push_back(t);
    t->slot = heap.size() - 1;
    sift_up(t->slot);
}

void SchedulerThread::heap_remove(Timer* t) {
    const std::size_t i = t->slot;
    Timer* last = heap.back();
    heap.pop_back();
    t->slot = not_pending;
    if (i == heap.size()) return; // it was the last slot
    place(i, last);
    sift_up(i);
    sift_down(last->slot);
}

void SchedulerThread::sift_up(std::size_t i) {
    Timer* t = heap[i];
    while (i > 0) {
        const std::size_t parent = (i - 1) / 2;
        if (!earlier(t, heap[parent])) break;
        place(i, heap[parent]);
        i = parent;
    }
    place(i, t);
}

void SchedulerThread::sift_down(std::size_t i) {
    Timer* t = heap[i];
    const std::size_t n = heap.size();
    for (;;) {
        std::size_t child = 2 * i + 1;
        if (child >= n) break;
        if (child + 1 < n && earlier(heap[child + 1], heap[child])) ++child;
        if (!earlier(heap[child], t)) break;
        place(i, heap[child]);
        i = child;
    }
    place(i, t);
}
