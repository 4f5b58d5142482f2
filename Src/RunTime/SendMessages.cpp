// Delivery of an instant's messages: the outermost holder of the environment
// lock takes the queue, releases the lock, and hands the messages to the
// host in order. The host is never called with the lock held.
#include "RunTime/Environment_RunTime.hpp"

#include "RunTime/CadenziumCore.hpp"
#include "Base/Console.hpp"
#include "Tree/Score.hpp"

#include <exception>
#include <vector>

namespace {

// An instant with up to this many messages delivers them from the stack.
constexpr std::size_t batch_on_stack = 256;

struct PositionReport {
    int index = -1;
    const Event* event = nullptr;
};

void deliver_one(cadenzium_core* core, message* m) {
    if (m->values.empty()) {
        error("WARNING: Empty message... !");
        return;
    }
    if (!core) return;
    try {
        core->send_one_message(*m);
    } catch (const std::exception& e) {
        error("%s - message to '%s' failed: %s", core->thisName(), m->receiver.c_str(), e.what());
    } catch (...) {
        error("%s - message to '%s' failed", core->thisName(), m->receiver.c_str());
    }
}

} // namespace

void GlobalEnvironment::send_messages(bool unlock) {
    // Without the lock in hand: take it if nobody holds it, else leave the
    // queue to its holder.
    if (!unlock) {
        if (!mutex->try_lock()) return;
        ++lock_depth;
    }
    if (lock_depth >= 2) {
        env_unlock(); // a nested holder: the outermost one delivers
        return;
    }
    const bool silent = core && core->silent_forward;
    message* stack_batch[batch_on_stack];
    std::vector<message*> heap_batch;
    message** batch = stack_batch;
    const std::size_t n = pending.size();
    if (n > batch_on_stack) {
        heap_batch.assign(pending.begin(), pending.end());
        batch = heap_batch.data();
    } else {
        std::copy(pending.begin(), pending.end(), stack_batch);
    }
    pending.clear();
    PositionReport report;
    Score* score = pre ? pre->get_x_netscore() : nullptr;
    if (position_to_report >= 0 && score && position_to_report <= score->get_cur_index())
        report = {position_to_report, score->events[static_cast<std::size_t>(position_to_report)]};
    position_to_report = -1;
    env_unlock();

    if (report.index >= 0 && core) core->report_position(report.index, report.event);
    for (std::size_t i = 0; i < n; ++i) {
        if (!silent) deliver_one(core, batch[i]);
        delete batch[i];
    }
}
