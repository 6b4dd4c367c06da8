#include "platform/units/DeviceUnit.h"

#include "platform/hardware/Hardware.h"
#include "platform/samples/StreamFormat.h"
#include "platform/units/UnitTable.h"

#include <chrono>
#include <cmath>
#include <span>
#include <thread>
#include <utility>

namespace braq {
namespace {

constexpr AudioUnitElement playbackElement = 0;
constexpr AudioUnitElement recordElement = 1;

// The unit whose input callback runs on this thread. Initial-exec, so that the first access does not allocate.
thread_local const DeviceUnit* calledBack [[gnu::tls_model("initial-exec")]] = nullptr;

class CallingBack {
  public:
    explicit CallingBack(const DeviceUnit* unit) noexcept { calledBack = unit; }
    ~CallingBack() { calledBack = nullptr; }
    CallingBack(const CallingBack&) = delete;
    CallingBack& operator=(const CallingBack&) = delete;
};

constexpr AudioObjectPropertyAddress anyProperty{
    kAudioObjectPropertySelectorWildcard, kAudioObjectPropertyScopeWildcard, kAudioObjectPropertyElementWildcard};

IODirections directions(bool plays, bool records) {
    if (plays && records) {
        return IODirections::both;
    }
    return plays ? IODirections::playback : IODirections::record;
}

} // namespace

DeviceUnit::DeviceUnit() : mSides{}, mSliceLimit(0) {
    constexpr Float64 usualSampleRate = 44100.0;
    for (Side& side : mSides) {
        side = {.isEnabled = false, .client = planarFloatFormat(usualSampleRate, 2), .channelMap = std::nullopt};
    }
    mSides[playbackElement].isEnabled = true;
    rememberDevice();
}

// The last initialisation may have come just before the unit was disposed of.
DeviceUnit::~DeviceUnit() {
    if (mIsInitialized) {
        removeIOProcedure(mFacts.id, mProcedure);
        AudioObjectRemovePropertyListener(mFacts.id, &anyProperty, deviceListener, mWatch.get());
        AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &anyProperty, deviceListener, mWatch.get());
    }
}

OSStatus DeviceUnit::initialize() {
    const std::lock_guard lock(mControl);
    if (mIsInitialized) {
        return 0;
    }
    const bool plays = mSides[playbackElement].isEnabled;
    const bool records = mSides[recordElement].isEnabled;
    const auto facts = findDeviceFacts(mDevice, records);
    if (!facts || (!plays && !records)) {
        return kAudioUnitErr_FailedInitialization;
    }
    mFacts = *facts;
    mPrepared = prepare();
    if (mPrepared != 0) {
        return mPrepared;
    }
    if (const OSStatus status = addIOProcedure(mFacts.id, directions(plays, records), ioProcedure, this, &mProcedure)) {
        return status;
    }
    mWatch = std::make_unique<AudioUnit>(reference());
    AudioObjectAddPropertyListener(mFacts.id, &anyProperty, deviceListener, mWatch.get());
    if (mDevice == kAudioObjectUnknown) {
        AudioObjectAddPropertyListener(kAudioObjectSystemObject, &anyProperty, deviceListener, mWatch.get());
    }
    mIsInitialized = true;
    mLostFrames.store(0, std::memory_order_relaxed);
    mPresentDevice.store(mFacts.device, std::memory_order_release);
    followDevice(findDeviceFacts(mFacts.id, false)); // the device may have changed before the listener was added
    return 0;
}

OSStatus DeviceUnit::uninitialize() {
    AudioDeviceID device = kAudioObjectUnknown;
    std::unique_ptr<AudioUnit> watch;
    {
        const std::lock_guard lock(mControl);
        if (mIsInitialized) {
            stopRunning();
            removeIOProcedure(mFacts.id, mProcedure);
            mPlayback.reset();
            mCapture.reset();
            mIsInitialized = false;
            mPresentDevice.store(kAudioObjectUnknown, std::memory_order_release);
            device = mFacts.id;
            watch = std::move(mWatch);
        }
    }
    // Without the lock: this waits for listeners, which may want it.
    if (watch != nullptr) {
        AudioObjectRemovePropertyListener(device, &anyProperty, deviceListener, watch.get());
        AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &anyProperty, deviceListener, watch.get());
    }
    listeners().endRound();
    return 0;
}

