#include "BRAQAudio/BRAQOutputAudioUnit.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "BRAQAudio/platform/threads.h"
#include "library/src/BRAQBackgroundThread.h"
#include "library/src/BRAQDeviceWatch.h"
#include "library/src/BRAQLossWatch.h"
#include "library/src/BRAQOutputAudioUnit_Callback.h"
#include "library/src/BRAQQueueSequence.h"

#include <chrono>
#include <thread>

namespace {

constexpr const char* file = "src/BRAQOutputAudioUnit";

} // namespace

BRAQOutputAudioUnit::~BRAQOutputAudioUnit() {
    constexpr NSXCallSite here{file, "-[BRAQOutputAudioUnit dealloc]"};
    if (!mIsMade) {
        return;
    }
    mDeviceWatch.reset();
    mLossWatch.reset();
    fadeOut();
    NSXLogOnFailure(AUGraphStop(mGraph), "AUGraphStop(mGraph)", here);
    NSXLogOnFailure(AUGraphUninitialize(mGraph), "AUGraphUninitialize(mGraph)", here);
    NSXLogOnFailure(DisposeAUGraph(mGraph), "DisposeAUGraph(mGraph)", here);
    setAudioBufferQueue(nullptr);
    setStreamDescription(nullptr);
    if (mAudioNotificationQueueWorker != nullptr) {
        BAudioNotificationQueueWorkerTeardown(mAudioNotificationQueueWorker);
        BAudioNotificationQueueWorkerDestroy(mAudioNotificationQueueWorker);
    }
    BQueueableAudioNotificationDestroy(mAudioNotification);
    if (mChangeNotification != nullptr) {
        BQueueableAudioNotificationDestroy(mChangeNotification);
    }
}

void BRAQOutputAudioUnit::start() { beginPlaying(mQueues->hasTransition()); }

void BRAQOutputAudioUnit::startWithoutTransition() { beginPlaying(false); }

void BRAQOutputAudioUnit::beginPlaying(bool rises) {
    const bool hasToBegin = mQueues->hasTransition() || !mQueues->isOn();
    if ((hasToBegin || mQueues->keepsHeard()) && !isCycling()) {
        mQueues->forgetHeard();
        if (hasToBegin) {
            mQueues->begin(rises);
        }
    }
    mStarts.fetch_add(1, std::memory_order_relaxed); // a new start: the unit is no longer done
    BAudioNotificationQueueWorkerStart(mAudioNotificationQueueWorker);
    AUGraphStart(mGraph);
}

void BRAQOutputAudioUnit::stop() {
    fadeOut();
    AUGraphStop(mGraph);
    BAudioNotificationQueueWorkerStop(mAudioNotificationQueueWorker);
}

bool BRAQOutputAudioUnit::isRunning() const {
    UInt32 isRunning = 0;
    UInt32 size = sizeof(isRunning);
    NSXRaiseOnFailure(AudioUnitGetProperty(mOutputUnit, kAudioOutputUnitProperty_IsRunning, kAudioUnitScope_Global, 0,
                                           &isRunning, &size),
                      "AudioUnitGetProperty( mOutputUnit, kAudioOutputUnitProperty_IsRunning, kAudioUnitScope_Global, "
                      "0, &isRunning, &size )",
                      {file, "-[BRAQOutputAudioUnit isRunning]"});
    return isRunning != 0;
}

void BRAQOutputAudioUnit::setPlaybackRate(double rate) {
    NSXRaiseOnFailure(AudioUnitSetParameter(mVarispeedUnit, kVarispeedParam_PlaybackRate, kAudioUnitScope_Global, 0,
                                            static_cast<Float32>(rate), 0),
                      "AudioUnitSetParameter( mVarispeedUnit, kVarispeedParam_PlaybackRate, kAudioUnitScope_Global, 0, "
                      "rate, 0 )",
                      {file, "-[BRAQOutputAudioUnit setPlaybackRate:]"});
    setPace(rate);
}

double BRAQOutputAudioUnit::playbackRate() const {
    Float32 value = 0.0F;
    NSXRaiseOnFailure(
        AudioUnitGetParameter(mVarispeedUnit, kVarispeedParam_PlaybackRate, kAudioUnitScope_Global, 0, &value),
        "AudioUnitGetParameter( mVarispeedUnit, kVarispeedParam_PlaybackRate, kAudioUnitScope_Global, 0, &value )",
        {file, "-[BRAQOutputAudioUnit playbackRate]"});
    return static_cast<double>(value);
}

void BRAQOutputAudioUnit::setKeepsPitch(bool keepsPitch) {
    const UInt32 keeps = keepsPitch ? 1 : 0;
    NSXRaiseOnFailure(AudioUnitSetProperty(mVarispeedUnit, kBRAQVarispeedProperty_KeepsPitch, kAudioUnitScope_Global, 0,
                                           &keeps, sizeof(keeps)),
                      "AudioUnitSetProperty( mVarispeedUnit, kBRAQVarispeedProperty_KeepsPitch, "
                      "kAudioUnitScope_Global, 0, &keeps, sizeof(keeps) )",
                      {file, "-[BRAQOutputAudioUnit setKeepsPitch:]"});
}

