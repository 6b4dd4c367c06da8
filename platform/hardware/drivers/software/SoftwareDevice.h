#pragma once

#include "BRAQAudio/platform/BRAQRealtimeSection.h"
#include "BRAQAudio/platform/BRAQSoftwareDevice.h"
#include "platform/hardware/drivers/Driver.h"
#include "platform/hardware/drivers/software/SoftwareClockThread.h"
#include "platform/hardware/drivers/software/SoftwareCycle.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace braq {

class SoftwareDriver;

/// The driver's device behind `BRAQSoftwareDevice`.
class SoftwareDevice final : public DriverDevice,
                             public SoftwareClockThread::Client,
                             public std::enable_shared_from_this<SoftwareDevice> {
  public:
    /// @return null, with the reason in the log, if the options are invalid
    static std::shared_ptr<SoftwareDevice> make(const BRAQSoftwareDeviceOptions& options, DriverHost& host,
                                                SoftwareDriver& driver);

    AudioDeviceID id() const noexcept { return mID.load(); }
    SoftwareDriver& driver() const noexcept { return mDriver; }
    const std::string& uid() const noexcept { return mUID; }

    void vanish();
    bool step(UInt32 frames, const Float32* const* input, Float32* const* output);
    UInt64 hostTimeOfStep() const noexcept { return mStepTime.load(std::memory_order_acquire); }

    void failStarts(UInt32 count, OSStatus status);
    void vanishAfterCycles(UInt32 cycles) noexcept { mCyclesLeft.store(cycles, std::memory_order_release); }
    void loseFrames(UInt32 frames) noexcept { mFramesToLose.fetch_add(frames, std::memory_order_relaxed); }
    void failProperty(AudioObjectID object, const AudioObjectPropertyAddress& address, OSStatus status);
    void notifyProperties(const std::vector<AudioObjectPropertyAddress>& addresses);
    /// Changes to any rate, offered or not.
    void changeRate(Float64 rate);

    OSStatus startIO(DeviceCycles& cycles) override;
    void stopIO() override;
    OSStatus setNominalRate(Float64 rate) override;
    OSStatus setBufferFrames(UInt32 frames) override;
    OSStatus propertyStatus(AudioObjectID object, const AudioObjectPropertyAddress& address) const override;

  private:
    struct PropertyFault {
        AudioObjectID object;
        AudioObjectPropertyAddress address;
        OSStatus status;
    };

    SoftwareDevice(const BRAQSoftwareDeviceOptions& options, DriverHost& host, SoftwareDriver& driver);

    // Called by the clock thread.
    UInt64 nextCycleTime() noexcept override { return mCycle->hostTime(); }
    void beginAt(UInt64 hostTime) noexcept override { mCycle->beginAt(hostTime); }
    void passOverUntil(UInt64 hostTime) noexcept override;
    bool runCycle() noexcept override;
    void ended() override { vanish(); }

    /// Counts a cycle. @return whether there is another one after it
    bool countCycle() noexcept;
    void runNext(DeviceCycles& cycles, UInt32 frames, const Float32* const* input) noexcept;
    /// @param output null: what is played is dropped
    void runStep(DeviceCycles& cycles, UInt32 frames, const Float32* const* input, Float32* const* output);

    DriverHost& mHost;
    SoftwareDriver& mDriver;
    const std::string mUID;
    const BRAQSoftwareClock mClock;
    const bool mIsLoopback;
    std::atomic<AudioDeviceID> mID{kAudioObjectUnknown};

    mutable std::mutex mMutex;
    DeviceDescription mDescription;     // under mMutex
    bool mIsGone = false;               // under mMutex
    UInt32 mStartsToFail = 0;           // under mMutex
    OSStatus mStartStatus = 0;          // under mMutex
    std::vector<PropertyFault> mFaults; // under mMutex

    // Both sides: atomic.
    std::atomic<Float64> mRate;
    std::atomic<UInt32> mBufferFrames;
    std::atomic<SInt64> mCyclesLeft{-1};  // before it vanishes; negative: never
    std::atomic<UInt64> mFramesToLose{0}; // before the next cycle
    std::atomic<UInt64> mStepTime{0};
    std::atomic<DeviceCycles*> mRunning{nullptr}; // while a stepped device runs
    std::atomic<bool> mIsStepping{false};         // by any thread: steps do not overlap
    BRAQRealtimeSection mStep{
        BRAQRealtimeSection::Threads::one}; // passed by the stepping thread, which uses mRunning and mCycle inside

    std::unique_ptr<SoftwareCycle> mCycle;        // I/O thread or stepping thread while it runs
    std::unique_ptr<SoftwareClockThread> mThread; // control thread
};

} // namespace braq
