#include "ReportRelay.hpp"

#include <cassert>
#include <utility>

ReportRelay::ReportRelay(size_t slots)
    : ring(slots) {
    assert(slots > 0 && "a relay needs room for one report");
}

ReportRelay::Slot* ReportRelay::claim() {
    if (count == ring.size()) {
        ++lost;
        return nullptr;
    }
    Slot* slot = &ring[(head + count) % ring.size()];
    ++count;
    return slot;
}

void ReportRelay::position(const PositionReport& report) {
    std::lock_guard guard(lock);
    Slot* slot = claim();
    if (!slot) return;
    slot->is_message = false;
    slot->position = report;
}

void ReportRelay::message(const ::message& m) {
    std::lock_guard guard(lock);
    Slot* slot = claim();
    if (!slot) return;
    slot->is_message = true;
    slot->msg.receiver.assign(m.receiver);
    slot->msg.values.assign(m.values.begin(), m.values.end());
    slot->msg.source = m.source;
    slot->msg.date = m.date;
}

// One report at a time leaves the ring, so the lock is never held while
// writing. A message is swapped out: the slot gets back the scratch
// message's buffers, emptied here so that the values die in this thread
// and no capacity is lost.
void ReportRelay::drain(FollowReport& report) {
    for (;;) {
        PositionReport position;
        bool is_message = false;
        {
            std::lock_guard guard(lock);
            if (count == 0) return;
            Slot& slot = ring[head];
            is_message = slot.is_message;
            if (is_message)
                std::swap(slot.msg, scratch);
            else
                position = slot.position;
            head = (head + 1) % ring.size();
            --count;
        }
        if (!is_message) {
            report.position(position);
            continue;
        }
        report.message(scratch);
        scratch.values.clear();
        scratch.receiver.clear();
    }
}
