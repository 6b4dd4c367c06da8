#include "tests/support/WorkerHold.h"

namespace braq::tests {

namespace {

// Held while a worker looks for the hold, so that a hold cannot go away between the look and the wait.
std::mutex currentMutex;
WorkerHold* current = nullptr;

} // namespace

WorkerHold::WorkerHold(WorkerPoint point, const void* record) : mPoint(point), mRecord(record) {
    const std::lock_guard lock(currentMutex);
    current = this;
    workerPointHook.store(pass, std::memory_order_release);
}

WorkerHold::~WorkerHold() {
    release();
    {
        const std::lock_guard lock(currentMutex);
        workerPointHook.store(nullptr, std::memory_order_release);
        current = nullptr;
    }
    std::unique_lock lock(mMutex);
    mChanged.wait(lock, [this] { return !mHolding; });
}

void WorkerHold::waitUntilHeld() {
    std::unique_lock lock(mMutex);
    mChanged.wait(lock, [this] { return mHolding; });
}

void WorkerHold::release() {
    const std::lock_guard lock(mMutex);
    mReleased = true;
    mChanged.notify_all();
}

void WorkerHold::pass(WorkerPoint point, void* record) {
    std::unique_lock searching(currentMutex);
    if (current == nullptr || point != current->mPoint || (current->mRecord != nullptr && record != current->mRecord)) {
        return;
    }
    WorkerHold& found = *current;
    std::unique_lock lock(found.mMutex);
    searching.unlock();
    if (found.mReleased || found.mHolding) {
        return;
    }
    found.mHolding = true;
    found.mChanged.notify_all();
    found.mChanged.wait(lock, [&] { return found.mReleased; });
    found.mHolding = false;
    found.mChanged.notify_all();
}

} // namespace braq::tests
