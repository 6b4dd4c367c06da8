#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/foundation/NSError.h"
#include "BRAQAudio/platform/foundation/NSObserverToken.h"

#include <any>
#include <functional>
#include <memory>
#include <string>
#include <utility>

/// @addtogroup foundation
/// @{

namespace braq {
class NotificationObservers;
}

/// An event: a name, the object that it is about, and details by key. Retains the object.
class NSNotification {
  public:
    explicit NSNotification(std::string name, NSUserInfo userInfo = {})
        : mName(std::move(name)), mUserInfo(std::move(userInfo)) {}

    /// @param object may be null: no object
    template <class Object>
    NSNotification(std::string name, std::shared_ptr<Object> object, NSUserInfo userInfo = {})
        : mName(std::move(name)), mIdentity(object), mObject(std::move(object)), mUserInfo(std::move(userInfo)) {}

    const std::string& name() const noexcept { return mName; }
    const NSUserInfo& userInfo() const noexcept { return mUserInfo; }

    /// The object, as exactly the type that it was posted with; null for another type or without an object.
    template <class Object>
    std::shared_ptr<Object> object() const {
        const auto* object = std::any_cast<std::shared_ptr<Object>>(&mObject);
        return object != nullptr ? *object : nullptr;
    }

    /// The object without its type, for comparison; null without an object.
    const std::shared_ptr<const void>& identity() const noexcept { return mIdentity; }

  private:
    std::string mName;
    std::shared_ptr<const void> mIdentity;
    std::any mObject;
    NSUserInfo mUserInfo;
};

/// Delivers notifications to the observers of their name. Any thread but an I/O thread.
class BRAQ_EXPORT NSNotificationCenter {
  public:
    /// The notification centre of the process.
    static NSNotificationCenter& defaultCenter();

    /// Calls `closure` with every notification of that name and, if `object` is not null, about that object. Two
    /// pointers mean the same object if they share ownership. The centre does not retain the object, and never mistakes
    /// a new object for a dead one at the same address.
    /// @return a token; destroying it removes the observer
    [[nodiscard]] NSObserverToken addObserver(std::string name, const std::shared_ptr<const void>& object,
                                              std::function<void(const NSNotification&)> closure);

    /// Calls the observers that are registered when the call begins, in order of registration, on the calling thread,
    /// and returns after the last. No lock is held: observers may add, remove and post. An observer that is removed
    /// before it was called is not called. If an observer throws, that is logged as "(ERROR) NSNotificationCenter :
    /// WHAT" and the others are still called.
    void postNotification(const NSNotification& notification);

  private:
    NSNotificationCenter();

    const std::shared_ptr<braq::NotificationObservers> mObservers;
};

/// @}