OSStatus DeviceUnit::prepare() {
    mPlayback.reset();
    mCapture.reset();
    if (mSides[playbackElement].isEnabled) {
        if (const OSStatus status = makePlayback(mFacts)) {
            return status;
        }
    }
    return mSides[recordElement].isEnabled ? makeCapture(mFacts) : 0;
}

OSStatus DeviceUnit::makePlayback(const DeviceFacts& facts) {
    if (facts.playbackChannels == 0) {
        return kAudioUnitErr_FailedInitialization;
    }
    const Side& side = mSides[playbackElement];
    OSStatus status = 0;
    auto source = mSource.make(side.client, mSliceLimit, lastRenderError(), status);
    if (status != 0) {
        return status;
    }
    const UInt32 channels = side.client.mChannelsPerFrame;
    auto routing = side.channelMap ? ChannelRouting::forPlayback(*side.channelMap, channels, facts.playbackChannels)
                                   : ChannelRouting::forPlayback({.client = channels,
                                                                  .clientPositions = side.positions,
                                                                  .device = facts.playbackChannels,
                                                                  .devicePositions = facts.playbackPositions,
                                                                  .stereo = facts.stereo,
                                                                  .downmix = side.downmix});
    mPlayback = std::make_unique<DevicePlayback>(std::move(source), side.client.mSampleRate, channels,
                                                 std::move(routing), facts, mSliceLimit, mStartsAtZero);
    return 0;
}

OSStatus DeviceUnit::makeCapture(const DeviceFacts& facts) {
    if (facts.recordChannels == 0) {
        return kAudioUnitErr_FailedInitialization;
    }
    const Side& side = mSides[recordElement];
    if (mInputCallback.inputProc != nullptr) {
        mCapture = std::make_unique<DeviceCapture>(
            mInputCallback, side.client,
            ChannelRouting::forRecording(side.client.mChannelsPerFrame, facts.recordChannels, side.channelMap), facts,
            mSliceLimit, mStartsAtZero);
    }
    return 0;
}

OSStatus DeviceUnit::start() {
    const std::lock_guard lock(mControl);
    if (!mIsInitialized) {
        return kAudioUnitErr_Uninitialized;
    }
    if (mRuns || mPrepared != 0) {
        return mPrepared;
    }
    // The device may be able to run at the client's rate, which saves a conversion.
    const bool plays = mSides[playbackElement].isEnabled;
    preferRate(mFacts.id, mSides[plays ? playbackElement : recordElement].client.mSampleRate);
    followDevice(findDeviceFacts(mFacts.id, false));
    if (mPrepared != 0) {
        return mPrepared;
    }
    if (mPlayback) {
        mPlayback->reset();
    }
    if (mCapture) {
        mCapture->reset();
    }
    if (const OSStatus status = startIOProcedure(mFacts.id, mProcedure)) {
        return status;
    }
    mRuns = true;
    setRunning(true);
    return 0;
}

OSStatus DeviceUnit::stop() {
    const std::lock_guard lock(mControl);
    if (!mIsInitialized) {
        return kAudioUnitErr_Uninitialized;
    }
    stopRunning();
    return 0;
}

void DeviceUnit::stopRunning() {
    if (!mRuns) {
        return;
    }
    waitUntilHeard();
    stopIOProcedure(mFacts.id, mProcedure);
    mRuns = false;
    setRunning(false);
}

