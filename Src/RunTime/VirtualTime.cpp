#include "RunTime/VirtualTime.hpp"

#include "RunTime/CadClock.hpp"
#include "RunTime/HostClock.hpp"

#include <atomic>
#include <mutex>
#include <thread>

namespace {

// The queue is a doubly linked list of the armed clocks, sorted by date, ties
// in arming order. Each clock is in it at most once, so the links live in
// the clock and arming never allocates. The mutex guards the links only; no
// callback runs under it.
std::mutex queue_mutex;
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

// Waits for a run on another thread to leave. A run on this thread is the
// caller itself (a callback that resets): there is nothing to wait for.
void wait_for_runner() {
    if (queue_runner.load() == std::this_thread::get_id()) return;
    while (running_queue.load() > 0)
        std::this_thread::yield();
}

} // namespace

simul_clock::~simul_clock() {
    Reset();
}

void simul_clock::Delay(double ms) {
    std::lock_guard lock(queue_mutex);
    last_touched = this;
    if (queued) VirtualTime::unlink(*this);
    VirtualTime::insert(*this, ms / 1000.0 + virtual_now_s.load());
}

void simul_clock::Reset() {
    std::lock_guard lock(queue_mutex);
    last_touched = this;
    if (queued) VirtualTime::unlink(*this);
}

void VirtualTime::unlink(simul_clock& c) {
    (c.prev ? c.prev->next : queue_head) = c.next;
    (c.next ? c.next->prev : queue_tail) = c.prev;
    c.prev = c.next = nullptr;
    c.queued = false;
    --queue_count;
}

// Walks back from the tail: the new entry goes behind every entry due at or
// before its date, so equal dates keep arming order.
void VirtualTime::insert(simul_clock& c, double due) {
    simul_clock* before = queue_tail;
    while (before && before->due > due)
        before = before->prev;
    c.due = due;
    c.prev = before;
    c.next = before ? before->next : queue_head;
    (c.prev ? c.prev->next : queue_head) = &c;
    (c.next ? c.next->prev : queue_tail) = &c;
    c.queued = true;
    ++queue_count;
}

void VirtualTime::run_until(double t) {
    run(t, true);
}
void VirtualTime::run_to_end() {
    run(0.0, false);
}

// The head is taken again at each turn: a callback arms and disarms clocks.
void VirtualTime::run(double t, bool bounded) {
    const std::thread::id outer_runner = queue_runner.exchange(std::this_thread::get_id());
    ++running_queue;
    while (reset_waiters.load() == 0) {
        simul_clock* c = nullptr;
        {
            std::lock_guard lock(queue_mutex);
            c = queue_head;
            if (!c || (bounded && !(t >= c->due))) break;
            virtual_now_s.store(c->due);
            last_touched = c;
            unlink(*c);
        }
        c->callback(c->owner);
    }
    --running_queue;
    queue_runner.store(outer_runner);
}

void VirtualTime::Reset_all() {
    ++reset_waiters;
    wait_for_runner();
    for (simul_clock* c = detach_all(); c;) {
        simul_clock* next = c->next;
        c->next = nullptr;
        c = next;
    }
    --reset_waiters;
}

// The time base is set so that the host's time 0 reads as the virtual now,
// and each pending entry is armed on the host with its date minus the
// hand-over date, the value as the queue holds it: seconds, which the host
// reads as milliseconds, so the wake-up comes early.
void VirtualTime::reschedule_all() {
    if (!installed_host_clocks()) return; // without a host the clocks stay virtual
    const double old = virtual_now_s.load();
    virtual_now_s.store(0.0 - old);
    start_time_s.store(0.0 - old);
    ++reset_waiters;
    wait_for_runner();
    for (simul_clock* c = detach_all(); c;) {
        simul_clock* next = c->next;
        c->next = nullptr;
        c->clock->Delay(c->due - old);
        c = next;
    }
    --reset_waiters;
}

// Detaches the whole queue and returns its first entry; the entries keep
// their `next` links so the caller can walk them.
simul_clock* VirtualTime::detach_all() {
    std::lock_guard lock(queue_mutex);
    simul_clock* first = queue_head;
    for (simul_clock* c = first; c; c = c->next) {
        c->prev = nullptr;
        c->queued = false;
    }
    queue_head = queue_tail = nullptr;
    queue_count = 0;
    return first;
}

int VirtualTime::pending() {
    std::lock_guard lock(queue_mutex);
    return queue_count;
}

double VirtualTime::virtual_now() {
    return virtual_now_s.load();
}
void VirtualTime::set_virtual_now(double t) {
    virtual_now_s.store(t);
}
double VirtualTime::start_time() {
    return start_time_s.load();
}
void VirtualTime::set_start_time(double t) {
    start_time_s.store(t);
}

const simul_clock* VirtualTime::last_simul() {
    std::lock_guard lock(queue_mutex);
    return last_touched;
}
