#pragma once

#include "BRAQAudio/platform/BRAQWorkQueue.h"
#include "BRAQAudio/platform/hardware.h"
#include "platform/foundation/ObserverList.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace braq {

/// The thread that notifies listeners of changes, and the listeners. Never destroyed: its thread runs as long as the
/// process. Any thread but an I/O thread, unless stated otherwise.
class Notifications {
  public:
    /// @param onNudge runs on the notification thread some time after each `nudge`
    explicit Notifications(std::function<void()> onNudge);

    /// Notifies changes of an object, after everything posted or run before.
    void post(AudioObjectID object, std::vector<AudioObjectPropertyAddress> addresses);

    /// Runs `work` on the notification thread, after everything posted or run before. Exceptions are logged.
    void run(std::function<void()> work);

    /// Makes `onNudge` run.
    /// @realtime Any thread.
    void nudge() noexcept;

    void addListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                     AudioObjectPropertyListenerProc listener, void* clientData);
    /// When this returns, the listener is not running on another thread and is not called again.
    void removeListener(AudioObjectID object, const AudioObjectPropertyAddress& address,
                        AudioObjectPropertyListenerProc listener, void* clientData);
    /// Removes the listeners of a removed object. Notification thread, from `run` only.
    void removeListenersOf(AudioObjectID object);

  private:
    struct Change {
        UInt64 number;
        AudioObjectID object;
        std::vector<AudioObjectPropertyAddress> addresses;
    };
    struct Interest {
        AudioObjectID object;
        AudioObjectPropertyAddress address;
        UInt64 after; ///< it is notified of changes with higher numbers only: those posted after it was added
        bool isFor(AudioObjectID other, const AudioObjectPropertyAddress& otherAddress) const;
    };
    struct Listener {
        Interest interest;
        AudioObjectPropertyListenerProc procedure;
        void* clientData;
        std::shared_ptr<Registration> registration;
    };
    using Listeners = ObserverList<Interest, Change>;

    void append(std::function<void()> work);
    void deliver(const Change& change) const;

    BRAQWorkQueue mQueue;
    std::atomic<UInt64> mPosted{0}; // number of changes posted
    const std::shared_ptr<Listeners> mListeners = std::make_shared<Listeners>();

    std::mutex mRegistryMutex;
    std::vector<Listener> mRegistry; // under mRegistryMutex
};

} // namespace braq
