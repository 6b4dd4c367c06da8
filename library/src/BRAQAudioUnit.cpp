#include "BRAQAudio/BRAQAudioUnit.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "BRAQAudio/platform/foundation.h"
#include "library/src/BRAQAudioUnit_Listener.h"
#include "library/src/BRAQBackgroundThread.h"
#include "library/src/BRAQDeviceWatch.h"
#include "library/src/BRAQLiveObjects.h"
#include "library/src/BRAQLossWatch.h"

const char kAudioUnitDidStartNotification[] = "AudioUnitDidStartNotification";
const char kAudioUnitDidStopNotification[] = "AudioUnitDidStopNotification";

namespace {

constexpr const char* file = "src/BRAQAudioUnit";

} // namespace

BRAQAudioUnitDelegate::~BRAQAudioUnitDelegate() = default;
void BRAQAudioUnitDelegate::audioUnitDidStart(const std::shared_ptr<BRAQAudioUnit>& /*unit*/) {}
void BRAQAudioUnitDelegate::audioUnitDidStop(const std::shared_ptr<BRAQAudioUnit>& /*unit*/) {}
void BRAQAudioUnitDelegate::audioUnitDeviceDidChange(const std::shared_ptr<BRAQAudioUnit>& /*unit*/,
                                                     const std::shared_ptr<BRAQAudioDevice>& /*device*/) {}
void BRAQAudioUnitDelegate::audioUnitDeviceIsGone(const std::shared_ptr<BRAQAudioUnit>& /*unit*/) {}
void BRAQAudioUnitDelegate::audioUnitDeviceIsBack(const std::shared_ptr<BRAQAudioUnit>& /*unit*/,
                                                  const std::shared_ptr<BRAQAudioDevice>& /*device*/) {}
void BRAQAudioUnitDelegate::audioUnitDidLoseFrames(const std::shared_ptr<BRAQAudioUnit>& /*unit*/, UInt64 /*frames*/) {}

std::shared_ptr<BRAQAudioUnit>
BRAQAudioUnit::initWithStreamDescription(const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription) {
    return handOut(new BRAQAudioUnit(streamDescription));
}

BRAQAudioUnit::BRAQAudioUnit(const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription) {
    BRAQBackgroundThread::instance(); // must exist before an I/O thread needs it
    setStreamDescription(streamDescription);
}

void BRAQAudioUnit::makeFindable(const std::shared_ptr<BRAQAudioUnit>& unit) {
    braq::LiveObjects<BRAQAudioUnit>::all().add(unit);
}

BRAQAudioUnit::~BRAQAudioUnit() {
    setStreamDescription(nullptr);
    braq::LiveObjects<BRAQAudioUnit>::all().remove(this);
}

void BRAQAudioUnit::start() {
    NSXRaiseOnFailure(AudioOutputUnitStart(mAudioUnit), "AudioOutputUnitStart( mAudioUnit )",
                      {file, "-[BRAQAudioUnit start]"});
}

void BRAQAudioUnit::stop() {
    NSXRaiseOnFailure(AudioOutputUnitStop(mAudioUnit), "AudioOutputUnitStop( mAudioUnit )",
                      {file, "-[BRAQAudioUnit stop]"});
}

bool BRAQAudioUnit::isRunning() const {
    UInt32 isRunning = 0;
    UInt32 size = sizeof(isRunning);
    NSXRaiseOnFailure(AudioUnitGetProperty(mAudioUnit, kAudioOutputUnitProperty_IsRunning, kAudioUnitScope_Global, 0,
                                           &isRunning, &size),
                      "AudioUnitGetProperty( mAudioUnit, kAudioOutputUnitProperty_IsRunning, kAudioUnitScope_Global, "
                      "0, &isRunning, &size )",
                      {file, "-[BRAQAudioUnit isRunning]"});
    return isRunning != 0;
}

UInt64 BRAQAudioUnit::lostFrames() const noexcept { return braq::lostFramesOf(mAudioUnit); }

void BRAQAudioUnit::installPropertyListener() {
    NSXRaiseOnFailure(
        AudioUnitAddPropertyListener(mAudioUnit, kAudioOutputUnitProperty_IsRunning, AUPropertyListenerProc, this),
        "AudioUnitAddPropertyListener( mAudioUnit, kAudioOutputUnitProperty_IsRunning, "
        "AUPropertyListenerProc, (__bridge void *)( self ) )",
        {file, "-[BRAQAudioUnit installPropertyListener]"});
}

