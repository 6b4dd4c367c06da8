#include "library/src/BRAQBackgroundThread.h"

#include "BRAQAudio/platform/hardware.h"

#include <system_error>
#include <utility>

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

BRAQBackgroundThread::BRAQBackgroundThread()
    : mQueue("BRAQBackground", BRAQWorkQueue::Thread::stays, [this] { destroyAll(); }) {
    if (const int error = mQueue.start()) {
        throw std::system_error(error, std::generic_category(), "BRAQBackgroundThread");
    }
    startedThread.store(this, std::memory_order_release);
}

void BRAQBackgroundThread::run(std::function<void()> work) { mQueue.run(std::move(work)); }

void BRAQBackgroundThread::destroy(BRAQReleasable* object) noexcept {
    object->mNext = mToDestroy.load(std::memory_order_relaxed);
    while (!mToDestroy.compare_exchange_weak(object->mNext, object, std::memory_order_release,
                                             std::memory_order_relaxed)) {
    }
    mQueue.nudge();
}

void BRAQBackgroundThread::destroyPending() noexcept {
    while (pending != nullptr) {
        BRAQReleasable* const object = pending;
        pending = object->mNext;
        destroy(object);
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
