#include "Exp/HelperJobs.hpp"

#include <thread>

void HelperJobs::run(std::function<void()> job) {
    {
        std::lock_guard lock(mutex);
        ++count;
    }
    std::thread([this, work = std::move(job)]() mutable {
        work();
        work = nullptr; // what the job holds goes before its owner may
        std::lock_guard lock(mutex);
        if (--count == 0) idle.notify_all();
    }).detach();
}

void HelperJobs::wait_idle() {
    std::unique_lock lock(mutex);
    idle.wait(lock, [this] { return count == 0; });
}

int HelperJobs::running() const {
    std::lock_guard lock(mutex);
    return count;
}
