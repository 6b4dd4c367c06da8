#include "BRAQAudio/BRAQRenderAudioUnit.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "library/src/BRAQBackgroundThread.h"
#include "library/src/BRAQRenderAudioUnit_Callback.h"

#include <exception>
#include <utility>

namespace {

constexpr NSXCallSite siteOf(const char* method) { return {"src/BRAQRenderAudioUnit", method}; }

} // namespace

std::shared_ptr<BRAQRenderAudioUnit> BRAQRenderAudioUnit::initWithStreamDescription(
    const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
    const std::shared_ptr<BRAQAudioDevice>& device, BRAQRenderBlock block) {
    return initialized(new BRAQRenderAudioUnit(streamDescription, device, std::move(block)));
}

std::shared_ptr<BRAQRenderAudioUnit> BRAQRenderAudioUnit::initWithDevice(const std::shared_ptr<BRAQAudioDevice>& device,
                                                                         BRAQRenderBlock block) {
    const auto formatOf = device != nullptr ? device : BRAQAudioDevice::defaultPlaybackDevice();
    return initWithStreamDescription(formatOf->deviceNativePlaybackStreamDescription(), device, std::move(block));
}

BRAQRenderAudioUnit::BRAQRenderAudioUnit(const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                                         std::shared_ptr<BRAQAudioDevice> device, BRAQRenderBlock block)
    : BRAQAudioUnit(streamDescription), mDevice(std::move(device)), mRenderBlock(std::move(block)) {}

BRAQRenderAudioUnit::~BRAQRenderAudioUnit() {
    constexpr NSXCallSite here = siteOf("-[BRAQRenderAudioUnit dealloc]");
    if (audioUnit() == nullptr) {
        return;
    }
    try {
        BRAQRenderAudioUnit::audioUnitUninitialize();
    } catch (...) {
        NSXLogError(here.file, NSXErrorFromException(std::current_exception())->localizedDescription());
    }
    NSXLogOnFailure(AudioComponentInstanceDispose(audioUnit()), "AudioComponentInstanceDispose( mAudioUnit )", here);
}

void BRAQRenderAudioUnit::setUp() {
    constexpr NSXCallSite here = siteOf("-[BRAQRenderAudioUnit initWithStreamDescription:device:block:]");
    setAudioUnit(openDefaultComponentType(kAudioUnitType_Output, kAudioUnitSubType_DefaultOutput));
    NSXRaiseOnFailure(audioUnit() == nullptr ? kAudioUnitErr_FailedInitialization : 0,
                      "AudioComponentFindNext( NULL, &description )", here);
    const AudioDeviceID deviceID = mDevice != nullptr ? mDevice->deviceID() : kAudioObjectUnknown;
    NSXRaiseOnFailure(AudioUnitSetProperty(audioUnit(), kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global,
                                           0, &deviceID, sizeof(deviceID)),
                      "AudioUnitSetProperty( mAudioUnit, kAudioOutputUnitProperty_CurrentDevice, "
                      "kAudioUnitScope_Global, 0, &deviceID, sizeof(deviceID) )",
                      here);
    constexpr UInt32 startAtZero = 1;
    NSXRaiseOnFailure(AudioUnitSetProperty(audioUnit(), kAudioOutputUnitProperty_StartTimestampsAtZero,
                                           kAudioUnitScope_Global, 0, &startAtZero, sizeof(startAtZero)),
                      "AudioUnitSetProperty( mAudioUnit, kAudioOutputUnitProperty_StartTimestampsAtZero, "
                      "kAudioUnitScope_Global, 0, &startAtZero, sizeof(startAtZero) )",
                      here);
    const AURenderCallbackStruct callback{RAURenderProc, this};
    NSXRaiseOnFailure(AudioUnitSetProperty(audioUnit(), kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, 0,
                                           &callback, sizeof(callback)),
                      "AudioUnitSetProperty( mAudioUnit, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, "
                      "0, &callback, sizeof(callback) )",
                      here);
    const auto description = streamDescription();
    const AudioStreamBasicDescription asbd =
        description != nullptr ? description->audioStreamBasicDescription() : AudioStreamBasicDescription{};
    NSXRaiseOnFailure(AudioUnitSetProperty(audioUnit(), kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0,
                                           &asbd, sizeof(asbd)),
                      "AudioUnitSetProperty( mAudioUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0, "
                      "&asbd, sizeof(asbd) )",
                      here);
    installPropertyListener();
    audioUnitInitialize();
}

