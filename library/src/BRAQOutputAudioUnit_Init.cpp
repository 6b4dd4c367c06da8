#include "BRAQAudio/BRAQOutputAudioUnit.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "library/src/BRAQBackgroundThread.h"
#include "library/src/BRAQOutputAudioUnit_Callback.h"
#include "library/src/BRAQQueueSequence.h"

#include <cmath>
#include <memory>

namespace {

struct EndWorker {
    void operator()(BAudioNotificationQueueWorker* worker) const {
        BAudioNotificationQueueWorkerTeardown(worker);
        BAudioNotificationQueueWorkerDestroy(worker);
    }
};

constexpr NSXCallSite here{"src/BRAQOutputAudioUnit", "-[BRAQOutputAudioUnit initWithStreamDescription:device:]"};

/// The varispeed's slice limit for the device's: the frames that the output unit may request while the rates differ,
/// rounded down to a multiple of 16, plus 16, even if nothing was rounded.
UInt32 widened(UInt32 maxFrames, Float64 israte, Float64 osrate) {
    constexpr UInt32 lowBits = 15;
    constexpr UInt32 margin = 16;
    const Float64 quotient = std::ceil(israte / osrate);
    const Float64 factor = quotient > 1.0 ? quotient : 1.0;
    return (static_cast<UInt32>(factor * maxFrames) & ~lowBits) + margin;
}

} // namespace

std::shared_ptr<BRAQOutputAudioUnit> BRAQOutputAudioUnit::initWithStreamDescription(
    const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
    const std::shared_ptr<BRAQAudioDevice>& device) {
    return handOut(new BRAQOutputAudioUnit(streamDescription, device));
}

BRAQOutputAudioUnit::BRAQOutputAudioUnit(const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                                         const std::shared_ptr<BRAQAudioDevice>& device) {
    BRAQBackgroundThread::instance(); // must exist before an I/O thread needs it
    setStreamDescription(streamDescription);
    makeGraph();
    setUpUnits(device);
    setUpFormats();
    setUpSliceLimit();
    NSXRaiseOnFailure(
        AudioUnitSetParameter(mVarispeedUnit, kVarispeedParam_PlaybackRate, kAudioUnitScope_Global, 0, 1.0F, 0),
        "AudioUnitSetParameter( mVarispeedUnit, kVarispeedParam_PlaybackRate, kAudioUnitScope_Global, 0, 1.0, 0 )",
        here);
    NSXRaiseOnFailure(AUGraphConnectNodeInput(mGraph, mVarispeedNode, 0, mOutputNode, 0),
                      "AUGraphConnectNodeInput(mGraph, mVarispeedNode, 0, mOutputNode, 0)", here);
    // Ended if the last step fails: its thread would run as long as the process.
    std::unique_ptr<BAudioNotificationQueueWorker, EndWorker> worker(BAudioNotificationQueueWorkerCreate());
    NSXRaiseOnFailure(AUGraphInitialize(mGraph), "AUGraphInitialize(mGraph)", here);
    mAudioNotificationQueueWorker = worker.release();
    mIsMade = true;
}

void BRAQOutputAudioUnit::makeGraph() {
    NSXRaiseOnFailure(NewAUGraph(&mGraph), "NewAUGraph(&mGraph)", here);
    NSXRaiseOnFailure(AUGraphOpen(mGraph), "AUGraphOpen(mGraph)", here);
    constexpr AudioComponentDescription varispeedDesc{kAudioUnitType_FormatConverter, kAudioUnitSubType_Varispeed,
                                                      kAudioUnitManufacturer_Platform, 0, 0};
    constexpr AudioComponentDescription outDesc{kAudioUnitType_Output, kAudioUnitSubType_DefaultOutput,
                                                kAudioUnitManufacturer_Platform, 0, 0};
    NSXRaiseOnFailure(AUGraphAddNode(mGraph, &varispeedDesc, &mVarispeedNode),
                      "AUGraphAddNode( mGraph, &varispeedDesc, &mVarispeedNode )", here);
    NSXRaiseOnFailure(AUGraphAddNode(mGraph, &outDesc, &mOutputNode),
                      "AUGraphAddNode( mGraph, &outDesc, &mOutputNode )", here);
    NSXRaiseOnFailure(AUGraphNodeInfo(mGraph, mVarispeedNode, nullptr, &mVarispeedUnit),
                      "AUGraphNodeInfo(mGraph, mVarispeedNode, ((void*)0), &mVarispeedUnit)", here);
    NSXRaiseOnFailure(AUGraphNodeInfo(mGraph, mOutputNode, nullptr, &mOutputUnit),
                      "AUGraphNodeInfo(mGraph, mOutputNode, ((void*)0), &mOutputUnit)", here);
}

