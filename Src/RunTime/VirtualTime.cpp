#include "RunTime/VirtualTime.hpp"

#include "RunTime/CadClock.hpp"


// Waits for a run on another thread to leave. A run on this thread is the
// caller itself (a callback that resets): there is nothing to wait for.
void VirtualTime::wait_for_runner() const {
    if (queue_runner.load() == std::this_thread::get_id()) return;
    while (running_queue.load() > 0)
        std::this_thread::yield();
}

simul_clock::~simul_clock() {
    Reset();
}

void simul_clock::Delay(double ms) {
    std::lock_guard lock(queue.queue_mutex);
    queue.last_touched = this;
    if (queued) queue.unlink(*this);
    queue.insert(*this, ms / 1000.0 + queue.virtual_now_s.load());
}

void simul_clock::Reset() {
    std::lock_guard lock(queue.queue_mutex);
    queue.last_touched = this;
    if (queued) queue.unlink(*this);
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

// The logical time goes on from the hand-over date: the host's present
// (`host_now`, seconds) reads as the virtual now. Each pending entry is armed
// on the host for what remains of it, in the milliseconds the host counts.
void VirtualTime::reschedule_all(double host_now) {
    const double old = virtual_now_s.load();
    start_time_s.store(host_now - old);
    ++reset_waiters;
    wait_for_runner();
    for (simul_clock* c = detach_all(); c;) {
        simul_clock* next = c->next;
        c->next = nullptr;
        c->clock->Delay((c->due - old) * 1000.0);
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

int VirtualTime::pending() const {
    std::lock_guard lock(queue_mutex);
    return queue_count;
}

const simul_clock* VirtualTime::last_simul() const {
    std::lock_guard lock(queue_mutex);
    return last_touched;
}
