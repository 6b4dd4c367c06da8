#include "platform/hardware/Notifications.h"

#include "BRAQAudio/platform/foundation/NSLog.h"
#include "BRAQAudio/platform/threads.h"
#include "platform/hardware/drivers/PropertyAddress.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace {

constexpr const char* where = "Notifications";

bool matches(const AudioObjectPropertyAddress& pattern, const AudioObjectPropertyAddress& address) {
    return (pattern.mSelector == kAudioObjectPropertySelectorWildcard || pattern.mSelector == address.mSelector) &&
           (pattern.mScope == kAudioObjectPropertyScopeWildcard || pattern.mScope == address.mScope) &&
           (pattern.mElement == kAudioObjectPropertyElementWildcard || pattern.mElement == address.mElement);
}

} // namespace

bool braq::Notifications::Interest::isFor(AudioObjectID other, const AudioObjectPropertyAddress& otherAddress) const {
    return object == other && braq::isSame(address, otherAddress);
}

braq::Notifications::Notifications(std::function<void()> onNudge) : mOnNudge(std::move(onNudge)), mWake() {
    sem_init(&mWake, 0, 0);
}

void braq::Notifications::post(AudioObjectID object, std::vector<AudioObjectPropertyAddress> addresses) {
    append([this, change = Change{++mPosted, object, std::move(addresses)}] { deliver(change); });
}

void braq::Notifications::run(std::function<void()> work) { append(std::move(work)); }

void braq::Notifications::nudge() noexcept {
    mNudged.store(true, std::memory_order_release);
    sem_post(&mWake);
}

void braq::Notifications::append(std::function<void()> work) {
    {
        const std::lock_guard lock(mMutex);
        mWork.push_back(std::move(work));
        BRAQThread thread;
        if (!mHasThread) {
            mHasThread = BRAQThreadStart(&thread, "BRAQ notices", main, this) == 0;
        }
        if (!mHasThread) {
            NSLog("(ERROR) Notifications : the system has no thread to give; listeners hear of changes later");
        }
    }
    sem_post(&mWake);
}

void braq::Notifications::main(void* argument) {
    auto* notifications = static_cast<Notifications*>(argument);
    while (true) {
        while (sem_wait(&notifications->mWake) != 0 && errno == EINTR) {
        }
        if (notifications->mNudged.exchange(false, std::memory_order_acquire)) {
            runAndLogExceptions(where, notifications->mOnNudge);
        }
        std::function<void()> work;
        {
            const std::lock_guard lock(notifications->mMutex);
            if (!notifications->mWork.empty()) {
                work = std::move(notifications->mWork.front());
                notifications->mWork.pop_front();
            }
        }
        if (work) {
            runAndLogExceptions(where, work);
        }
    }
}

void braq::Notifications::deliver(const Change& change) const {
    const auto isMeant = [&change](const Interest& interest) {
        return interest.object == change.object && interest.after < change.number &&
               std::ranges::any_of(change.addresses, [&](const auto& one) { return matches(interest.address, one); });
    };
    const auto whatItHears = [&change](const Interest& interest) {
        Change heard{change.number, change.object, {}};
        std::ranges::copy_if(change.addresses, std::back_inserter(heard.addresses),
                             [&](const auto& one) { return matches(interest.address, one); });
        return heard;
    };
    mListeners->deliver(where, isMeant, whatItHears);
}

void braq::Notifications::addListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                      AudioObjectPropertyListenerProc listener, void* clientData) {
    const std::lock_guard lock(mRegistryMutex);
    const bool isThere = std::ranges::any_of(mRegistry, [&](const Listener& known) {
        return known.interest.isFor(object, address) && known.procedure == listener && known.clientData == clientData;
    });
    if (isThere) {
        return;
    }
    const Interest interest{object, address, mPosted.load()};
    auto registration = mListeners->add(interest, [listener, clientData](const Change& change) {
        listener(change.object, static_cast<UInt32>(change.addresses.size()), change.addresses.data(), clientData);
    });
    mRegistry.push_back({interest, listener, clientData, std::move(registration)});
}

void braq::Notifications::removeListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                         AudioObjectPropertyListenerProc listener, void* clientData) {
    std::shared_ptr<Registration> registration;
    {
        const std::lock_guard lock(mRegistryMutex);
        const auto found = std::ranges::find_if(mRegistry, [&](const Listener& known) {
            return known.interest.isFor(object, address) && known.procedure == listener &&
                   known.clientData == clientData;
        });
        if (found == mRegistry.end()) {
            return;
        }
        registration = std::move(found->registration);
        mRegistry.erase(found);
    }
    registration->end();
}

void braq::Notifications::removeListenersOf(AudioObjectID object) {
    const std::lock_guard lock(mRegistryMutex);
    std::erase_if(mRegistry, [&](Listener& known) {
        if (known.interest.object != object) {
            return false;
        }
        known.registration->end();
        return true;
    });
}