void BRAQRenderAudioUnit::setRenderBlock(BRAQRenderBlock block) {
    NSXRaiseOnFailure(isRunning() ? kAudioUnitErr_CannotDoInCurrentContext : 0, "isRunning",
                      siteOf("-[BRAQRenderAudioUnit setRenderBlock:]"));
    mRenderBlock.set(std::move(block));
}

UInt32 BRAQRenderAudioUnit::maximumFrames() const {
    UInt32 frames = 0;
    UInt32 size = sizeof(frames);
    NSXRaiseOnFailure(AudioUnitGetProperty(audioUnit(), kAudioUnitProperty_MaximumFramesPerSlice,
                                           kAudioUnitScope_Global, 0, &frames, &size),
                      "AudioUnitGetProperty( mAudioUnit, kAudioUnitProperty_MaximumFramesPerSlice, "
                      "kAudioUnitScope_Global, 0, &frames, &size )",
                      siteOf("-[BRAQRenderAudioUnit maximumFrames]"));
    return frames;
}

double BRAQRenderAudioUnit::playbackLevel() const {
    Float32 value = 0.0F;
    NSXRaiseOnFailure(AudioUnitGetParameter(audioUnit(), kHALOutputParam_Volume, kAudioUnitScope_Global, 0, &value),
                      "AudioUnitGetParameter( mAudioUnit, kHALOutputParam_Volume, kAudioUnitScope_Global, 0, &value )",
                      siteOf("-[BRAQRenderAudioUnit playbackLevel]"));
    return static_cast<double>(value);
}

void BRAQRenderAudioUnit::setPlaybackLevel(double level) {
    NSXRaiseOnFailure(
        AudioUnitSetParameter(audioUnit(), kHALOutputParam_Volume, kAudioUnitScope_Global, 0,
                              static_cast<Float32>(level), 0),
        "AudioUnitSetParameter( mAudioUnit, kHALOutputParam_Volume, kAudioUnitScope_Global, 0, level, 0 )",
        siteOf("-[BRAQRenderAudioUnit setPlaybackLevel:]"));
}

std::shared_ptr<BRAQAudioDevice> BRAQRenderAudioUnit::presentDevice() const {
    AudioDeviceID device = kAudioObjectUnknown;
    UInt32 size = sizeof(device);
    NSXRaiseOnFailure(AudioUnitGetProperty(audioUnit(), kBRAQOutputUnitProperty_PresentDevice, kAudioUnitScope_Global,
                                           0, &device, &size),
                      "AudioUnitGetProperty( mAudioUnit, kBRAQOutputUnitProperty_PresentDevice, "
                      "kAudioUnitScope_Global, 0, &device, &size )",
                      siteOf("-[BRAQRenderAudioUnit presentDevice]"));
    return device != kAudioObjectUnknown ? BRAQAudioDevice::initWithDeviceID(device) : nullptr;
}

OSStatus RAURenderProc(void* unitObject, AudioUnitRenderActionFlags* /*flags*/, const AudioTimeStamp* time,
                       UInt32 /*bus*/, UInt32 frames, AudioBufferList* list) {
    const BRAQIOReference<BRAQRenderAudioUnit> unit(unitObject);
    if (!unit) {
        return 0;
    }
    if (const BRAQRenderBlock& block = unit->mRenderBlock.plain()) {
        block(time, frames, list);
    }
    return 0;
}
