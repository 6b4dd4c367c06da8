#pragma once

#include "platform/foundation/CaughtException.h"
#include "platform/foundation/Registration.h"
#include "platform/foundation/RevocableCallback.h"

#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace braq {

/// Observers in order of registration, each with an interest and a closure that takes an `Argument`. Observers may add,
/// remove and deliver inside a call. Create it with `std::make_shared`; observers may outlive it. Any thread but an I/O
/// thread.
template <class Interest, class Argument>
class ObserverList : public std::enable_shared_from_this<ObserverList<Interest, Argument>> {
  public:
    std::shared_ptr<Registration> add(Interest interest, std::function<void(const Argument&)> closure) {
        auto observer = std::make_shared<Observer>(std::move(interest), std::move(closure), this->weak_from_this());
        const std::lock_guard lock(mMutex);
        mObservers.push_back(observer);
        return observer;
    }

    /// Calls each observer that was registered when the call began and whose interest `isMeant` accepts, on this thread
    /// and without a lock; not those removed before they are reached. `argument` makes the argument from the interest.
    /// Exceptions of an observer are logged under `where`, and the next one is called. An observer may release the
    /// list.
    template <class IsMeant, class MakeArgument>
    void deliver(const char* where, IsMeant isMeant, MakeArgument argument) const {
        for (const auto& observer : observersMeant(isMeant)) {
            runAndLogExceptions(where, [&] { observer->callback.call(argument(observer->interest)); });
        }
    }

  private:
    struct Observer final : Registration {
        Observer(Interest what, std::function<void(const Argument&)> closure, std::weak_ptr<ObserverList> in)
            : interest(std::move(what)), callback(std::move(closure)), list(std::move(in)) {}

        void end() override {
            if (const auto owner = list.lock()) {
                owner->remove(this);
            }
            callback.revoke();
        }

        const Interest interest;
        RevocableCallback<const Argument&> callback;
        const std::weak_ptr<ObserverList> list;
    };

    template <class IsMeant>
    std::vector<std::shared_ptr<Observer>> observersMeant(IsMeant isMeant) const {
        std::vector<std::shared_ptr<Observer>> meant;
        const std::lock_guard lock(mMutex);
        for (const auto& observer : mObservers) {
            if (isMeant(observer->interest)) {
                meant.push_back(observer);
            }
        }
        return meant;
    }

    void remove(const Observer* gone) {
        const std::lock_guard lock(mMutex);
        std::erase_if(mObservers, [gone](const auto& observer) { return observer.get() == gone; });
    }

    mutable std::mutex mMutex;
    std::vector<std::shared_ptr<Observer>> mObservers; // under mMutex
};

} // namespace braq
