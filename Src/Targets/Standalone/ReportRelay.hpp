// Hands what the engine reports in an audio thread (JACK's process
// callback) over to the main thread, which writes it. The audio thread does
// no I/O, and once the slots have grown to the size of the score's messages
// it allocates nothing either: a message is copied into a slot whose string
// and vector keep their capacity from one turn of the ring to the next.
#pragma once

#include "FollowReport.hpp"
#include "RunTime/Environment_RunTime.hpp"

#include <atomic>
#include <mutex>
#include <vector>

class ReportRelay {
public:
    explicit ReportRelay(size_t slots = 1024);

    // Any thread: keep a report for the main thread. A report that finds
    // the ring full is dropped and counted.
    void position(const PositionReport& report);
    void message(const ::message& m);

    // Main thread: writes every report kept so far, in order.
    void drain(FollowReport& report);
    size_t dropped() const { return lost.load(); }

private:
    struct Slot {
        bool is_message = false;
        PositionReport position;
        ::message msg;
    };
    // The slot to fill, or null when the ring is full; called locked.
    Slot* claim();

    std::mutex lock;
    std::vector<Slot> ring;
    size_t head = 0; // the oldest report
    size_t count = 0;
    std::atomic<size_t> lost{0};
    ::message scratch; // the main thread's copy while it writes
};