void BRAQAudioUnit::setProperty(AudioUnitPropertyID propertyID, AudioUnitScope scope, AudioUnitElement element,
                                const void* data, UInt32 size) {
    NSXRaiseOnFailure(AudioUnitSetProperty(mAudioUnit, propertyID, scope, element, data, size),
                      "AudioUnitSetProperty( mAudioUnit, inID, inScope, inElement, inData, inSize )",
                      {file, "-[BRAQAudioUnit setProperty:scope:element:data:size:]"});
}

Float64 BRAQAudioUnit::latency() const {
    Float64 seconds = 0.0;
    UInt32 size = sizeof(seconds);
    NSXRaiseOnFailure(
        AudioUnitGetProperty(mAudioUnit, kAudioUnitProperty_Latency, kAudioUnitScope_Global, 0, &seconds, &size),
        "AudioUnitGetProperty( mAudioUnit, kAudioUnitProperty_Latency, kAudioUnitScope_Global, 0, &seconds, &size )",
        {file, "-[BRAQAudioUnit latency]"});
    return seconds;
}

void BRAQAudioUnit::audioUnitInitialize() {
    NSXRaiseOnFailure(AudioUnitInitialize(mAudioUnit), "AudioUnitInitialize( mAudioUnit )",
                      {file, "-[BRAQAudioUnit audioUnitInitialize]"});
    mDeviceWatch = std::make_shared<braq::DeviceWatch>(
        mAudioUnit, [weak = weak_from_this()](BRAQDeviceChange change, const auto& device) {
            if (const auto self = weak.lock()) {
                self->tellOfDevice(change, device);
            }
        });
    mLossWatch = std::make_shared<braq::LossWatch>(mAudioUnit, [weak = weak_from_this()](UInt64 frames) {
        const auto self = weak.lock();
        if (const auto delegate = self != nullptr ? self->delegate() : nullptr) {
            delegate->audioUnitDidLoseFrames(self, frames);
        }
    });
}

void BRAQAudioUnit::tellOfDevice(BRAQDeviceChange change, const std::shared_ptr<BRAQAudioDevice>& device) {
    const auto delegate = this->delegate();
    if (delegate == nullptr) {
        return;
    }
    switch (change) {
    case BRAQDeviceChange::moved: delegate->audioUnitDeviceDidChange(shared_from_this(), device); break;
    case BRAQDeviceChange::gone: delegate->audioUnitDeviceIsGone(shared_from_this()); break;
    case BRAQDeviceChange::back: delegate->audioUnitDeviceIsBack(shared_from_this(), device); break;
    }
}

void BRAQAudioUnit::audioUnitUninitialize() {
    mDeviceWatch.reset();
    mLossWatch.reset();
    NSXRaiseOnFailure(AudioUnitUninitialize(mAudioUnit), "AudioUnitUninitialize( mAudioUnit )",
                      {file, "-[BRAQAudioUnit audioUnitUninitialize]"});
}

AudioUnit BRAQAudioUnit::openDefaultComponentType(UInt32 /*type*/, UInt32 /*subType*/) {
    constexpr AudioComponentDescription description{kAudioUnitType_Output, kAudioUnitSubType_DefaultOutput, 0, 0, 0};
    const AudioComponent component = AudioComponentFindNext(nullptr, &description);
    if (component == nullptr) {
        return nullptr;
    }
    AudioUnit unit = nullptr;
    NSXRaiseOnFailure(AudioComponentInstanceNew(component, &unit),
                      "AudioComponentInstanceNew( HALOutputComponent, &au )",
                      {file, "+[BRAQAudioUnit openDefaultComponentType:subType:]"});
    return unit;
}

void AUPropertyListenerProc(void* unitObject, AudioUnit unit, AudioUnitPropertyID propertyID, AudioUnitScope scope,
                            AudioUnitElement element) {
    const auto au = braq::LiveObjects<BRAQAudioUnit>::all().find(unitObject);
    if (au == nullptr || unit != au->audioUnit() || propertyID != kAudioOutputUnitProperty_IsRunning) {
        return;
    }
    UInt32 isRunning = 0;
    UInt32 size = sizeof(isRunning);
    NSXRaiseOnFailure(
        AudioUnitGetProperty(au->audioUnit(), propertyID, scope, element, &isRunning, &size),
        "AudioUnitGetProperty( [au audioUnit], inID, inScope, inElement, &isRunning, &size )",
        {file,
         "void AUPropertyListenerProc(void *, AudioUnit, AudioUnitPropertyID, AudioUnitScope, AudioUnitElement)"});
    if (const auto delegate = au->delegate()) {
        isRunning != 0 ? delegate->audioUnitDidStart(au) : delegate->audioUnitDidStop(au);
    }
    NSNotificationCenter::defaultCenter().postNotification(
        NSNotification(isRunning != 0 ? kAudioUnitDidStartNotification : kAudioUnitDidStopNotification, au));
}
