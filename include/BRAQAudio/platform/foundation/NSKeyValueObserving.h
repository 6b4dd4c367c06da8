#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/foundation/NSObserverToken.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace braq {
class KeyObservers;
}

/// Base of objects whose properties can be observed under their names. Any thread but an I/O thread.
class BRAQ_EXPORT NSKeyValueObserving {
  public:
    NSKeyValueObserving(const NSKeyValueObserving&) = delete;
    NSKeyValueObserving& operator=(const NSKeyValueObserving&) = delete;

    /// Has `closure` called with `key` after each change of that property, or of one that it depends on.
    /// @return a token; the observer is removed when it goes. It may outlive the object.
    [[nodiscard]] NSObserverToken addObserver(const std::string& key,
                                              std::function<void(const std::string& key)> closure);

  protected:
    NSKeyValueObserving();
    virtual ~NSKeyValueObserving();

    /// The properties whose change also changes `key`; none unless a derived class says so. Declarations chain, also in a
    /// circle. Asked when an observer is added.
    virtual std::vector<std::string> keyPathsForValuesAffectingValueForKey(const std::string& key) const;

    /// For setters, after the change: calls every observer of `key` and of the keys that depend on it, each once, in the order
    /// in which they were added, on the calling thread. No lock is held meanwhile: observers may add, remove and set. What
    /// an observer throws is logged as "(ERROR) NSKeyValueObserving : WHAT"; the others are called all the same. An
    /// observer may let the object go, so a setter touches nothing of it afterwards.
    void didChangeValueForKey(const std::string& key) const;

  private:
    const std::shared_ptr<braq::KeyObservers> mObservers;
};
