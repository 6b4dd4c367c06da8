#include "library/src/BRAQBackgroundThread.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "BRAQAudio/platform/hardware.h"
#include "BRAQAudio/platform/threads.h"

#include <cerrno>
#include <exception>
#include <system_error>

namespace {

// Objects released in the current cycle. Initial-exec, so that the first access on a thread does not allocate.
thread_local BRAQReleasable* pending [[gnu::tls_model("initial-exec")]] = nullptr;

std::atomic<BRAQBackgroundThread*> startedThread{nullptr};

} // namespace

BRAQReleasable::~BRAQReleasable() = default;

void BRAQReleasable::letGo(BRAQReleasable* object) noexcept {
    if (BRAQThreadIsInDeviceCycle()) {
        object->mNext = pending;
        pending = object;
    } else if (object->isOnThreadOfItsOwn()) {
        BRAQBackgroundThread::started().destroy(object);
    } else {
        delete object;
    }
}

BRAQBackgroundThread& BRAQBackgroundThread::instance() {
    // Never destroyed: I/O threads may release objects while the process exits.
    static auto* const thread = new BRAQBackgroundThread;
    return *thread;
}

BRAQBackgroundThread& BRAQBackgroundThread::started() noexcept {
    return *startedThread.load(std::memory_order_acquire);
}

BRAQBackgroundThread::BRAQBackgroundThread() {
    sem_init(&mWake, 0, 0);
    BRAQThread thread{};
    if (const int error = BRAQThreadStart(&thread, "BRAQBackground", main, this)) {
        throw std::system_error(error, std::generic_category(), "BRAQBackgroundThread");
    }
    startedThread.store(this, std::memory_order_release);
}

void BRAQBackgroundThread::run(std::function<void()> work) {
    {
        const std::lock_guard lock(mMutex);
        mWork.push_back(std::move(work));
    }
    sem_post(&mWake);
}

void BRAQBackgroundThread::destroy(BRAQReleasable* object) noexcept {
    object->mNext = mToDestroy.load(std::memory_order_relaxed);
    while (!mToDestroy.compare_exchange_weak(object->mNext, object, std::memory_order_release,
                                             std::memory_order_relaxed)) {
    }
    sem_post(&mWake);
}

void BRAQBackgroundThread::destroyPending() noexcept {
    while (pending != nullptr) {
        BRAQReleasable* const object = pending;
        pending = object->mNext;
        destroy(object);
    }
}

void BRAQBackgroundThread::main(void* self) {
    auto& thread = *static_cast<BRAQBackgroundThread*>(self);
    while (true) {
        while (sem_wait(&thread.mWake) != 0 && errno == EINTR) {
        }
        thread.destroyAll();
        while (thread.runOne()) {
        }
    }
}

void BRAQBackgroundThread::destroyAll() noexcept {
    BRAQReleasable* object = mToDestroy.exchange(nullptr, std::memory_order_acquire);
    while (object != nullptr) {
        BRAQReleasable* const next = object->mNext;
        delete object;
        object = next;
    }
}

bool BRAQBackgroundThread::runOne() {
    std::function<void()> work;
    {
        const std::lock_guard lock(mMutex);
        if (mWork.empty()) {
            return false;
        }
        work = std::move(mWork.front());
        mWork.pop_front();
    }
    try {
        work();
    } catch (...) {
        NSXLogError("BRAQBackgroundThread", NSXErrorFromException(std::current_exception())->localizedDescription());
    }
    return true;
}
