#pragma once

#include "BRAQAudio/platform/threads.h"

#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <thread>
#include <vector>

namespace braq::tests {

inline void pin(thread_act_t thread, long processor) {
    cpu_set_t set;
    CPU_ZERO(&set);
    CPU_SET(static_cast<std::size_t>(processor), &set);
    sched_setaffinity(thread, sizeof(set), &set);
}

inline long processorCount() { return sysconf(_SC_NPROCESSORS_ONLN); }

/// Threads at normal priority that keep every processor busy until destroyed.
class BusyThreads {
  public:
    BusyThreads() {
        for (long processor = 0; processor < processorCount(); ++processor) {
            mThreads.emplace_back([this, processor] {
                pin(BRAQThreadSelf(), processor);
                while (!mStop.load(std::memory_order_relaxed)) {
                }
            });
        }
    }
    ~BusyThreads() {
        mStop.store(true);
        for (std::thread& thread : mThreads) {
            thread.join();
        }
    }
    BusyThreads(const BusyThreads&) = delete;
    BusyThreads& operator=(const BusyThreads&) = delete;

  private:
    std::atomic<bool> mStop{false};
    std::vector<std::thread> mThreads;
};

} // namespace braq::tests
