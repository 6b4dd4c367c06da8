#pragma once

#include "BRAQAudio/platform/export.h"
#include "BRAQAudio/platform/foundation/NSError.h"
#include "BRAQAudio/platform/foundation/NSObserverToken.h"

#include <any>
#include <functional>
#include <memory>
#include <string>
#include <utility>

namespace braq {
class NotificationObservers;
}

/// Something that happened: a name, the object that it happened to, and details by key. Keeps the object alive.
class NSNotification {
  public:
    explicit NSNotification(std::string name, NSUserInfo userInfo = {})
        : mName(std::move(name)), mUserInfo(std::move(userInfo)) {}

    /// @param object may be null, which is the same as none
    template <class Object>
    NSNotification(std::string name, std::shared_ptr<Object> object, NSUserInfo userInfo = {})
        : mName(std::move(name)), mIdentity(object), mObject(std::move(object)), mUserInfo(std::move(userInfo)) {}

    const std::string& name() const noexcept { return mName; }
    const NSUserInfo& userInfo() const noexcept { return mUserInfo; }

    /// The object, asked for under exactly the type that it was posted as; null for another type, or when there is none.
    template <class Object>
    std::shared_ptr<Object> object() const {
        const auto* object = std::any_cast<std::shared_ptr<Object>>(&mObject);
        return object != nullptr ? *object : nullptr;
    }

    /// The object without its type, to compare with; null when there is none.
    const std::shared_ptr<const void>& identity() const noexcept { return mIdentity; }

  private:
    std::string mName;
    std::shared_ptr<const void> mIdentity;
    std::any mObject;
    NSUserInfo mUserInfo;
};

/// Carries notifications from whoever posts them to whoever asked for their name. Any thread but an I/O thread.
class BRAQ_EXPORT NSNotificationCenter {
  public:
    /// The one centre of the process.
    static NSNotificationCenter& defaultCenter();

    /// Has `closure` called with every notification of that name and, where `object` is not null, about that object. Two
    /// pointers mean the same object when they share ownership. The centre does not keep the object alive, and an object
    /// that takes the memory of a dead one is never mistaken for it.
    /// @return a token; the observer is removed when it goes
    [[nodiscard]] NSObserverToken addObserver(std::string name, const std::shared_ptr<const void>& object,
                                              std::function<void(const NSNotification&)> closure);

    /// Calls the observers that were added before, in that order, on the calling thread, and returns after the last. No lock
    /// is held meanwhile: observers may add, remove and post. One that is removed before its turn is not called. What an
    /// observer throws is logged as "(ERROR) NSNotificationCenter : WHAT"; the others are called all the same.
    void postNotification(const NSNotification& notification);

  private:
    NSNotificationCenter();

    const std::shared_ptr<braq::NotificationObservers> mObservers;
};
