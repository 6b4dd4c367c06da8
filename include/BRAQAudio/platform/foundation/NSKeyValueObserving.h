#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/foundation/NSObserverToken.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

/// @addtogroup foundation
/// @{

namespace braq {
class KeyObservers;
}

/// Base of objects with observable properties. Any thread but an I/O thread.
class BRAQ_EXPORT NSKeyValueObserving {
  public:
    NSKeyValueObserving(const NSKeyValueObserving&) = delete;
    NSKeyValueObserving& operator=(const NSKeyValueObserving&) = delete;

    /// Calls `closure` with `key` after each change of that property, or of one that it depends on.
    /// @return a token; destroying it removes the observer. It may outlive the object.
    [[nodiscard]] NSObserverToken addObserver(const std::string& key,
                                              std::function<void(const std::string& key)> closure);

  protected:
    NSKeyValueObserving();
    virtual ~NSKeyValueObserving();

    /// The properties whose changes also change `key`; none by default. Dependencies are transitive and may be
    /// circular. Asked when an observer is added.
    virtual std::vector<std::string> keyPathsForValuesAffectingValueForKey(const std::string& key) const;

    /// For setters, after the change: calls every observer of `key` and of the keys that depend on it, once each, in
    /// the order in which they were added, on the calling thread. No lock is held: observers may add, remove and set.
    /// If an observer throws, that is logged as "(ERROR) NSKeyValueObserving : WHAT" and the others are still called.
    /// An observer may release the object, so a setter must not touch it afterwards.
    void didChangeValueForKey(const std::string& key) const;

  private:
    const std::shared_ptr<braq::KeyObservers> mObservers;
};

/// @}