bool BRAQOutputAudioUnit::keepsPitch() const {
    UInt32 keeps = 0;
    UInt32 size = sizeof(keeps);
    NSXRaiseOnFailure(AudioUnitGetProperty(mVarispeedUnit, kBRAQVarispeedProperty_KeepsPitch, kAudioUnitScope_Global, 0,
                                           &keeps, &size),
                      "AudioUnitGetProperty( mVarispeedUnit, kBRAQVarispeedProperty_KeepsPitch, "
                      "kAudioUnitScope_Global, 0, &keeps, &size )",
                      {file, "-[BRAQOutputAudioUnit keepsPitch]"});
    return keeps != 0;
}

void BRAQOutputAudioUnit::setPlaybackLevel(double level) {
    const auto value = static_cast<Float32>(level);
    NSXRaiseOnFailure(
        AudioUnitSetParameter(mOutputUnit, kHALOutputParam_Volume, kAudioUnitScope_Global, 0, value, 0),
        "AudioUnitSetParameter( mOutputUnit, kHALOutputParam_Volume, kAudioUnitScope_Global, 0, level, 0 )",
        {file, "-[BRAQOutputAudioUnit setPlaybackLevel:]"});
    mPlaybackLevel.store(value, std::memory_order_relaxed);
}

Float64 BRAQOutputAudioUnit::latency() const {
    Float64 seconds = 0.0;
    UInt32 size = sizeof(seconds);
    NSXRaiseOnFailure(
        AudioUnitGetProperty(mOutputUnit, kAudioUnitProperty_Latency, kAudioUnitScope_Global, 0, &seconds, &size),
        "AudioUnitGetProperty( mOutputUnit, kAudioUnitProperty_Latency, kAudioUnitScope_Global, 0, &seconds, &size )",
        {file, "-[BRAQOutputAudioUnit latency]"});
    return seconds;
}

std::shared_ptr<BRAQAudioDevice> BRAQOutputAudioUnit::presentDevice() const {
    AudioDeviceID device = kAudioObjectUnknown;
    UInt32 size = sizeof(device);
    NSXRaiseOnFailure(AudioUnitGetProperty(mOutputUnit, kBRAQOutputUnitProperty_PresentDevice, kAudioUnitScope_Global,
                                           0, &device, &size),
                      "AudioUnitGetProperty( mOutputUnit, kBRAQOutputUnitProperty_PresentDevice, "
                      "kAudioUnitScope_Global, 0, &device, &size )",
                      {file, "-[BRAQOutputAudioUnit presentDevice]"});
    return device != kAudioObjectUnknown ? BRAQAudioDevice::initWithDeviceID(device) : nullptr;
}

void BRAQOutputAudioUnit::setDeviceChangeBlock(const BRAQDeviceChangeBlock& block) {
    mDeviceWatch = block ? std::make_shared<braq::DeviceWatch>(mOutputUnit, block) : nullptr;
}

UInt64 BRAQOutputAudioUnit::lostFrames() const noexcept { return braq::lostFramesOf(mOutputUnit); }

void BRAQOutputAudioUnit::setLostFramesBlock(const std::function<void(UInt64 frames)>& block) {
    mLossWatch = block ? std::make_shared<braq::LossWatch>(mOutputUnit, block) : nullptr;
}

float BRAQOutputAudioUnit::outputLevel(UInt32 channel) noexcept {
    return channel < mLevelChannels ? mLevels[channel].exchange(0.0F, std::memory_order_relaxed) : 0.0F;
}

// A notification that arrives after playback was started again does not belong to that playback.
void BRAQOutputAudioUnit::setEndOfStreamNotificationBlock(const BQueueableAudioNotificationBlock& block) {
    replace(mAudioNotification, [this, block](BQueueableAudioNotification* notification) {
        const UInt64 signalled = mDone.load(std::memory_order_acquire);
        const bool isForThisStart = signalled == mStarts.load(std::memory_order_relaxed);
        if (isForThisStart && mNotifiedStart.exchange(signalled, std::memory_order_relaxed) != signalled && block) {
            block(notification);
        }
    });
}

void BRAQOutputAudioUnit::replace(BQueueableAudioNotification*& notification,
                                  const BQueueableAudioNotificationBlock& block) {
    if (notification != nullptr) {
        retire(notification);
    }
    notification = BQueueableAudioNotificationCreate(block);
}

bool BRAQOutputAudioUnit::isOnThreadOfItsOwn() const noexcept {
    return mAudioNotificationQueueWorker != nullptr && mAudioNotificationQueueWorker->mThread.mPort == BRAQThreadSelf();
}

void BRAQOutputAudioUnit::retire(BQueueableAudioNotification* notification) {
    if (!isOnThreadOfItsOwn()) {
        finishAndDestroy(mAudioNotificationQueueWorker, notification);
        return;
    }
    BRAQBackgroundThread::instance().run([self = shared_from_this(), notification] {
        finishAndDestroy(self->mAudioNotificationQueueWorker, notification);
    });
}

void BRAQOutputAudioUnit::finishAndDestroy(BAudioNotificationQueueWorker* worker,
                                           BQueueableAudioNotification* notification) {
    constexpr std::chrono::milliseconds pause{1};
    while (BQueueableAudioNotificationInProgress(notification)) {
        BAudioNotificationQueueWorkerStop(worker);
        std::this_thread::sleep_for(pause);
    }
    BQueueableAudioNotificationDestroy(notification);
}