void DeviceUnit::waitUntilHeard() const {
    using Clock = std::chrono::steady_clock;
    if (mPlayback == nullptr) {
        return;
    }
    // Polls, as for the end of a cycle: the I/O thread makes no system call to announce it. Gives up on a device that
    // stands still, or is stepped by this very thread.
    constexpr std::chrono::microseconds pause{500};
    constexpr Float64 cycles = 3.0;
    constexpr std::chrono::duration<Float64> moment{0.1};
    const auto patience = moment + std::chrono::duration<Float64>(cycles * mFacts.bufferFrames / mFacts.sampleRate);
    mPlayback->endCallbacks();
    auto moved = Clock::now();
    for (UInt32 slices = mPlayback->slices(); !mPlayback->isUsedUp() && Clock::now() - moved < patience;) {
        std::this_thread::sleep_for(pause);
        if (mPlayback->slices() != slices) {
            slices = mPlayback->slices();
            moved = Clock::now();
        }
    }
}

// A listener sees the state after its change, even if it has changed back by the time it is called.
void DeviceUnit::setRunning(bool isRunning) {
    mIsRunning.store(isRunning, std::memory_order_release);
    notify(kAudioOutputUnitProperty_IsRunning, UInt32{isRunning});
}

void DeviceUnit::setPresentDevice(AudioDeviceID device) {
    if (mPresentDevice.exchange(device) != device) {
        notify(kBRAQOutputUnitProperty_PresentDevice, device);
    }
}

void DeviceUnit::notify(AudioUnitPropertyID property, UInt32 value) {
    const auto self = std::static_pointer_cast<DeviceUnit>(shared_from_this());
    Hardware::instance().notifications().run(
        [weak = std::weak_ptr(self), property, value, round = listeners().round()] {
            if (const auto unit = weak.lock()) {
                unit->deliver(property, value, round);
            }
        });
}

void DeviceUnit::deviceChanged() {
    const std::lock_guard lock(mControl);
    if (!mIsInitialized) {
        return;
    }
    const auto facts = findDeviceFacts(mFacts.id, false);
    if (mDevice == kAudioObjectUnknown && !facts) {
        replaceDevice();
    } else {
        followDevice(facts);
    }
}

// The default device was one by itself and not at the end of a route: the loopback device, while there was no sound
// server. A unit that runs waits until there is another one. Notification thread: nowhere else can the listener be moved
// without waiting for it.
void DeviceUnit::replaceDevice() {
    const bool plays = mSides[playbackElement].isEnabled;
    const bool records = mSides[recordElement].isEnabled;
    const auto facts = findDeviceFacts(kAudioObjectUnknown, records);
    setPresentDevice(facts ? facts->device : kAudioObjectUnknown);
    if (!facts) {
        return;
    }
    removeIOProcedure(mFacts.id, mProcedure);
    AudioObjectRemovePropertyListener(mFacts.id, &anyProperty, deviceListener, mWatch.get());
    const bool ran = std::exchange(mRuns, false);
    takeFacts(*facts);
    AudioObjectAddPropertyListener(mFacts.id, &anyProperty, deviceListener, mWatch.get());
    const OSStatus added = addIOProcedure(mFacts.id, directions(plays, records), ioProcedure, this, &mProcedure);
    mPrepared = mPrepared != 0 ? mPrepared : added;
    if (ran) {
        mRuns = mPrepared == 0 && startIOProcedure(mFacts.id, mProcedure) == 0;
        if (!mRuns) {
            setRunning(false);
        }
    }
}

// The procedure is not called.
void DeviceUnit::takeFacts(const DeviceFacts& facts) {
    mFacts = facts;
    const auto playback = std::move(mPlayback);
    const auto capture = std::move(mCapture);
    mPrepared = prepare();
    if (playback && mPlayback) {
        mPlayback->takeUp(*playback);
    }
    if (capture && mCapture) {
        mCapture->takeUp(*capture);
    }
}

