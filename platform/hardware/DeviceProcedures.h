#pragma once

#include "BRAQAudio/platform/BRAQRealtimeSection.h"
#include "platform/hardware/CycleMix.h"
#include "platform/hardware/DeviceClock.h"
#include "platform/hardware/DeviceIO.h"

#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace braq {

/// The I/O procedures of one device. Keeps track of which of them run, runs the device while any does, and receives the
/// driver's cycles. The I/O thread's list is replaced as a whole; the old one is deleted when no cycle uses it.
class DeviceProcedures final : public DeviceCycles {
  public:
    struct Events {
        std::function<void()> runningChanged; ///< with the control lock held
        std::function<void()> nudge;          ///< @realtime: makes another thread call `logThrown` and `hasLostMore`
    };

    DeviceProcedures(std::shared_ptr<DriverDevice> device, const CycleShape& shape, Events events);
    ~DeviceProcedures();
    DeviceProcedures(const DeviceProcedures&) = delete;
    DeviceProcedures& operator=(const DeviceProcedures&) = delete;

    // Control threads; see DeviceIO.h. Refused on I/O threads.
    OSStatus add(IODirections directions, IOProcedure procedure, void* context, IOProcedureID* id);
    void preferRate(Float64 rate);
    OSStatus start(IOProcedureID id);
    OSStatus stop(IOProcedureID id);
    OSStatus suspend(IOProcedureID id);
    OSStatus remove(IOProcedureID id);
    bool isStarted(IOProcedureID id);

    /// Calls the driver, serialised with all other calls. Any thread but an I/O thread.
    OSStatus callDriver(const std::function<OSStatus(DriverDevice&)>& what);
    /// Prepares for cycles of another size. Any thread but an I/O thread.
    void setShape(const CycleShape& shape);
    /// Stops every procedure. Any thread but an I/O thread.
    void stopAll();
    /// Stops everything for good: the device was removed. Any thread but an I/O thread.
    void deviceIsGone();
    /// Logs which procedures threw, once each. Any thread but an I/O thread.
    void logThrown(const std::string& deviceName);

    /// Whether the driver runs cycles. Any thread.
    bool isRunning() const noexcept { return mIsRunning.load(std::memory_order_acquire); }
    const DeviceClock& clock() const noexcept { return mClock; }
    /// Frames lost since the device appeared. Any thread.
    UInt64 lostFrames() const noexcept { return mLostFrames.load(std::memory_order_relaxed); }
    /// Whether more are lost than when this was asked last. Notification thread.
    bool hasLostMore() noexcept { return std::exchange(mKnownLostFrames, lostFrames()) != lostFrames(); }

    void runCycle(const DeviceCycle& cycle) noexcept override;

    /// Whether the calling thread is inside a device cycle, of any device.
    static bool isOnIOThread() noexcept;

  private:
    struct Entry {
        IOProcedureID id;
        MixedProcedure procedure;
        bool isStarted = false;
        bool isSuspended = false; // keeps the device running
        bool isLogged = false;
    };

    OSStatus change(IOProcedureID id, const std::function<OSStatus(std::vector<Entry>::iterator)>& how);
    OSStatus startEntry(Entry& entry);
    void stopEntry(Entry& entry);
    void stopEntries();
    void replaceMix();
    void stopDriver();
    void setRunning(bool isRunning);

    const std::shared_ptr<DriverDevice> mDevice;
    const Events mEvents;

    std::mutex mControl;         // control threads; never taken by a driver's threads
    std::vector<Entry> mEntries; // under mControl, in order of addition
    CycleShape mShape;           // under mControl
    bool mIsGone = false;        // under mControl
    std::atomic<bool> mIsRunning{false};

    BRAQRealtimeSection mCycle{BRAQRealtimeSection::Threads::one}; // passed by the I/O thread, which uses mMix inside
    std::atomic<CycleMix*> mMix{nullptr}; // written by control threads, used by the I/O thread during a cycle
    std::unique_ptr<CycleMix> mOwnedMix;  // under mControl: what mMix points at
    DeviceClock mClock;
    std::atomic<UInt64> mLostFrames{0}; // written by the I/O thread
    UInt64 mKnownLostFrames = 0;        // notification thread
};

} // namespace braq
