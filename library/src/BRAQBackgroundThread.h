#pragma once

#include "BRAQAudio/BRAQReleasable.h"
#include "BRAQAudio/platform/BRAQWorkQueue.h"

#include <atomic>
#include <functional>
#include <memory>

/// The library's background thread, for work that other threads must not wait for. It starts when it is first used by a
/// thread other than an I/O thread, and runs as long as the process.
class BRAQBackgroundThread {
  public:
    static BRAQBackgroundThread& instance();

    /// The same for callers that know that it has started.
    /// @realtime
    static BRAQBackgroundThread& started() noexcept;

    /// Runs `work` there, in order. Exceptions are logged. Any thread but an I/O thread.
    void run(std::function<void()> work);

    /// Destroys the object there.
    /// @realtime Any thread.
    void destroy(BRAQReleasable* object) noexcept;

    /// Destroys there what the calling thread has released during a device cycle.
    /// @realtime
    void destroyPending() noexcept;

  private:
    friend class BRAQReleasable;

    BRAQBackgroundThread();
    void destroyAll() noexcept;

    BRAQWorkQueue mQueue;
    std::atomic<BRAQReleasable*> mToDestroy{nullptr}; // all: atomic; linked by mNext, newest first
};

/// A reference that a procedure on an I/O thread takes to the object that it was installed for, of which it only has
/// the address. The address is valid as long as the procedure is installed: the object's destructor removes the
/// procedure first.
/// @realtime
template <class Object>
class BRAQIOReference {
  public:
    /// @param address of an object; finds nothing if its destruction has begun
    explicit BRAQIOReference(void* address) noexcept
        : mObject(std::static_pointer_cast<Object>(static_cast<Object*>(address)->weak_from_this().lock())) {}
    // The object is handed over only after this reference is completely released, so that its control block is not
    // freed here.
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