void BRAQOutputAudioUnit::setUpUnits(const std::shared_ptr<BRAQAudioDevice>& device) {
    const AudioDeviceID defaultID = device != nullptr ? device->deviceID() : kAudioObjectUnknown;
    NSXRaiseOnFailure(AudioUnitSetProperty(mOutputUnit, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global,
                                           0, &defaultID, sizeof(defaultID)),
                      "AudioUnitSetProperty( mOutputUnit, kAudioOutputUnitProperty_CurrentDevice, "
                      "kAudioUnitScope_Global, 0, &defaultID, sizeof(defaultID) )",
                      here);
    const AURenderCallbackStruct outputCallback{OAUOutputProc, this};
    NSXRaiseOnFailure(AudioUnitSetProperty(mVarispeedUnit, kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input,
                                           0, &outputCallback, sizeof(outputCallback)),
                      "AudioUnitSetProperty( mVarispeedUnit, kAudioUnitProperty_SetRenderCallback, "
                      "kAudioUnitScope_Input, 0, &outputCallback, sizeof(outputCallback) )",
                      here);
}

void BRAQOutputAudioUnit::setUpFormats() {
    const auto description = streamDescription();
    const AudioStreamBasicDescription asbd =
        description != nullptr ? description->audioStreamBasicDescription() : AudioStreamBasicDescription{};
    mLevelChannels = asbd.mChannelsPerFrame;
    mLevels = std::make_unique<std::atomic<float>[]>(mLevelChannels);
    mQueues = std::make_unique<BRAQQueueSequence>(mLevelChannels);
    setPace(1.0);
    NSXRaiseOnFailure(AudioUnitSetProperty(mVarispeedUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0,
                                           &asbd, sizeof(asbd)),
                      "AudioUnitSetProperty( mVarispeedUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, "
                      "0, &asbd, sizeof(asbd) )",
                      here);
    NSXRaiseOnFailure(AudioUnitSetProperty(mVarispeedUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 0,
                                           &asbd, sizeof(asbd)),
                      "AudioUnitSetProperty( mVarispeedUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, "
                      "0, &asbd, sizeof(asbd) )",
                      here);
    NSXRaiseOnFailure(AudioUnitSetProperty(mOutputUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0,
                                           &asbd, sizeof(asbd)),
                      "AudioUnitSetProperty( mOutputUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0, "
                      "&asbd, sizeof(asbd) )",
                      here);
}

void BRAQOutputAudioUnit::setUpSliceLimit() {
    UInt32 maxFrames = 0;
    UInt32 mfSize = sizeof(maxFrames);
    NSXRaiseOnFailure(AudioUnitGetProperty(mOutputUnit, kAudioUnitProperty_MaximumFramesPerSlice,
                                           kAudioUnitScope_Global, 0, &maxFrames, &mfSize),
                      "AudioUnitGetProperty( mOutputUnit, kAudioUnitProperty_MaximumFramesPerSlice, "
                      "kAudioUnitScope_Global, 0, &maxFrames, &mfSize )",
                      here);
    Float64 israte = 0.0;
    Float64 osrate = 0.0;
    UInt32 srSize = sizeof(israte);
    NSXRaiseOnFailure(
        AudioUnitGetProperty(mOutputUnit, kAudioUnitProperty_SampleRate, kAudioUnitScope_Input, 0, &israte, &srSize),
        "AudioUnitGetProperty( mOutputUnit, kAudioUnitProperty_SampleRate, kAudioUnitScope_Input, 0, "
        "&israte, &srSize )",
        here);
    NSXRaiseOnFailure(
        AudioUnitGetProperty(mOutputUnit, kAudioUnitProperty_SampleRate, kAudioUnitScope_Output, 0, &osrate, &srSize),
        "AudioUnitGetProperty( mOutputUnit, kAudioUnitProperty_SampleRate, kAudioUnitScope_Output, 0, "
        "&osrate, &srSize )",
        here);
    maxFrames = widened(maxFrames, israte, osrate);
    NSXRaiseOnFailure(AudioUnitSetProperty(mVarispeedUnit, kAudioUnitProperty_MaximumFramesPerSlice,
                                           kAudioUnitScope_Global, 0, &maxFrames, sizeof(maxFrames)),
                      "AudioUnitSetProperty( mVarispeedUnit, kAudioUnitProperty_MaximumFramesPerSlice, "
                      "kAudioUnitScope_Global, 0, &maxFrames, sizeof(maxFrames) )",
                      here);
}
