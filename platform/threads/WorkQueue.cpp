#include "BRAQAudio/platform/BRAQWorkQueue.h"
#include "BRAQAudio/platform/threads.h"
#include "platform/foundation/CaughtException.h"

#include <cerrno>
#include <utility>

BRAQWorkQueue::BRAQWorkQueue(const char* name, Thread kind, std::function<void()> onNudge)
    : mName(name), mKind(kind), mOnNudge(std::move(onNudge)), mWake() {
    sem_init(&mWake, 0, 0);
}

BRAQWorkQueue::~BRAQWorkQueue() { sem_destroy(&mWake); }

int BRAQWorkQueue::start() {
    const std::lock_guard lock(mMutex);
    return startLocked();
}

int BRAQWorkQueue::startLocked() {
    if (mHasThread) {
        return 0;
    }
    BRAQThread thread{};
    const int error = BRAQThreadStart(&thread, mName, main, this);
    mHasThread = error == 0;
    return error;
}

int BRAQWorkQueue::run(std::function<void()> work) {
    int error = 0;
    {
        const std::lock_guard lock(mMutex);
        mWork.push_back(std::move(work));
        error = startLocked();
    }
    sem_post(&mWake);
    return error;
}

void BRAQWorkQueue::nudge() noexcept {
    mNudged.store(true, std::memory_order_release);
    sem_post(&mWake);
}

void BRAQWorkQueue::main(void* self) { static_cast<BRAQWorkQueue*>(self)->serve(); }

void BRAQWorkQueue::serve() {
    do {
        while (sem_wait(&mWake) != 0 && errno == EINTR) {
        }
        do {
            if (mNudged.exchange(false, std::memory_order_acquire)) {
                braq::runAndLogExceptions(mName, mOnNudge);
            }
        } while (runOne());
    } while (!isToEnd());
}

bool BRAQWorkQueue::runOne() {
    std::function<void()> work;
    {
        const std::lock_guard lock(mMutex);
        if (mWork.empty()) {
            return false;
        }
        work = std::move(mWork.front());
        mWork.pop_front();
    }
    braq::runAndLogExceptions(mName, work);
    return true;
}

bool BRAQWorkQueue::isToEnd() {
    const std::lock_guard lock(mMutex);
    const bool isIdle = mKind == Thread::endsWhenIdle && mWork.empty();
    mHasThread = !isIdle;
    return isIdle;
}