/// @param facts of the device, as they are now
void DeviceUnit::followDevice(const std::optional<DeviceFacts>& facts) {
    // A device that is removed, or stops by itself, stops its procedures.
    if (mRuns && (!facts || !isIOProcedureStarted(mFacts.id, mProcedure))) {
        mRuns = false;
        setRunning(false);
    }
    setPresentDevice(facts ? facts->device : kAudioObjectUnknown);
    if (!facts) {
        return;
    }
    DeviceFacts same = *facts;
    same.device = mFacts.device;             // at the end of a route, any device of this kind
    same.bufferFrames = mFacts.bufferFrames; // cycles of any size are split into slices
    if (same == mFacts) {
        mFacts.device = facts->device != kAudioObjectUnknown ? facts->device : mFacts.device;
        return;
    }
    const bool ran = mRuns;
    suspendIOProcedure(mFacts.id, mProcedure);
    takeFacts(*facts);
    if (ran && (mPrepared != 0 || startIOProcedure(mFacts.id, mProcedure) != 0)) {
        stopIOProcedure(mFacts.id, mProcedure);
        mRuns = false;
        setRunning(false);
    }
}

OSStatus DeviceUnit::deviceListener(AudioObjectID /*device*/, UInt32 count, const AudioObjectPropertyAddress* addresses,
                                    void* reference) {
    const auto unit = UnitTable::instance().find(*static_cast<AudioUnit*>(reference));
    if (unit == nullptr) {
        return 0;
    }
    if (count == 1 && addresses->mSelector == kFramesWereLost) {
        unit->listeners().deliver(unit->listeners().round(), unit->reference(), kBRAQOutputUnitProperty_LostFrames);
        return 0;
    }
    static_cast<DeviceUnit&>(*unit).deviceChanged();
    return 0;
}

void DeviceUnit::countLost(UInt64 deviceFrames, Float64 deviceRate) noexcept {
    const Side& side = mSides[mSides[playbackElement].isEnabled ? playbackElement : recordElement];
    const Float64 lost = static_cast<Float64>(deviceFrames) * side.client.mSampleRate / deviceRate;
    mLostFrames.fetch_add(static_cast<UInt64>(std::llround(lost)), std::memory_order_relaxed);
}

void DeviceUnit::ioProcedure(void* unit, const IOSlice& slice) {
    auto& self = *static_cast<DeviceUnit*>(unit);
    if (const UInt64 lost = slice.passedOverFrames + slice.lateFrames) {
        self.countLost(lost, slice.nominalRate);
    }
    if (self.mCapture != nullptr) {
        const CallingBack now(&self);
        self.mCapture->capture(slice, self.lastRenderError());
    }
    if (self.mPlayback != nullptr) {
        self.mPlayback->render(slice, self.mVolume.load(std::memory_order_relaxed));
    }
}

OSStatus DeviceUnit::render(const AudioTimeStamp& /*time*/, AudioUnitElement element, UInt32 frames,
                            AudioBufferList* list) noexcept {
    if (element != recordElement) {
        return kAudioUnitErr_InvalidElement;
    }
    return calledBack == this ? mCapture->fetch(frames, list) : kAudioUnitErr_CannotDoInCurrentContext;
}

OSStatus DeviceUnit::parameter(AudioUnitParameterID parameter, AudioUnitScope scope, AudioUnitElement element,
                               AudioUnitParameterValue* value) const noexcept {
    const OSStatus status = checkParameter(parameter, kHALOutputParam_Volume, scope, element);
    if (status == 0) {
        *value = mVolume.load(std::memory_order_relaxed);
    }
    return status;
}

OSStatus DeviceUnit::setParameter(AudioUnitParameterID parameter, AudioUnitScope scope, AudioUnitElement element,
                                  AudioUnitParameterValue value) noexcept {
    if (const OSStatus status = checkParameter(parameter, kHALOutputParam_Volume, scope, element)) {
        return status;
    }
    if (!(value >= 0.0F) || !std::isfinite(value)) {
        return kAudioUnitErr_InvalidPropertyValue;
    }
    mVolume.store(value, std::memory_order_relaxed);
    return 0;
}

} // namespace braq
