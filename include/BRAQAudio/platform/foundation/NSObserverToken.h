#pragma once

#include "BRAQAudio/platform/export.h"

#include <memory>

/// @addtogroup foundation
/// @{

namespace braq {
class Registration;
}

/// Owns one registration of an observer. The observer is removed when the token is destroyed, assigned to, or
/// `remove`d. A token is not thread-safe; otherwise any thread but an I/O thread. It may outlive the observed object.
class BRAQ_EXPORT NSObserverToken {
  public:
    /// A token without an observer.
    NSObserverToken() noexcept;
    explicit NSObserverToken(std::shared_ptr<braq::Registration> registration) noexcept;
    ~NSObserverToken();
    NSObserverToken(NSObserverToken&& other) noexcept;
    NSObserverToken& operator=(NSObserverToken&& other) noexcept;

    /// Removes the observer. When this returns, the closure is not running on another thread, is not called again, and
    /// is destroyed. Inside the closure itself it returns at once; the closure is destroyed when it ends. Idempotent.
    /// Must not be called while holding a lock that the closure takes.
    void remove();

  private:
    std::shared_ptr<braq::Registration> mRegistration;
};

/// @}
