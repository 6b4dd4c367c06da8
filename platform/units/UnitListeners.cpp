#include "platform/units/UnitListeners.h"

#include "platform/foundation/CallInProgress.h"

#include <algorithm>

namespace braq {

void UnitListeners::add(AudioUnitPropertyID property, AudioUnitPropertyListenerProc listener, void* refCon) {
    const std::lock_guard lock(mMutex);
    const bool isThere = std::ranges::any_of(mRegistry, [&](const Listener& one) {
        return one.property == property && one.procedure == listener && one.refCon == refCon;
    });
    if (!isThere) {
        mRegistry.push_back({property, listener, refCon, mListeners->add(property, [=](const AudioUnit& unit) {
                                 listener(refCon, unit, property, kAudioUnitScope_Global, 0);
                             })});
    }
}

void UnitListeners::remove(AudioUnitPropertyID property, AudioUnitPropertyListenerProc listener, void* refCon) {
    std::shared_ptr<Registration> registration;
    {
        const std::lock_guard lock(mMutex);
        const auto found = std::ranges::find_if(mRegistry, [&](const Listener& one) {
            return one.property == property && one.procedure == listener && one.refCon == refCon;
        });
        if (found == mRegistry.end()) {
            return;
        }
        registration = std::move(found->registration);
        mRegistry.erase(found);
    }
    registration->end();
}

void UnitListeners::endRound() {
    std::unique_lock lock(mMutex);
    ++mRound;
    if (!CallInProgress::isInside(this)) {
        mIsIdle.wait(lock, [this] { return mDeliveries == 0; });
    }
}

void UnitListeners::deliver(UInt64 round, AudioUnit unit, AudioUnitPropertyID property) {
    if (!enter(round)) {
        return;
    }
    {
        const CallInProgress mark(this);
        mListeners->deliver(
            "UnitListeners",
            [&](AudioUnitPropertyID interest) { return interest == property && this->round() == round; },
            [unit](AudioUnitPropertyID) { return unit; });
    }
    leave();
}

bool UnitListeners::enter(UInt64 round) {
    const std::lock_guard lock(mMutex);
    if (round != mRound) {
        return false;
    }
    ++mDeliveries;
    return true;
}

void UnitListeners::leave() {
    const std::lock_guard lock(mMutex);
    if (--mDeliveries == 0) {
        mIsIdle.notify_all();
    }
}

} // namespace braq
