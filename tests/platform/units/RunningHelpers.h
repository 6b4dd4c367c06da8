#pragma once

#include "tests/platform/units/UnitHelpers.h"

#include <atomic>
#include <mutex>
#include <thread>

// What tests of units that start and stop share.
namespace braq::tests {

/// What a listener for the running state has heard, and on which thread.
class RunningLog {
  public:
    explicit RunningLog(AudioUnit unit) : mUnit(unit) {
        EXPECT_EQ(AudioUnitAddPropertyListener(unit, kAudioOutputUnitProperty_IsRunning, listen, this), 0);
    }
    ~RunningLog() { remove(); }
    RunningLog(const RunningLog&) = delete;
    RunningLog& operator=(const RunningLog&) = delete;
    OSStatus remove() {
        return AudioUnitRemovePropertyListenerWithUserData(mUnit, kAudioOutputUnitProperty_IsRunning, listen, this);
    }
    /// Adds it once more.
    void addAgain() { AudioUnitAddPropertyListener(mUnit, kAudioOutputUnitProperty_IsRunning, listen, this); }

    std::vector<UInt32> values() {
        waitForNotifications();
        waitForNotifications(); // what a notification of the device has led to comes after it
        const std::lock_guard lock(mMutex);
        return mValues;
    }
    std::function<void(UInt32 value)> onChange; // set before anything changes

  private:
    static void listen(void* self, AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                       AudioUnitElement element) {
        auto& log = *static_cast<RunningLog*>(self);
        EXPECT_EQ(unit, log.mUnit);
        EXPECT_EQ(property, kAudioOutputUnitProperty_IsRunning);
        EXPECT_EQ(scope, global);
        EXPECT_EQ(element, 0U);
        const UInt32 value = getUnit<UInt32>(unit, kAudioOutputUnitProperty_IsRunning).value_or(99);
        {
            const std::lock_guard lock(log.mMutex);
            log.mValues.push_back(value);
        }
        if (log.onChange) {
            log.onChange(value);
        }
    }
    const AudioUnit mUnit;
    std::mutex mMutex;
    std::vector<UInt32> mValues; // under the mutex
};

/// Has a device step on a thread of its own.
class Stepper {
  public:
    explicit Stepper(BRAQSoftwareDevice& device, UInt32 frames = 64)
        : mThread([this, &device, frames] {
              while (!mIsDone) {
                  device.step(frames);
                  std::this_thread::yield();
              }
          }) {}
    ~Stepper() {
        mIsDone = true;
        mThread.join();
    }
    Stepper(const Stepper&) = delete;
    Stepper& operator=(const Stepper&) = delete;

  private:
    std::atomic<bool> mIsDone{false};
    std::thread mThread;
};

inline std::optional<UInt32> isRunning(AudioUnit unit) {
    return getUnit<UInt32>(unit, kAudioOutputUnitProperty_IsRunning);
}

inline OSStatus playNothing(const AudioTimeStamp&, UInt32, AudioBufferList*) { return 0; }

} // namespace braq::tests
