// Work that must not run on the thread of the logical instants (writing
// files, running gnuplot): each job runs on a short thread of its own. The
// owner waits for the jobs still running when it goes, so no job outlives
// the engine whose console it reports to.
#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>

class HelperJobs {
public:
    HelperJobs() = default;
    HelperJobs(const HelperJobs&) = delete;
    HelperJobs& operator=(const HelperJobs&) = delete;
    ~HelperJobs() { wait_idle(); }

    // Starts `job` on a new thread and returns at once.
    void run(std::function<void()> job);
    // Returns when every job started so far has ended.
    void wait_idle();
    int running() const;

private:
    mutable std::mutex mutex;
    std::condition_variable idle;
    int count = 0;
};
