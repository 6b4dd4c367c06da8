#include "BRAQAudio/platform/foundation/BRAQMainQueue.h"

#include "platform/foundation/CaughtException.h"

#include <sys/eventfd.h>

#include <utility>

BRAQMainQueue& BRAQMainQueue::mainQueue() {
    // Never destroyed: threads that still run while the process exits may submit.
    static BRAQMainQueue& queue = *new BRAQMainQueue;
    return queue;
}

void BRAQMainQueue::submit(std::function<void()> closure) { append(std::move(closure), false); }

void BRAQMainQueue::stop() { append({}, true); }

int BRAQMainQueue::fileDescriptor() {
    const std::lock_guard lock(mMutex);
    if (mDescriptor < 0) {
        mDescriptor = ::eventfd(mWaiting.empty() ? 0 : 1, EFD_CLOEXEC | EFD_NONBLOCK);
    }
    return mDescriptor;
}

std::size_t BRAQMainQueue::drain() { return drainFor(nullptr); }

void BRAQMainQueue::run() {
    const auto run = std::make_shared<Run>();
    std::unique_lock lock(mMutex);
    mRuns.push_back(run);
    for (;;) {
        mHasNews.wait(lock, [&] { return run->isEnded || !mWaiting.empty(); });
        if (run->isEnded) {
            return;
        }
        lock.unlock();
        drainFor(run.get());
        lock.lock();
    }
}

void BRAQMainQueue::append(std::function<void()> closure, bool isStop) {
    const std::lock_guard lock(mMutex);
    mWaiting.push_back({mSubmitted, std::move(closure), isStop});
    ++mSubmitted;
    raiseDescriptor();
    mHasNews.notify_all();
}

std::size_t BRAQMainQueue::drainFor(const Run* run) {
    const std::lock_guard turn(mTurn);
    std::unique_lock lock(mMutex);
    const std::uint64_t end = mSubmitted;
    lock.unlock();
    std::size_t count = 0;
    for (std::function<void()> closure; takeNext(run, end, closure); closure = nullptr) {
        braq::runAndLogExceptions("BRAQMainQueue", closure);
        ++count;
    }
    return count;
}

bool BRAQMainQueue::takeNext(const Run* run, std::uint64_t end, std::function<void()>& closure) {
    const std::lock_guard lock(mMutex);
    while (!(run != nullptr && run->isEnded) && !mWaiting.empty() && mWaiting.front().number < end) {
        Entry entry = std::move(mWaiting.front());
        mWaiting.pop_front();
        if (mWaiting.empty()) {
            lowerDescriptor();
        }
        if (!entry.isStop) {
            closure = std::move(entry.closure);
            return true;
        }
        endInnermostRun();
    }
    return false;
}

void BRAQMainQueue::endInnermostRun() {
    if (!mRuns.empty()) {
        mRuns.back()->isEnded = true;
        mRuns.pop_back();
        mHasNews.notify_all();
    }
}

void BRAQMainQueue::raiseDescriptor() const {
    if (mDescriptor >= 0) {
        // Fails only if the counter is full, and then it is readable anyway.
        static_cast<void>(::eventfd_write(mDescriptor, 1));
    }
}

void BRAQMainQueue::lowerDescriptor() const {
    if (mDescriptor >= 0) {
        eventfd_t count;
        static_cast<void>(::eventfd_read(mDescriptor, &count));
    }
}
