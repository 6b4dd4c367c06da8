#pragma once

#include "BRAQAudio/BRAQReleasable.h"

#include <semaphore.h>

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

/// The thread of the library that does what other threads must not wait for. Starts with its first use by another thread than
/// an I/O thread, and runs as long as the process.
class BRAQBackgroundThread {
  public:
    static BRAQBackgroundThread& instance();

    /// The same, for those that know that it has started.
    /// @realtime
    static BRAQBackgroundThread& started() noexcept;

    /// Runs `work` there, in order. What it throws is logged. Any thread but an I/O thread.
    void run(std::function<void()> work);

    /// Destroys the object there.
    /// @realtime Any thread.
    void destroy(BRAQReleasable* object) noexcept;

    /// Destroys there what the calling thread has let go during a device cycle.
    /// @realtime
    void destroyPending() noexcept;

  private:
    friend class BRAQReleasable;

    BRAQBackgroundThread();
    static void main(void* self);
    void destroyAll() noexcept;
    bool runOne();

    sem_t mWake;
    std::atomic<BRAQReleasable*> mToDestroy{nullptr}; // all: atomic; linked by mNext, the last one first
    std::mutex mMutex;
    std::deque<std::function<void()>> mWork; // under the mutex
};

/// A reference that a procedure on an I/O thread takes of the object that it was installed for, which keeps nothing but an
/// address. The address is good as long as the procedure is installed: the object's destructor removes it before it goes.
/// @realtime
template <class Object>
class BRAQIOReference {
  public:
    /// @param address of an object; finds nothing if that has begun to be destroyed
    explicit BRAQIOReference(void* address) noexcept
        : mObject(std::static_pointer_cast<Object>(static_cast<Object*>(address)->weak_from_this().lock())) {}
    // Only when this reference is gone whole is the object handed over, so that its last bookkeeping is not freed here.
    ~BRAQIOReference() {
        mObject.reset();
        BRAQBackgroundThread::started().destroyPending();
    }
    BRAQIOReference(const BRAQIOReference&) = delete;
    BRAQIOReference& operator=(const BRAQIOReference&) = delete;

    Object* operator->() const noexcept { return mObject.get(); }
    Object& operator*() const noexcept { return *mObject; }
    explicit operator bool() const noexcept { return mObject != nullptr; }

  private:
    std::shared_ptr<Object> mObject;
};
