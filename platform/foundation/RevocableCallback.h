#pragma once

#include "platform/foundation/CallInProgress.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>

namespace braq {

/// A closure that can be revoked while other threads may be calling it. Calls may overlap, on several threads and
/// nested; no lock is held while one runs. The caller keeps this object alive until the call returns. Any thread but an
/// I/O thread.
template <class... Arguments>
class RevocableCallback {
  public:
    explicit RevocableCallback(std::function<void(Arguments...)> closure)
        : mClosure(std::make_shared<const std::function<void(Arguments...)>>(std::move(closure))) {}
    RevocableCallback(const RevocableCallback&) = delete;
    RevocableCallback& operator=(const RevocableCallback&) = delete;

    /// Calls the closure unless it was revoked. Exceptions of the closure pass through.
    /// @return whether it was called
    bool call(Arguments... arguments) {
        const Admission admission(*this);
        if (admission.closure == nullptr) {
            return false;
        }
        (*admission.closure)(std::forward<Arguments>(arguments)...);
        return true;
    }

    /// When this returns, the closure is not called again, is not running on another thread, and is destroyed. Inside
    /// the closure it returns at once, and the closure is destroyed when its last call ends. Idempotent. Two callbacks
    /// that revoke each other on two threads at the same time deadlock.
    void revoke() {
        std::shared_ptr<const std::function<void(Arguments...)>> closure; // destroyed after the lock is released
        std::unique_lock lock(mMutex);
        closure = std::move(mClosure);
        if (!CallInProgress::isInside(this)) {
            mIsIdle.wait(lock, [this] { return mCalls == 0; });
        }
    }

  private:
    struct Admission {
        explicit Admission(RevocableCallback& of) : callback(of), mark(&of) {
            const std::lock_guard lock(callback.mMutex);
            closure = callback.mClosure;
            ++callback.mCalls;
        }
        // The closure may own objects whose destructors revoke, so it is destroyed while the call still counts as
        // running.
        ~Admission() {
            closure.reset();
            const std::lock_guard lock(callback.mMutex);
            if (--callback.mCalls == 0) {
                callback.mIsIdle.notify_all();
            }
        }
        Admission(const Admission&) = delete;
        Admission& operator=(const Admission&) = delete;

        RevocableCallback& callback;
        const CallInProgress mark;
        std::shared_ptr<const std::function<void(Arguments...)>> closure; // null once revoked
    };

    std::mutex mMutex;
    std::condition_variable mIsIdle;
    std::shared_ptr<const std::function<void(Arguments...)>> mClosure; // under mMutex; null once revoked
    int mCalls = 0;                                                    // under mMutex
};

} // namespace braq
