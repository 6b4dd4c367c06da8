#include "tests/platform/units/UnitHelpers.h"

#include <gmock/gmock.h>

#include <array>
#include <limits>

namespace {

using namespace braq::tests;
using testing::Optional;

struct Property {
    AudioUnitPropertyID id;
    AudioUnitScope scope;
    AudioUnitElement element;
    UInt32 size;
    bool isWritable;
    OSStatus otherScope;   // the status of a scope that it has not got
    OSStatus otherElement; // that of an element
};

constexpr OSStatus badScope = kAudioUnitErr_InvalidScope;
constexpr OSStatus badElement = kAudioUnitErr_InvalidElement;

constexpr std::array properties{
    Property{kAudioOutputUnitProperty_CurrentDevice, global, 0, 4, true, badScope, badElement},
    Property{kAudioOutputUnitProperty_EnableIO, input, 1, 4, true, badScope, badElement},
    Property{kAudioOutputUnitProperty_EnableIO, output, 0, 4, true, badScope, badElement},
    Property{kAudioOutputUnitProperty_HasIO, input, 1, 4, false, badScope, badElement},
    Property{kAudioOutputUnitProperty_HasIO, output, 0, 4, false, badScope, badElement},
    Property{kAudioOutputUnitProperty_IsRunning, global, 0, 4, false, badScope, badElement},
    Property{kAudioOutputUnitProperty_StartTimestampsAtZero, global, 0, 4, true, badScope, badElement},
    Property{kAudioOutputUnitProperty_SetInputCallback, global, 0, 16, true, badScope, badElement},
    Property{kAudioUnitProperty_StreamFormat, input, 0, 40, true, badScope, badElement},
    Property{kAudioUnitProperty_StreamFormat, output, 1, 40, true, badScope, badElement},
    Property{kAudioUnitProperty_StreamFormat, output, 0, 40, false, badScope, badElement},
    Property{kAudioUnitProperty_StreamFormat, input, 1, 40, false, badScope, badElement},
    Property{kAudioUnitProperty_SampleRate, input, 0, 8, true, badScope, badElement},
    Property{kAudioUnitProperty_SampleRate, output, 0, 8, false, badScope, badElement},
    Property{kAudioUnitProperty_MaximumFramesPerSlice, global, 0, 4, true, badScope, badElement},
    Property{kAudioDevicePropertyBufferFrameSize, global, 0, 4, false, badScope, badElement},
    Property{kAudioUnitProperty_SetRenderCallback, input, 0, 16, true, badScope, badElement},
    Property{kAudioUnitProperty_Latency, global, 0, 8, false, badScope, badElement},
    Property{kAudioUnitProperty_LastRenderError, global, 0, 4, false, badScope, badElement},
    Property{kAudioUnitProperty_ElementCount, input, 0, 4, false, badScope, badElement},
};

class Units_DeviceUnitProperties : public ::testing::Test {
  protected:
    const std::shared_ptr<BRAQSoftwareDevice> device = steppedDevice("device");
    TestUnit unit;
    Units_DeviceUnitProperties() {
        EXPECT_EQ(setUnit(unit, kAudioOutputUnitProperty_CurrentDevice, global, 0, device->deviceID()), 0);
    }
    OSStatus read(const Property& one, AudioUnitScope scope, AudioUnitElement element, UInt32 size) {
        std::array<std::byte, 64> data{};
        return AudioUnitGetProperty(unit, one.id, scope, element, data.data(), &size);
    }
    /// Writes what is there.
    OSStatus write(const Property& one, AudioUnitScope scope, AudioUnitElement element) {
        std::array<std::byte, 64> data{};
        UInt32 size = one.size;
        AudioUnitGetProperty(unit, one.id, one.scope, one.element, data.data(), &size);
        return AudioUnitSetProperty(unit, one.id, scope, element, data.data(), one.size);
    }
};

std::string nameOf(const Property& one) {
    return std::to_string(one.id) + " in scope " + std::to_string(one.scope) + ", element " +
           std::to_string(one.element);
}

TEST_F(Units_DeviceUnitProperties, AreReadWithExactlyTheirSize) {
    for (const Property& one : properties) {
        EXPECT_EQ(read(one, one.scope, one.element, one.size), 0) << nameOf(one);
        for (const UInt32 size : {UInt32{0}, one.size - 1, one.size + 1}) {
            EXPECT_EQ(read(one, one.scope, one.element, size), kAudioUnitErr_InvalidPropertyValue) << nameOf(one);
        }
        UInt32 size = one.size;
        EXPECT_EQ(AudioUnitGetProperty(unit, one.id, one.scope, one.element, nullptr, &size),
                  kAudioUnitErr_InvalidPropertyValue)
            << nameOf(one);
        std::array<std::byte, 64> data{};
        EXPECT_EQ(AudioUnitGetProperty(unit, one.id, one.scope, one.element, data.data(), nullptr),
                  kAudioUnitErr_InvalidPropertyValue)
            << nameOf(one);
    }
}

TEST_F(Units_DeviceUnitProperties, AreInTheirScopeAndElementOnly) {
    for (const Property& one : properties) {
        constexpr AudioUnitScope noScope = 3;
        EXPECT_EQ(read(one, noScope, one.element, one.size), one.otherScope) << nameOf(one);
        EXPECT_EQ(read(one, one.scope, 2, one.size), one.otherElement) << nameOf(one);
        EXPECT_EQ(write(one, noScope, one.element), one.otherScope) << nameOf(one);
        EXPECT_EQ(write(one, one.scope, 2), one.otherElement) << nameOf(one);
        if (one.id != kAudioUnitProperty_ElementCount) {
            const AudioUnitScope other = one.scope == global ? input : global;
            EXPECT_EQ(read(one, other, one.element, one.size), one.otherScope) << nameOf(one);
        }
    }
    UInt32 size = 4;
    UInt32 value = 0;
    for (const AudioUnitPropertyID id : {kAudioOutputUnitProperty_EnableIO, kAudioOutputUnitProperty_HasIO}) {
        EXPECT_EQ(AudioUnitGetProperty(unit, id, input, 0, &value, &size), kAudioUnitErr_InvalidElement);
        EXPECT_EQ(AudioUnitGetProperty(unit, id, output, 1, &value, &size), kAudioUnitErr_InvalidElement);
    }
}

TEST_F(Units_DeviceUnitProperties, AreWrittenWithExactlyTheirSizeWhereTheyCanBe) {
    for (const Property& one : properties) {
        EXPECT_EQ(write(one, one.scope, one.element), one.isWritable ? 0 : kAudioUnitErr_PropertyNotWritable)
            << nameOf(one);
        if (!one.isWritable) {
            continue;
        }
        const std::array<std::byte, 64> data{};
        for (const UInt32 size : {UInt32{0}, one.size - 1, one.size + 1}) {
            EXPECT_EQ(AudioUnitSetProperty(unit, one.id, one.scope, one.element, data.data(), size),
                      kAudioUnitErr_InvalidPropertyValue)
                << nameOf(one);
        }
        EXPECT_EQ(AudioUnitSetProperty(unit, one.id, one.scope, one.element, nullptr, one.size),
                  kAudioUnitErr_InvalidPropertyValue)
            << nameOf(one);
    }
}

TEST_F(Units_DeviceUnitProperties, AreFixedFromInitialisingToUninitialising) {
    ASSERT_EQ(AudioUnitInitialize(unit), 0);
    for (const Property& one : properties) {
        EXPECT_EQ(write(one, one.scope, one.element),
                  one.isWritable ? kAudioUnitErr_Initialized : kAudioUnitErr_PropertyNotWritable)
            << nameOf(one);
        EXPECT_EQ(read(one, one.scope, one.element, one.size), 0) << nameOf(one);
    }
    const SInt32 map[]{0, 1};
    EXPECT_EQ(setUnit(unit, kAudioOutputUnitProperty_ChannelMap, output, 0, map), kAudioUnitErr_Initialized);
    const AudioUnitConnection connection{};
    EXPECT_EQ(setUnit(unit, kAudioUnitProperty_MakeConnection, input, 0, connection), kAudioUnitErr_Initialized);

    ASSERT_EQ(AudioOutputUnitStart(unit), 0);
    for (const Property& one : properties) {
        EXPECT_EQ(write(one, one.scope, one.element),
                  one.isWritable ? kAudioUnitErr_CannotDoInCurrentContext : kAudioUnitErr_PropertyNotWritable)
            << nameOf(one);
        EXPECT_EQ(read(one, one.scope, one.element, one.size), 0) << nameOf(one);
    }
    EXPECT_EQ(setUnit(unit, kAudioOutputUnitProperty_ChannelMap, output, 0, map),
              kAudioUnitErr_CannotDoInCurrentContext);

    AudioUnitUninitialize(unit);
    for (const Property& one : properties) {
        EXPECT_EQ(write(one, one.scope, one.element), one.isWritable ? 0 : kAudioUnitErr_PropertyNotWritable)
            << nameOf(one);
    }
}

TEST_F(Units_DeviceUnitProperties, OthersAreUnknown) {
    UInt32 value = 0;
    UInt32 size = sizeof(value);
    for (const AudioUnitScope scope : {global, input, output}) {
        EXPECT_EQ(AudioUnitGetProperty(unit, 4711, scope, 0, &value, &size), kAudioUnitErr_InvalidProperty);
        EXPECT_EQ(setUnit(unit, 4711, scope, 0, value), kAudioUnitErr_InvalidProperty);
    }
    ASSERT_EQ(AudioUnitInitialize(unit), 0);
    EXPECT_EQ(setUnit(unit, 4711, global, 0, value), kAudioUnitErr_InvalidProperty);
}

TEST_F(Units_DeviceUnitProperties, LatencyIsAllThatTheDeviceSaysOfTheDirection) {
    auto options = steppedOptions("slow");
    options.playback.streams = {{.channels = 1, .latencyFrames = 40}, {.channels = 1, .latencyFrames = 80}};
    options.playback.latencyFrames = 300;
    options.playback.safetyOffsetFrames = 100;
    options.record.latencyFrames = 24;
    const auto slow = BRAQSoftwareDevice::deviceWithOptions(options);
    ASSERT_EQ(setUnit(unit, kAudioOutputUnitProperty_CurrentDevice, global, 0, slow->deviceID()), 0);
    EXPECT_THAT(getUnit<Float64>(unit, kAudioUnitProperty_Latency), Optional(0.01));
    ASSERT_EQ(AudioUnitInitialize(unit), 0);
    EXPECT_THAT(getUnit<Float64>(unit, kAudioUnitProperty_Latency), Optional(0.01));
    ASSERT_EQ(AudioUnitUninitialize(unit), 0);
    setUnit(unit, kAudioOutputUnitProperty_EnableIO, input, recordElement, UInt32{1});
    EXPECT_THAT(getUnit<Float64>(unit, kAudioUnitProperty_Latency), Optional(0.01)) << "of what is played";
    setUnit(unit, kAudioOutputUnitProperty_EnableIO, output, playElement, UInt32{0});
    EXPECT_THAT(getUnit<Float64>(unit, kAudioUnitProperty_Latency), Optional(0.0005));
}

TEST_F(Units_DeviceUnitProperties, BeginWithTheirUsualValues) {
    EXPECT_THAT(getUnit<UInt32>(unit, kAudioOutputUnitProperty_EnableIO, output, 0), Optional(1U));
    EXPECT_THAT(getUnit<UInt32>(unit, kAudioOutputUnitProperty_EnableIO, input, 1), Optional(0U));
    EXPECT_THAT(getUnit<UInt32>(unit, kAudioOutputUnitProperty_IsRunning), Optional(0U));
    EXPECT_THAT(getUnit<UInt32>(unit, kAudioOutputUnitProperty_StartTimestampsAtZero), Optional(0U));
    EXPECT_THAT(getUnit<UInt32>(unit, kAudioUnitProperty_ElementCount, input), Optional(2U));
    EXPECT_THAT(getUnit<UInt32>(unit, kAudioUnitProperty_ElementCount, output), Optional(2U));
    EXPECT_THAT(getUnit<UInt32>(unit, kAudioUnitProperty_ElementCount, global), Optional(1U));
    EXPECT_THAT(getUnit<Float64>(unit, kAudioUnitProperty_Latency), Optional(0.0));
    EXPECT_THAT(getUnit<OSStatus>(unit, kAudioUnitProperty_LastRenderError), Optional(0));
    const auto callback = getUnit<AURenderCallbackStruct>(unit, kAudioUnitProperty_SetRenderCallback, input);
    ASSERT_TRUE(callback);
    EXPECT_EQ(callback->inputProc, nullptr);
}

TEST_F(Units_DeviceUnitProperties, AreReadAsTheyWereWritten) {
    const auto format = interleaved(96000.0, 6);
    setUnit(unit, kAudioUnitProperty_StreamFormat, input, 0, format);
    setUnit(unit, kAudioUnitProperty_SampleRate, output, 1, Float64{8000.0});
    setUnit(unit, kAudioUnitProperty_MaximumFramesPerSlice, global, 0, UInt32{300});
    setUnit(unit, kAudioOutputUnitProperty_StartTimestampsAtZero, global, 0, UInt32{1});
    const auto played = getUnit<AudioStreamBasicDescription>(unit, kAudioUnitProperty_StreamFormat, input, 0);
    ASSERT_TRUE(played);
    EXPECT_EQ(played->mSampleRate, 96000.0);
    EXPECT_EQ(played->mChannelsPerFrame, 6U);
    EXPECT_EQ(played->mFormatFlags, format.mFormatFlags);
    EXPECT_THAT(getUnit<Float64>(unit, kAudioUnitProperty_SampleRate, input, 0), Optional(96000.0));
    EXPECT_THAT(getUnit<Float64>(unit, kAudioUnitProperty_SampleRate, output, 1), Optional(8000.0));
    EXPECT_THAT(getUnit<UInt32>(unit, kAudioUnitProperty_MaximumFramesPerSlice), Optional(300U));
    EXPECT_THAT(getUnit<UInt32>(unit, kAudioOutputUnitProperty_StartTimestampsAtZero), Optional(1U));
}

TEST_F(Units_DeviceUnitProperties, TellOfTheDevice) {
    auto options = steppedOptions("another", 6, 0);
    options.bufferFrames = 128;
    options.sampleRate = 96000.0;
    const auto another = BRAQSoftwareDevice::deviceWithOptions(options);
    setUnit(unit, kAudioOutputUnitProperty_CurrentDevice, global, 0, another->deviceID());
    EXPECT_THAT(getUnit<UInt32>(unit, kAudioOutputUnitProperty_CurrentDevice), Optional(another->deviceID()));
    EXPECT_THAT(getUnit<UInt32>(unit, kAudioOutputUnitProperty_HasIO, output, 0), Optional(1U));
    EXPECT_THAT(getUnit<UInt32>(unit, kAudioOutputUnitProperty_HasIO, input, 1), Optional(0U));
    EXPECT_THAT(getUnit<UInt32>(unit, kAudioDevicePropertyBufferFrameSize), Optional(128U));
    EXPECT_THAT(getUnit<UInt32>(unit, kAudioUnitProperty_MaximumFramesPerSlice), Optional(128U));
    EXPECT_THAT(getUnit<Float64>(unit, kAudioUnitProperty_SampleRate, output, 0), Optional(96000.0));
    const auto format = getUnit<AudioStreamBasicDescription>(unit, kAudioUnitProperty_StreamFormat, output, 0);
    ASSERT_TRUE(format);
    EXPECT_EQ(format->mChannelsPerFrame, 6U);
    EXPECT_EQ(format->mSampleRate, 96000.0);
}

TEST_F(Units_DeviceUnitProperties, RefuseADeviceThatIsNotThere) {
    for (const AudioDeviceID wrong : {AudioDeviceID{kAudioObjectSystemObject}, AudioDeviceID{0xABCDEF}}) {
        EXPECT_EQ(setUnit(unit, kAudioOutputUnitProperty_CurrentDevice, global, 0, wrong),
                  kAudioUnitErr_InvalidPropertyValue);
    }
    EXPECT_THAT(getUnit<UInt32>(unit, kAudioOutputUnitProperty_CurrentDevice), Optional(device->deviceID()));
}

TEST_F(Units_DeviceUnitProperties, RefuseFormatsOtherThanFloat) {
    const auto refused = [&](auto change) {
        auto format = planar(48000.0, 2);
        change(format);
        for (const auto& [scope, element] : {std::pair(input, 0U), std::pair(output, 1U)}) {
            EXPECT_EQ(setUnit(unit, kAudioUnitProperty_StreamFormat, scope, element, format),
                      kAudioUnitErr_FormatNotSupported);
        }
    };
    refused([](auto& format) { format.mFormatID = BRAQFourCharCode("aac "); });
    refused([](auto& format) { format.mBitsPerChannel = 64; });
    refused([](auto& format) { format.mFormatFlags |= kAudioFormatFlagIsBigEndian; });
    refused([](auto& format) { format.mFormatFlags &= ~kAudioFormatFlagIsFloat; });
    refused([](auto& format) { format.mChannelsPerFrame = 0; });
    refused([](auto& format) { format.mBytesPerFrame = 8; });
    for (const Float64 rate :
         {0.0, -48000.0, std::numeric_limits<Float64>::infinity(), std::numeric_limits<Float64>::quiet_NaN()}) {
        refused([&](auto& format) { format.mSampleRate = rate; });
        EXPECT_EQ(setUnit(unit, kAudioUnitProperty_SampleRate, input, 0, rate), kAudioUnitErr_FormatNotSupported);
    }
    EXPECT_THAT(getUnit<Float64>(unit, kAudioUnitProperty_SampleRate, input, 0), Optional(44100.0)) << "as it was";
}

TEST_F(Units_DeviceUnitProperties, RefuseSliceLimitsThatNoSliceHas) {
    for (const UInt32 wrong : {0U, 0xFFFFFFFFU}) {
        EXPECT_EQ(setUnit(unit, kAudioUnitProperty_MaximumFramesPerSlice, global, 0, wrong),
                  kAudioUnitErr_InvalidPropertyValue);
    }
}

TEST_F(Units_DeviceUnitProperties, HaveAChannelMapOnceItIsSet) {
    for (const AudioUnitElement element : {0U, 1U}) {
        const AudioUnitScope scope = element == 0 ? output : input;
        std::array<SInt32, 3> map{7, 7, 7};
        UInt32 size = sizeof(map);
        const auto read = [&] {
            return AudioUnitGetProperty(unit, kAudioOutputUnitProperty_ChannelMap, scope, element, map.data(), &size);
        };
        const auto write = [&](const std::vector<SInt32>& wanted) {
            return AudioUnitSetProperty(unit, kAudioOutputUnitProperty_ChannelMap, scope, element, wanted.data(),
                                        static_cast<UInt32>(wanted.size() * sizeof(SInt32)));
        };
        EXPECT_EQ(read(), kAudioUnitErr_PropertyNotInUse);
        EXPECT_EQ(write({2}), kAudioUnitErr_InvalidPropertyValue) << "the device has channels 0 and 1";
        EXPECT_EQ(write({0, -2}), kAudioUnitErr_InvalidPropertyValue);
        EXPECT_EQ(read(), kAudioUnitErr_PropertyNotInUse);
        EXPECT_EQ(write({1, -1}), 0);
        EXPECT_EQ(read(), 0);
        EXPECT_EQ(size, 2 * sizeof(SInt32));
        EXPECT_THAT(map, testing::ElementsAre(1, -1, 7));
        size = sizeof(SInt32);
        EXPECT_EQ(read(), kAudioUnitErr_InvalidPropertyValue) << "too small";
        const SInt32 odd = 0;
        EXPECT_EQ(AudioUnitSetProperty(unit, kAudioOutputUnitProperty_ChannelMap, scope, element, &odd, 3),
                  kAudioUnitErr_InvalidPropertyValue);
        EXPECT_EQ(write({}), 0) << "takes it back";
        size = sizeof(map);
        EXPECT_EQ(read(), kAudioUnitErr_PropertyNotInUse);
    }
    UInt32 size = 4;
    SInt32 value = 0;
    EXPECT_EQ(AudioUnitGetProperty(unit, kAudioOutputUnitProperty_ChannelMap, global, 0, &value, &size),
              kAudioUnitErr_InvalidScope);
    EXPECT_EQ(setUnit(unit, kAudioOutputUnitProperty_ChannelMap, input, 0, value), kAudioUnitErr_InvalidElement);
}

TEST_F(Units_DeviceUnitProperties, TakeOnlyUnitsWithAnOutputAsASource) {
    TestUnit other;
    TestUnit varispeed(varispeedDescription);
    const auto connect = [&](AudioUnit source, UInt32 sourceOutput = 0, UInt32 destination = 0) {
        return setUnit(unit, kAudioUnitProperty_MakeConnection, input, 0,
                       AudioUnitConnection{source, sourceOutput, destination});
    };
    EXPECT_EQ(connect(unit), kAudioUnitErr_InvalidPropertyValue);
    EXPECT_EQ(connect(other), kAudioUnitErr_InvalidPropertyValue);
    EXPECT_EQ(connect(varispeed, 1), kAudioUnitErr_InvalidElement);
    EXPECT_EQ(connect(varispeed, 0, 1), kAudioUnitErr_InvalidElement);
    EXPECT_EQ(connect(varispeed), 0);
    EXPECT_EQ(AudioUnitInitialize(unit), kAudioUnitErr_NoConnection) << "the source is not initialised";
    setUnit(unit, kAudioUnitProperty_SampleRate, input, 0, Float64{48000.0});
    EXPECT_EQ(AudioUnitInitialize(varispeed), 0);
    EXPECT_EQ(AudioUnitInitialize(unit), kAudioUnitErr_FormatNotSupported) << "it delivers 44.1 kHz";
    setUnit(unit, kAudioUnitProperty_SampleRate, input, 0, Float64{44100.0});
    EXPECT_EQ(AudioUnitInitialize(unit), 0);
    AudioUnitUninitialize(unit);
    EXPECT_EQ(connect(nullptr), 0) << "takes it back";
    EXPECT_EQ(AudioUnitInitialize(unit), 0);
}

TEST_F(Units_DeviceUnitProperties, KeepTheVolumeInItsRange) {
    Float32 value = 9.0F;
    EXPECT_EQ(AudioUnitGetParameter(unit, kHALOutputParam_Volume, global, 0, &value), 0);
    EXPECT_EQ(value, 1.0F);
    const auto set = [&](AudioUnitParameterID id, AudioUnitScope scope, AudioUnitElement element, Float32 to) {
        return AudioUnitSetParameter(unit, id, scope, element, to, 0);
    };
    EXPECT_EQ(set(kHALOutputParam_Volume, global, 0, 4.0F), 0);
    EXPECT_EQ(set(kHALOutputParam_Volume, global, 0, -0.5F), kAudioUnitErr_InvalidPropertyValue);
    EXPECT_EQ(set(kHALOutputParam_Volume, global, 0, NAN), kAudioUnitErr_InvalidPropertyValue);
    EXPECT_EQ(set(kHALOutputParam_Volume, global, 0, INFINITY), kAudioUnitErr_InvalidPropertyValue);
    EXPECT_EQ(set(kHALOutputParam_Volume, input, 0, 1.0F), kAudioUnitErr_InvalidScope);
    EXPECT_EQ(set(kHALOutputParam_Volume, global, 1, 1.0F), kAudioUnitErr_InvalidElement);
    EXPECT_EQ(set(kVarispeedParam_PlaybackRate, global, 0, 1.0F), kAudioUnitErr_InvalidParameter);
    EXPECT_EQ(AudioUnitGetParameter(unit, kHALOutputParam_Volume, global, 0, &value), 0);
    EXPECT_EQ(value, 4.0F);
    EXPECT_EQ(AudioUnitGetParameter(unit, 1, global, 0, &value), kAudioUnitErr_InvalidParameter);
    EXPECT_EQ(AudioUnitGetParameter(unit, kHALOutputParam_Volume, output, 0, &value), kAudioUnitErr_InvalidScope);
    EXPECT_EQ(AudioUnitGetParameter(unit, kHALOutputParam_Volume, global, 1, &value), kAudioUnitErr_InvalidElement);
    EXPECT_EQ(AudioUnitGetParameter(unit, kHALOutputParam_Volume, global, 0, nullptr), kAudio_ParamError);
}

TEST(Units_DeviceUnit, IsNotInitialisedWithoutTheDeviceThatItNeeds) {
    TestUnit unit;
    EXPECT_EQ(AudioUnitInitialize(unit), kAudioUnitErr_FailedInitialization) << "there is none at all";
    Float64 rate = 0.0;
    UInt32 size = sizeof(rate);
    EXPECT_EQ(AudioUnitGetProperty(unit, kAudioUnitProperty_SampleRate, output, 0, &rate, &size),
              kAudioUnitErr_PropertyNotInUse);
    EXPECT_THAT(getUnit<UInt32>(unit, kAudioOutputUnitProperty_CurrentDevice), Optional(0U));
    EXPECT_THAT(getUnit<UInt32>(unit, kAudioOutputUnitProperty_HasIO, output, 0), Optional(0U));
    EXPECT_EQ(AudioOutputUnitStart(unit), kAudioUnitErr_Uninitialized);
    EXPECT_EQ(AudioOutputUnitStop(unit), kAudioUnitErr_Uninitialized);
    EXPECT_EQ(AudioUnitUninitialize(unit), 0) << "idempotent";
    const auto playsOnly = steppedDevice("plays", 2, 0);
    const auto recordsOnly = steppedDevice("records", 0, 2);
    setUnit(unit, kAudioOutputUnitProperty_CurrentDevice, global, 0, recordsOnly->deviceID());
    EXPECT_EQ(AudioUnitInitialize(unit), kAudioUnitErr_FailedInitialization);
    setUnit(unit, kAudioOutputUnitProperty_EnableIO, output, 0, UInt32{0});
    EXPECT_EQ(AudioUnitInitialize(unit), kAudioUnitErr_FailedInitialization) << "neither plays nor records";
    setUnit(unit, kAudioOutputUnitProperty_EnableIO, input, 1, UInt32{1});
    EXPECT_EQ(AudioUnitInitialize(unit), 0);
    EXPECT_EQ(AudioUnitInitialize(unit), 0) << "idempotent";
    AudioUnitUninitialize(unit);
    setUnit(unit, kAudioOutputUnitProperty_CurrentDevice, global, 0, playsOnly->deviceID());
    EXPECT_EQ(AudioUnitInitialize(unit), kAudioUnitErr_FailedInitialization);
}

TEST(Units_DeviceUnit, UsesTheDefaultDeviceOfItsDirection) {
    const auto plays = steppedDevice("plays");
    const auto records = steppedDevice("records");
    plays->makeDefaultPlaybackDevice();
    records->makeDefaultRecordDevice();
    TestUnit unit;
    EXPECT_THAT(getUnit<UInt32>(unit, kAudioOutputUnitProperty_CurrentDevice), Optional(plays->deviceID()));
    EXPECT_EQ(AudioUnitInitialize(unit), 0);
    EXPECT_EQ(AudioOutputUnitStart(unit), 0);
    EXPECT_TRUE(plays->step(16));
    EXPECT_FALSE(records->step(16));
    AudioUnitUninitialize(unit);
    EXPECT_EQ(setUnit(unit, kAudioOutputUnitProperty_EnableIO, input, 1, UInt32{1}), 0);
    EXPECT_EQ(setUnit(unit, kAudioOutputUnitProperty_EnableIO, output, 0, UInt32{0}), 0);
    EXPECT_THAT(getUnit<UInt32>(unit, kAudioOutputUnitProperty_CurrentDevice), Optional(records->deviceID()));
    EXPECT_EQ(AudioUnitInitialize(unit), 0);
    EXPECT_EQ(AudioOutputUnitStart(unit), 0);
    EXPECT_TRUE(records->step(16));
    EXPECT_FALSE(plays->step(16));
}

} // namespace
