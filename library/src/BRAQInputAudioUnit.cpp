#include "BRAQAudio/BRAQInputAudioUnit.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "library/src/BRAQBackgroundThread.h"
#include "library/src/BRAQInputAudioUnit_Callback.h"

#include <algorithm>
#include <exception>

namespace {

constexpr NSXCallSite here{"src/BRAQInputAudioUnit", "-[BRAQInputAudioUnit audioUnitInitialize]"};
constexpr AudioUnitElement inputElement = 1;
constexpr AudioUnitElement outputElement = 0;

} // namespace

std::shared_ptr<BRAQInputAudioUnit>
BRAQInputAudioUnit::initWithStreamDescription(const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                                              const std::shared_ptr<BRAQAudioDevice>& device,
                                              const std::optional<std::vector<SInt32>>& channels) {
    return initialized(new BRAQInputAudioUnit(streamDescription, device, channels));
}

std::shared_ptr<BRAQInputAudioUnit>
BRAQInputAudioUnit::initWithDevice(const std::shared_ptr<BRAQAudioDevice>& device,
                                   const std::optional<std::vector<SInt32>>& channels) {
    const auto formatOf = device != nullptr ? device : BRAQAudioDevice::defaultRecordDevice();
    return initWithStreamDescription(formatOf->deviceNativeRecordStreamDescription(), device, channels);
}

BRAQInputAudioUnit::BRAQInputAudioUnit(const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                                       const std::shared_ptr<BRAQAudioDevice>& device,
                                       const std::optional<std::vector<SInt32>>& channels)
    : BRAQAudioUnit(streamDescription) {
    constexpr int assertionLine = 35;
    const UInt32 streamChannels = streamDescription != nullptr ? streamDescription->channelsPerFrame() : 0;
    NSXAssertParameter(!channels || streamChannels == static_cast<UInt32>(channels->size()),
                       "!inChannels || sd.channelsPerFrame == [inChannels count]",
                       "-[BRAQInputAudioUnit initWithStreamDescription:device:channels:]", this, "BRAQInputAudioUnit",
                       assertionLine);
    setDevice(device);
    setChannels(channels);
}

BRAQInputAudioUnit::~BRAQInputAudioUnit() {
    if (!mIsMade) {
        return;
    }
    try {
        BRAQInputAudioUnit::audioUnitUninitialize();
    } catch (...) {
        NSXLogError(here.file, NSXErrorFromException(std::current_exception())->localizedDescription());
    }
}

void BRAQInputAudioUnit::audioUnitInitialize() {
    constexpr AudioComponentDescription description{kAudioUnitType_Output, kAudioUnitSubType_HALOutput, 0, 0, 0};
    const AudioComponent component = AudioComponentFindNext(nullptr, &description);
    if (component == nullptr) {
        NSXLogError(here.file, "Could not find HAL Output Component!");
        return;
    }
    NSXRaiseOnFailure(AudioComponentInstanceNew(component, &mAudioUnit),
                      "AudioComponentInstanceNew( HALOutputComponent, &mAudioUnit )", here);
    setUpDevice();
    setUpFormat();
    installPropertyListener();
    BRAQAudioUnit::audioUnitInitialize();
}

