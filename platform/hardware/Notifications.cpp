#include "platform/hardware/Notifications.h"

#include "BRAQAudio/platform/foundation/NSLog.h"
#include "platform/hardware/drivers/PropertyAddress.h"

#include <algorithm>
#include <utility>

namespace braq {
namespace {

constexpr const char* name = "BRAQ notices";

bool matches(const AudioObjectPropertyAddress& pattern, const AudioObjectPropertyAddress& address) {
    return (pattern.mSelector == kAudioObjectPropertySelectorWildcard || pattern.mSelector == address.mSelector) &&
           (pattern.mScope == kAudioObjectPropertyScopeWildcard || pattern.mScope == address.mScope) &&
           (pattern.mElement == kAudioObjectPropertyElementWildcard || pattern.mElement == address.mElement);
}

} // namespace

bool Notifications::Interest::isFor(AudioObjectID other, const AudioObjectPropertyAddress& otherAddress) const {
    return object == other && isSame(address, otherAddress);
}

Notifications::Notifications(std::function<void()> onNudge)
    : mQueue(name, BRAQWorkQueue::Thread::stays, std::move(onNudge)) {}

void Notifications::post(AudioObjectID object, std::vector<AudioObjectPropertyAddress> addresses) {
    append([this, change = Change{++mPosted, object, std::move(addresses)}] { deliver(change); });
}

void Notifications::run(std::function<void()> work) { append(std::move(work)); }

void Notifications::nudge() noexcept { mQueue.nudge(); }

void Notifications::append(std::function<void()> work) {
    if (mQueue.run(std::move(work)) != 0) {
        NSLog("(ERROR) Notifications : the system has no thread to give; listeners hear of changes later");
    }
}

void Notifications::deliver(const Change& change) const {
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
    mListeners->deliver(name, isMeant, whatItHears);
}

void Notifications::addListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
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

void Notifications::removeListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
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

void Notifications::removeListenersOf(AudioObjectID object) {
    const std::lock_guard lock(mRegistryMutex);
    std::erase_if(mRegistry, [&](Listener& known) {
        if (known.interest.object != object) {
            return false;
        }
        known.registration->end();
        return true;
    });
}

} // namespace braq
