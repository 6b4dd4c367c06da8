#include "platform/hardware/drivers/software/SoftwareDevice.h"

#include "BRAQAudio/platform/foundation/NSLog.h"
#include "BRAQAudio/platform/foundation/NSString.h"
#include "platform/foundation/HostTime.h"
#include "platform/hardware/drivers/PropertyAddress.h"
#include "platform/hardware/drivers/software/SoftwareDescription.h"
#include "platform/hardware/drivers/software/SoftwareDriver.h"

#include <algorithm>

namespace braq {
namespace {

void logRefusal(const std::string& uid, const char* why) {
    NSLog(NSStringWithFormat("(ERROR) BRAQSoftwareDevice : no device \"%s\": %s", uid.c_str(), why));
}

} // namespace

std::shared_ptr<SoftwareDevice> SoftwareDevice::make(const BRAQSoftwareDeviceOptions& options, DriverHost& host,
                                                     SoftwareDriver& driver) {
    if (const char* why = faultOf(options)) {
        logRefusal(options.uid, why);
        return nullptr;
    }
    std::shared_ptr<SoftwareDevice> device(new SoftwareDevice(options, host, driver));
    {
        // Nothing is reported about the device before its id is known.
        const std::lock_guard lock(device->mMutex);
        device->mID = host.deviceAppeared(device->mDescription, device);
    }
    if (device->id() == kAudioObjectUnknown) {
        logRefusal(options.uid, "there is one with this UID");
        return nullptr;
    }
    return device;
}

SoftwareDevice::SoftwareDevice(const BRAQSoftwareDeviceOptions& options, DriverHost& host, SoftwareDriver& driver)
    : mHost(host),
      mDriver(driver),
      mUID(options.uid),
      mClock(options.clock),
      mIsLoopback(options.loopback),
      mDescription(descriptionOf(options)),
      mRate(options.sampleRate),
      mBufferFrames(options.bufferFrames) {}

void SoftwareDevice::vanish() {
    {
        const std::lock_guard lock(mMutex);
        if (mIsGone) {
            return;
        }
        mIsGone = true;
    }
    mRunning.store(nullptr);
    mDriver.dropDefault(mUID);
    mHost.deviceVanished(id());
}

OSStatus SoftwareDevice::startIO(DeviceCycles& cycles) {
    const std::lock_guard lock(mMutex);
    if (mIsGone) {
        return kAudioHardwareBadDeviceError;
    }
    if (mStartsToFail > 0) {
        --mStartsToFail;
        return mStartStatus;
    }
    mCycle = std::make_unique<SoftwareCycle>(mDescription.record.channels(), mDescription.playback.channels(),
                                             mDescription.maximumBufferFrames, mIsLoopback, monotonicTime());
    const bool isStepped = mClock == BRAQSoftwareClock::stepped;
    if (isStepped) { // before a step on another thread sees the device running and advances the time
        mStepTime.store(mCycle->hostTime(), std::memory_order_release);
    }
    mRunning.store(&cycles);
    if (isStepped) {
        return kAudioHardwareNoError;
    }
    mThread = SoftwareClockThread::start(shared_from_this());
    return mThread != nullptr ? kAudioHardwareNoError : kAudioHardwareUnspecifiedError;
}

void SoftwareDevice::stopIO() {
    mRunning.store(nullptr);
    mThread.reset();
    mStep.waitUntilLeft();
}

bool SoftwareDevice::countCycle() noexcept {
    const SInt64 left = mCyclesLeft.load(std::memory_order_acquire);
    if (left > 0) {
        mCyclesLeft.store(left - 1, std::memory_order_release);
    }
    return left != 0;
}

bool SoftwareDevice::runCycle() noexcept {
    const bool stays = countCycle();
    DeviceCycles* cycles = mRunning.load();
    if (cycles == nullptr) {
        return true; // it is being stopped
    }
    runNext(*cycles, mBufferFrames.load(std::memory_order_acquire), nullptr);
    return stays;
}

void SoftwareDevice::runNext(DeviceCycles& cycles, UInt32 frames, const Float32* const* input) noexcept {
    const Float64 rate = mRate.load(std::memory_order_acquire);
    if (const UInt64 lost = mFramesToLose.exchange(0, std::memory_order_relaxed)) {
        mCycle->lose(lost, rate);
    }
    mCycle->run(cycles, frames, rate, input);
}

void SoftwareDevice::passOverUntil(UInt64 hostTime) noexcept {
    const Float64 rate = mRate.load(std::memory_order_acquire);
    const auto held = static_cast<Float64>(hostTime - mCycle->hostTime());
    mCycle->lose(static_cast<UInt64>(held * rate / nanosecondsPerSecond), rate);
}

bool SoftwareDevice::step(UInt32 frames, const Float32* const* input, Float32* const* output) {
    if (mClock != BRAQSoftwareClock::stepped || frames == 0 || mIsStepping.exchange(true)) {
        return false;
    }
    bool isRunning = false;
    bool stays = true;
    {
        const BRAQRealtimePassage passage(mStep);
        if (DeviceCycles* const cycles = mRunning.load()) {
            isRunning = true;
            stays = countCycle();
            runStep(*cycles, frames, input, stays ? output : nullptr);
        }
    }
    mIsStepping.store(false);
    if (!stays) {
        vanish();
    }
    return isRunning;
}

void SoftwareDevice::runStep(DeviceCycles& cycles, UInt32 frames, const Float32* const* input, Float32* const* output) {
    mCycle->reserve(frames);
    runNext(cycles, frames, input);
    for (std::size_t channel = 0; output != nullptr && channel < mCycle->outputChannels(); ++channel) {
        std::copy_n(mCycle->output()[channel], frames, output[channel]);
    }
    mStepTime.store(mCycle->hostTime(), std::memory_order_release);
}

OSStatus SoftwareDevice::setNominalRate(Float64 rate) {
    changeRate(rate);
    return kAudioHardwareNoError;
}

void SoftwareDevice::changeRate(Float64 rate) {
    const std::lock_guard lock(mMutex);
    mRate.store(rate, std::memory_order_release);
    mDescription.nominalRate = rate;
    mHost.deviceChanged(id(), mDescription);
}

OSStatus SoftwareDevice::setBufferFrames(UInt32 frames) {
    const std::lock_guard lock(mMutex);
    mBufferFrames.store(frames, std::memory_order_release);
    mDescription.bufferFrames = frames;
    mHost.deviceChanged(id(), mDescription);
    return kAudioHardwareNoError;
}

OSStatus SoftwareDevice::propertyStatus(AudioObjectID object, const AudioObjectPropertyAddress& address) const {
    const std::lock_guard lock(mMutex);
    const auto found = std::ranges::find_if(
        mFaults, [&](const PropertyFault& fault) { return fault.object == object && isSame(fault.address, address); });
    return found == mFaults.end() ? kAudioHardwareNoError : found->status;
}

void SoftwareDevice::failStarts(UInt32 count, OSStatus status) {
    const std::lock_guard lock(mMutex);
    mStartsToFail = count;
    mStartStatus = status;
}

void SoftwareDevice::failProperty(AudioObjectID object, const AudioObjectPropertyAddress& address, OSStatus status) {
    const std::lock_guard lock(mMutex);
    std::erase_if(mFaults,
                  [&](const PropertyFault& fault) { return fault.object == object && isSame(fault.address, address); });
    if (status != kAudioHardwareNoError) {
        mFaults.push_back({object, address, status});
    }
}

void SoftwareDevice::notifyProperties(const std::vector<AudioObjectPropertyAddress>& addresses) {
    mHost.propertiesChanged(id(), addresses);
}

} // namespace braq