void BRAQInputAudioUnit::setUpDevice() {
    constexpr UInt32 enable = 1;
    NSXRaiseOnFailure(AudioUnitSetProperty(mAudioUnit, kAudioOutputUnitProperty_EnableIO, kAudioUnitScope_Input,
                                           inputElement, &enable, sizeof(enable)),
                      "AudioUnitSetProperty( mAudioUnit, kAudioOutputUnitProperty_EnableIO, kAudioUnitScope_Input, 1, "
                      "&enable, sizeof(UInt32) )",
                      here);
    constexpr UInt32 disable = 0;
    NSXRaiseOnFailure(AudioUnitSetProperty(mAudioUnit, kAudioOutputUnitProperty_EnableIO, kAudioUnitScope_Output,
                                           outputElement, &disable, sizeof(disable)),
                      "AudioUnitSetProperty( mAudioUnit, kAudioOutputUnitProperty_EnableIO, kAudioUnitScope_Output, 0, "
                      "&enable, sizeof(UInt32) )",
                      here);
    const auto device = this->device();
    const AudioDeviceID deviceID = device != nullptr ? device->deviceID() : kAudioObjectUnknown;
    NSXRaiseOnFailure(AudioUnitSetProperty(mAudioUnit, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global,
                                           0, &deviceID, sizeof(deviceID)),
                      "AudioUnitSetProperty( mAudioUnit, kAudioOutputUnitProperty_CurrentDevice, "
                      "kAudioUnitScope_Global, 0, &deviceId, sizeof(AudioDeviceID) )",
                      here);
    constexpr UInt32 startAtZero = 1;
    NSXRaiseOnFailure(AudioUnitSetProperty(mAudioUnit, kAudioOutputUnitProperty_StartTimestampsAtZero,
                                           kAudioUnitScope_Global, 0, &startAtZero, sizeof(startAtZero)),
                      "AudioUnitSetProperty( mAudioUnit, kAudioOutputUnitProperty_StartTimestampsAtZero, "
                      "kAudioUnitScope_Global, 0, &startAtZero, sizeof(UInt32) )",
                      here);
    const AURenderCallbackStruct inputCallback{IAUInputProc, this};
    NSXRaiseOnFailure(AudioUnitSetProperty(mAudioUnit, kAudioOutputUnitProperty_SetInputCallback,
                                           kAudioUnitScope_Global, 0, &inputCallback, sizeof(inputCallback)),
                      "AudioUnitSetProperty( mAudioUnit, kAudioOutputUnitProperty_SetInputCallback, "
                      "kAudioUnitScope_Global, 0, &inputCallback, sizeof(inputCallback) )",
                      here);
}

void BRAQInputAudioUnit::setUpFormat() {
    const auto description = streamDescription();
    const AudioStreamBasicDescription asbd =
        description != nullptr ? description->audioStreamBasicDescription() : AudioStreamBasicDescription{};
    NSXRaiseOnFailure(AudioUnitSetProperty(mAudioUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output,
                                           inputElement, &asbd, sizeof(asbd)),
                      "AudioUnitSetProperty( mAudioUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 1, "
                      "&asbd, sizeof(asbd) )",
                      here);
    const auto channels = this->channels();
    if (channels && !channels->empty()) {
        const UInt32 mapChannels = asbd.mChannelsPerFrame;
        std::vector<SInt32> map(*channels);
        map.resize(mapChannels);
        NSXRaiseOnFailure(AudioUnitSetProperty(mAudioUnit, kAudioOutputUnitProperty_ChannelMap, kAudioUnitScope_Input,
                                               inputElement, map.data(),
                                               static_cast<UInt32>(mapChannels * sizeof(SInt32))),
                          "AudioUnitSetProperty( mAudioUnit, kAudioOutputUnitProperty_ChannelMap, "
                          "kAudioUnitScope_Input, 1, map, (mapChannels * sizeof(SInt32)) )",
                          here);
    }
    UInt32 frameCount = 0;
    UInt32 size = sizeof(frameCount);
    NSXRaiseOnFailure(AudioUnitGetProperty(mAudioUnit, kAudioDevicePropertyBufferFrameSize, kAudioUnitScope_Global, 0,
                                           &frameCount, &size),
                      "AudioUnitGetProperty( mAudioUnit, kAudioDevicePropertyBufferFrameSize, kAudioUnitScope_Global, "
                      "0, &frameCount, &size )",
                      here);
    mInputAudioBuffer = BRAQAudioBuffer::initWithNumberFrames(frameCount, asbd.mChannelsPerFrame);
}

void BRAQInputAudioUnit::audioUnitUninitialize() { BRAQAudioUnit::audioUnitUninitialize(); }

OSStatus IAUInputProc(void* unitObject, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time, UInt32 bus,
                      UInt32 frames, AudioBufferList* /*list*/) {
    const BRAQIOReference<BRAQInputAudioUnit> unit(unitObject);
    if (!unit) {
        return 0;
    }
    AudioBufferList* const captured = unit->mInputAudioBuffer->audioBufferList();
    const OSStatus status = AudioUnitRender(unit->mAudioUnit, flags, time, bus, frames, captured);
    const BRAQInputProcessingBlock& block = unit->mInputProcessingBlock.plain();
    if (frames != 0 && status == 0 && block) {
        block(flags, time, bus, frames, captured);
    }
    return status;
}
