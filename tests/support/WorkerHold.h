#pragma once

#include "library/core/BWorkerRun.h"

#include <condition_variable>
#include <mutex>

namespace braq::tests {

/// Holds the first worker thread that comes to `point` there. One at a time in a test program.
class WorkerHold {
  public:
    /// @param record hold only for this worker or buffer; null for any
    explicit WorkerHold(WorkerPoint point, const void* record = nullptr);
    /// Releases the worker and returns when it has gone on.
    ~WorkerHold();
    WorkerHold(const WorkerHold&) = delete;
    WorkerHold& operator=(const WorkerHold&) = delete;

    void waitUntilHeld();
    /// Lets the worker go on; none is held after that.
    void release();

  private:
    static void pass(WorkerPoint point, void* record);

    const WorkerPoint mPoint;
    const void* const mRecord;
    std::mutex mMutex;
    std::condition_variable mChanged;
    bool mHolding = false;
    bool mReleased = false;
};

} // namespace braq::tests
