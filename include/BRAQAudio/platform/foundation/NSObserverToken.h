#pragma once

#include "BRAQAudio/platform/export.h"

#include <memory>

namespace braq {
class Registration;
}

/// Keeps one observer in place: the observer is removed when its token is destroyed, assigned to, or `remove`d. Two threads
/// must not use one token at once; otherwise any thread but an I/O thread. It may outlive what it observes.
class BRAQ_EXPORT NSObserverToken {
  public:
    /// A token of no observer.
    NSObserverToken() noexcept;
    explicit NSObserverToken(std::shared_ptr<braq::Registration> registration) noexcept;
    ~NSObserverToken();
    NSObserverToken(NSObserverToken&& other) noexcept;
    NSObserverToken& operator=(NSObserverToken&& other) noexcept;

    /// Removes the observer: when this returns its closure is not running on another thread, is not called again, and is
    /// destroyed. From inside the closure it returns at once; the closure is destroyed when it ends. Harmless when
    /// repeated. Must not be called with a lock held that the closure takes.
    void remove();

  private:
    std::shared_ptr<braq::Registration> mRegistration;
};
