#include "BRAQAudio/platform/foundation/NSNotificationCenter.h"

#include "platform/foundation/ObserverList.h"

namespace {

struct NotificationInterest {
    bool accepts(const NSNotification& notification) const {
        return name == notification.name() && (!hasObject || isOwnedWith(notification.identity()));
    }

    // A weak reference keeps the control block, so no later object has the same owner.
    bool isOwnedWith(const std::shared_ptr<const void>& other) const {
        return !object.owner_before(other) && !other.owner_before(object);
    }

    std::string name;
    bool hasObject;
    std::weak_ptr<const void> object;
};

} // namespace

class braq::NotificationObservers : public braq::ObserverList<NotificationInterest, NSNotification> {};

NSNotificationCenter::NSNotificationCenter() : mObservers(std::make_shared<braq::NotificationObservers>()) {}

NSNotificationCenter& NSNotificationCenter::defaultCenter() {
    // Never destroyed: threads that still run while the process exits may post.
    static NSNotificationCenter& center = *new NSNotificationCenter;
    return center;
}

NSObserverToken NSNotificationCenter::addObserver(std::string name, const std::shared_ptr<const void>& object,
                                                  std::function<void(const NSNotification&)> closure) {
    return NSObserverToken(
        mObservers->add(NotificationInterest{std::move(name), object != nullptr, object}, std::move(closure)));
}

void NSNotificationCenter::postNotification(const NSNotification& notification) {
    mObservers->deliver(
        "NSNotificationCenter", [&](const NotificationInterest& interest) { return interest.accepts(notification); },
        [&](const NotificationInterest&) -> const NSNotification& { return notification; });
}
