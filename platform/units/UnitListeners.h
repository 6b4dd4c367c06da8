#pragma once

#include "BRAQAudio/platform/units.h"
#include "platform/foundation/ObserverList.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

namespace braq {

/// The property listeners of one unit. Any thread but an I/O thread.
class UnitListeners {
  public:
    void add(AudioUnitPropertyID property, AudioUnitPropertyListenerProc listener, void* refCon);
    /// When this returns, the listener is not running on another thread and is not called again.
    void remove(AudioUnitPropertyID property, AudioUnitPropertyListenerProc listener, void* refCon);

    /// The current round (generation) of notifications: those requested in an earlier one are not delivered.
    UInt64 round() const noexcept { return mRound.load(std::memory_order_acquire); }
    /// Ends the round. When this returns, none of its listeners is running on another thread.
    void endRound();

    /// Calls the listeners of a global property, if `round` is still current.
    void deliver(UInt64 round, AudioUnit unit, AudioUnitPropertyID property);

  private:
    struct Listener {
        AudioUnitPropertyID property;
        AudioUnitPropertyListenerProc procedure;
        void* refCon;
        std::shared_ptr<Registration> registration;
    };
    using Listeners = ObserverList<AudioUnitPropertyID, AudioUnit>;

    bool enter(UInt64 round);
    void leave();

    const std::shared_ptr<Listeners> mListeners = std::make_shared<Listeners>();
    std::mutex mMutex;
    std::condition_variable mIsIdle;
    // Changed under mMutex; read without it by a delivery, which holds the lock of the list that adding takes under
    // mMutex.
    std::atomic<UInt64> mRound{0};
    int mDeliveries = 0;             // under mMutex: in progress
    std::vector<Listener> mRegistry; // under mMutex
};

} // namespace braq
