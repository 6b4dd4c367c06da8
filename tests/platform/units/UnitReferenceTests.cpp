#include "tests/platform/units/UnitHelpers.h"

#include <gmock/gmock.h>

#include <array>

namespace {

using namespace braq::tests;
using testing::Each;

void ignoreChange(void*, AudioUnit, AudioUnitPropertyID, AudioUnitScope, AudioUnitElement) {}

/// What every call with this unit answers.
std::array<OSStatus, 12> answersFor(AudioUnit unit) {
    UInt32 value = 0;
    UInt32 size = sizeof(value);
    Float32 parameter = 0.0F;
    const AudioTimeStamp time{};
    Float32 sample = 0.0F;
    AudioBufferList list{1, {{1, sizeof(sample), &sample}}};
    return {
        AudioUnitInitialize(unit),
        AudioUnitUninitialize(unit),
        AudioUnitGetProperty(unit, kAudioOutputUnitProperty_IsRunning, global, 0, &value, &size),
        AudioUnitSetProperty(unit, kAudioOutputUnitProperty_StartTimestampsAtZero, global, 0, &value, size),
        AudioUnitAddPropertyListener(unit, kAudioOutputUnitProperty_IsRunning, ignoreChange, nullptr),
        AudioUnitRemovePropertyListenerWithUserData(unit, kAudioOutputUnitProperty_IsRunning, ignoreChange, nullptr),
        AudioUnitGetParameter(unit, kHALOutputParam_Volume, global, 0, &parameter),
        AudioUnitSetParameter(unit, kHALOutputParam_Volume, global, 0, 1.0F, 0),
        AudioUnitRender(unit, nullptr, &time, 1, 1, &list),
        AudioOutputUnitStart(unit),
        AudioOutputUnitStop(unit),
        AudioComponentInstanceDispose(unit)};
}

AudioUnit makeUnit(const AudioComponentDescription& description = deviceDescription) {
    AudioUnit unit = nullptr;
    EXPECT_EQ(AudioComponentInstanceNew(AudioComponentFindNext(nullptr, &description), &unit), 0);
    return unit;
}

TEST(Units_References, ToNothingAnswerABadParameterToEveryCall) {
    EXPECT_THAT(answersFor(nullptr), Each(kAudio_ParamError));
    EXPECT_THAT(answersFor(reinterpret_cast<AudioUnit>(~std::uintptr_t{0})), Each(kAudio_ParamError));
    EXPECT_THAT(answersFor(reinterpret_cast<AudioUnit>(std::uintptr_t{0x1000})), Each(kAudio_ParamError));
}

TEST(Units_References, ToDisposedUnitsAnswerABadParameterToEveryCallForGood) {
    const auto device = steppedDevice("device");
    device->makeDefaultPlaybackDevice();
    for (const auto& description : {deviceDescription, varispeedDescription}) {
        const AudioUnit unit = makeUnit(description);
        EXPECT_EQ(AudioUnitInitialize(unit), 0);
        EXPECT_EQ(AudioComponentInstanceDispose(unit), 0);
        EXPECT_THAT(answersFor(unit), Each(kAudio_ParamError));
        EXPECT_THAT(answersFor(unit), Each(kAudio_ParamError));
        const AudioUnit next = makeUnit(description);
        EXPECT_NE(next, unit) << "references are not used again";
        EXPECT_THAT(answersFor(unit), Each(kAudio_ParamError));
        EXPECT_EQ(AudioComponentInstanceDispose(next), 0);
    }
}

TEST(Units_References, AnswerTheSameOnAnIOThread) {
    const auto device = steppedDevice("device");
    const AudioUnit disposed = makeUnit();
    AudioComponentInstanceDispose(disposed);
    std::array<OSStatus, 12> ofNull{};
    std::array<OSStatus, 12> ofDisposed{};
    Player player(device->deviceID(), planar(48000.0, 2), [&](const AudioTimeStamp&, UInt32, AudioBufferList*) {
        ofNull = answersFor(nullptr);
        ofDisposed = answersFor(disposed);
        return 0;
    });
    ASSERT_EQ(player.start(), 0);
    device->step(16);
    EXPECT_THAT(ofNull, Each(kAudio_ParamError));
    EXPECT_THAT(ofDisposed, Each(kAudio_ParamError));
}

TEST(Units_References, AreDisposedOfWhileTheyRun) {
    const auto device = steppedDevice("device");
    int calls = 0;
    Callback callback([&](const AudioTimeStamp&, UInt32, AudioBufferList*) {
        ++calls;
        return 0;
    });
    const AudioUnit unit = makeUnit();
    setUnit(unit, kAudioOutputUnitProperty_CurrentDevice, global, 0, device->deviceID());
    setUnit(unit, kAudioUnitProperty_SampleRate, input, 0, Float64{48000.0});
    setUnit(unit, kAudioUnitProperty_SetRenderCallback, input, 0, callback.get());
    AudioUnitInitialize(unit);
    AudioOutputUnitStart(unit);
    device->step(16);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(AudioComponentInstanceDispose(unit), 0);
    EXPECT_FALSE(device->step(16));
    EXPECT_EQ(calls, 1);
}

} // namespace
