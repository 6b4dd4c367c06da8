#include "tests/platform/units/SineFit.h"
#include "tests/platform/units/UnitHelpers.h"

#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <numbers>
#include <stdexcept>

namespace {

using namespace braq::tests;
using testing::Each;
using testing::ElementsAre;
using testing::Optional;

struct VarispeedProperty {
    AudioUnitPropertyID id;
    AudioUnitScope scope;
    UInt32 size;
    bool isWritable;
};

constexpr std::array varispeedProperties{
    VarispeedProperty{kAudioUnitProperty_StreamFormat, input, 40, true},
    VarispeedProperty{kAudioUnitProperty_StreamFormat, output, 40, true},
    VarispeedProperty{kAudioUnitProperty_SampleRate, input, 8, true},
    VarispeedProperty{kAudioUnitProperty_SampleRate, output, 8, true},
    VarispeedProperty{kAudioUnitProperty_MaximumFramesPerSlice, global, 4, true},
    VarispeedProperty{kAudioUnitProperty_SetRenderCallback, input, 16, true},
    VarispeedProperty{kAudioUnitProperty_Latency, global, 8, false},
    VarispeedProperty{kAudioUnitProperty_LastRenderError, global, 4, false},
    VarispeedProperty{kAudioUnitProperty_ElementCount, input, 4, false},
    VarispeedProperty{kAudioUnitProperty_ElementCount, output, 4, false},
};

/// A varispeed unit that pulls from a callback.
class Units_Varispeed : public ::testing::Test {
  protected:
    Tape tape{numbered};
    Callback::Body body = tape.body();
    Callback callback{
        [this](const AudioTimeStamp& at, UInt32 frames, AudioBufferList* list) { return body(at, frames, list); }};
    TestUnit unit{varispeedDescription};
    AudioTimeStamp time{};

    void setFormats(const AudioStreamBasicDescription& in, const AudioStreamBasicDescription& out) {
        EXPECT_EQ(setUnit(unit, kAudioUnitProperty_StreamFormat, input, 0, in), 0);
        EXPECT_EQ(setUnit(unit, kAudioUnitProperty_StreamFormat, output, 0, out), 0);
        EXPECT_EQ(setUnit(unit, kAudioUnitProperty_SetRenderCallback, input, 0, callback.get()), 0);
    }
    OSStatus setKeepsPitch(UInt32 keeps) {
        return AudioUnitSetProperty(unit, kBRAQVarispeedProperty_KeepsPitch, global, 0, &keeps, sizeof(keeps));
    }
    OSStatus setRate(Float32 rate) {
        return AudioUnitSetParameter(unit, kVarispeedParam_PlaybackRate, global, 0, rate, 0);
    }
    /// Renders one channel.
    std::vector<Float32> render(UInt32 frames, UInt32 atOnce = 512) {
        std::vector<Float32> heard(frames);
        for (UInt32 done = 0, now = 0; done < frames; done += now) {
            now = std::min(atOnce, frames - done);
            AudioBufferList list{1, {{1, 0, heard.data() + done}}};
            EXPECT_EQ(AudioUnitRender(unit, nullptr, &time, 0, now, &list), 0);
            EXPECT_EQ(list.mBuffers[0].mDataByteSize, now * sizeof(Float32));
        }
        return heard;
    }
};

TEST_F(Units_Varispeed, TimeStampsSayWhenEachFrameIsHeard) {
    constexpr UInt64 impulse = 3000;
    constexpr UInt64 start = 1'000'000'000;
    for (const Float32 rate : {1.0F, 0.5F, 1.5F}) {
        UInt64 delivered = 0;
        Float64 told = 0.0; // frames from the start, as they are heard
        body = [&](const AudioTimeStamp& at, UInt32 frames, AudioBufferList* list) {
            if (delivered <= impulse && impulse < delivered + frames) {
                plane(list)[impulse - delivered] = 1.0F;
                told = static_cast<Float64>(at.mHostTime - start) * 48000.0 / 1e9 +
                       static_cast<Float64>(impulse - delivered) / static_cast<Float64>(rate);
            }
            delivered += frames;
            return 0;
        };
        setFormats(planar(48000.0, 1), planar(48000.0, 1));
        ASSERT_EQ(setRate(rate), 0);
        ASSERT_EQ(AudioUnitInitialize(unit), 0);
        std::vector<Float32> heard;
        for (UInt64 cycle = 0; cycle < 20; ++cycle) {
            time.mHostTime = start + cycle * 10'000'000;
            const auto slice = render(480, 480);
            heard.insert(heard.end(), slice.begin(), slice.end());
        }
        const auto peak = std::ranges::max_element(heard) - heard.begin();
        EXPECT_NEAR(told, static_cast<Float64>(peak), 1.0) << rate;
        ASSERT_EQ(AudioUnitUninitialize(unit), 0);
    }
}

TEST_F(Units_Varispeed, HasPropertiesOfExactSizesInTheirScopes) {
    std::array<std::byte, 64> data{};
    const auto read = [&](const VarispeedProperty& one, AudioUnitScope scope, AudioUnitElement element, UInt32 size) {
        return AudioUnitGetProperty(unit, one.id, scope, element, data.data(), &size);
    };
    for (const bool initialised : {false, true}) {
        if (initialised) {
            ASSERT_EQ(AudioUnitInitialize(unit), 0);
            ASSERT_EQ(AudioUnitInitialize(unit), 0) << "idempotent";
        }
        for (const VarispeedProperty& one : varispeedProperties) {
            const AudioUnitScope other = one.scope == global ? input : global;
            EXPECT_EQ(read(one, other, 0, one.size), kAudioUnitErr_InvalidScope) << one.id;
            EXPECT_EQ(read(one, 3, 0, one.size), kAudioUnitErr_InvalidScope) << one.id;
            EXPECT_EQ(read(one, one.scope, 1, one.size), kAudioUnitErr_InvalidElement) << one.id;
            EXPECT_EQ(read(one, one.scope, 0, one.size - 1), kAudioUnitErr_InvalidPropertyValue) << one.id;
            EXPECT_EQ(read(one, one.scope, 0, one.size + 1), kAudioUnitErr_InvalidPropertyValue) << one.id;
            EXPECT_EQ(read(one, one.scope, 0, one.size), 0) << one.id;
            const auto write = [&](AudioUnitScope scope, AudioUnitElement element, UInt32 size) {
                return AudioUnitSetProperty(unit, one.id, scope, element, data.data(), size);
            };
            EXPECT_EQ(write(other, 0, one.size), kAudioUnitErr_InvalidScope) << one.id;
            EXPECT_EQ(write(one.scope, 1, one.size), kAudioUnitErr_InvalidElement) << one.id;
            const OSStatus status = initialised ? kAudioUnitErr_Initialized : 0;
            EXPECT_EQ(write(one.scope, 0, one.size), one.isWritable ? status : kAudioUnitErr_PropertyNotWritable)
                << one.id;
            if (one.isWritable && !initialised) {
                EXPECT_EQ(write(one.scope, 0, one.size + 1), kAudioUnitErr_InvalidPropertyValue) << one.id;
            }
        }
        UInt32 size = 4;
        EXPECT_EQ(AudioUnitGetProperty(unit, kAudioOutputUnitProperty_IsRunning, global, 0, data.data(), &size),
                  kAudioUnitErr_InvalidProperty);
        EXPECT_EQ(setUnit(unit, kAudioOutputUnitProperty_CurrentDevice, global, 0, UInt32{0}),
                  kAudioUnitErr_InvalidProperty);
    }
    EXPECT_EQ(AudioOutputUnitStart(unit), kAudio_ParamError);
    EXPECT_EQ(AudioOutputUnitStop(unit), kAudio_ParamError);
}

TEST_F(Units_Varispeed, HasRatesWithinItsRange) {
    for (const Float32 rate : {1.0F / 32.0F, 0.5F, 1.0F, 32.0F}) {
        EXPECT_EQ(setRate(rate), 0);
        Float32 is = 0.0F;
        EXPECT_EQ(AudioUnitGetParameter(unit, kVarispeedParam_PlaybackRate, global, 0, &is), 0);
        EXPECT_EQ(is, rate);
    }
    for (const Float32 rate : {0.0F, -1.0F, 0.031F, 32.1F, NAN, INFINITY}) {
        EXPECT_EQ(setRate(rate), kAudioUnitErr_InvalidPropertyValue);
    }
    Float32 is = 0.0F;
    EXPECT_EQ(AudioUnitGetParameter(unit, kVarispeedParam_PlaybackRate, global, 0, &is), 0);
    EXPECT_EQ(is, 32.0F);
    EXPECT_EQ(AudioUnitSetParameter(unit, kHALOutputParam_Volume, global, 0, 1.0F, 0), kAudioUnitErr_InvalidParameter);
    EXPECT_EQ(AudioUnitSetParameter(unit, kVarispeedParam_PlaybackRate, output, 0, 1.0F, 0),
              kAudioUnitErr_InvalidScope);
    EXPECT_EQ(AudioUnitSetParameter(unit, kVarispeedParam_PlaybackRate, global, 1, 1.0F, 0),
              kAudioUnitErr_InvalidElement);
}

TEST_F(Units_Varispeed, KeepsThePitchWhenItIsAskedToAtAnyTime) {
    const auto keeps = [&] {
        UInt32 value = 99;
        UInt32 size = sizeof(value);
        EXPECT_EQ(AudioUnitGetProperty(unit, kBRAQVarispeedProperty_KeepsPitch, global, 0, &value, &size), 0);
        return value;
    };
    constexpr double frequency = 997.0 / 48000.0;
    UInt64 delivered = 0;
    body = [&](const AudioTimeStamp&, UInt32 frames, AudioBufferList* list) {
        for (UInt32 i = 0; i < frames; ++i, ++delivered) {
            plane(list)[i] =
                static_cast<Float32>(std::sin(2.0 * std::numbers::pi * frequency * static_cast<double>(delivered)));
        }
        return 0;
    };
    setFormats(planar(48000.0, 1), planar(48000.0, 1));
    EXPECT_EQ(keeps(), 0U);
    ASSERT_EQ(AudioUnitInitialize(unit), 0);
    ASSERT_EQ(setRate(1.5F), 0);
    // Its crossings of zero tell the pitch.
    const auto pitch = [&] {
        render(9600);
        const auto heard = render(48000);
        int crossings = 0;
        for (std::size_t i = 1; i < heard.size(); ++i) {
            crossings += heard[i - 1] < 0.0F && heard[i] >= 0.0F ? 1 : 0;
        }
        return crossings;
    };
    EXPECT_NEAR(pitch(), 1495, 1);
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(setKeepsPitch(1), 0);
        EXPECT_EQ(keeps(), 1U);
        const UInt64 before = delivered;
        EXPECT_NEAR(pitch(), 997, 1);
        EXPECT_NEAR(static_cast<double>(delivered - before), 1.5 * 57600, 0.25 * 48000) << "at the same rate";
        EXPECT_EQ(setKeepsPitch(0), 0);
        EXPECT_EQ(keeps(), 0U);
        EXPECT_NEAR(pitch(), 1495, 1);
    }
    EXPECT_EQ(setKeepsPitch(1), 0);
    ASSERT_EQ(AudioUnitUninitialize(unit), 0);
    ASSERT_EQ(AudioUnitInitialize(unit), 0);
    EXPECT_EQ(keeps(), 1U);
    EXPECT_NEAR(pitch(), 997, 1) << "as it was set";
}

TEST_F(Units_Varispeed, RefusesToKeepThePitchWhereItCannot) {
    ASSERT_EQ(setRate(4.01F), 0);
    EXPECT_EQ(setKeepsPitch(1), kAudioUnitErr_InvalidPropertyValue);
    ASSERT_EQ(setRate(0.24F), 0);
    EXPECT_EQ(setKeepsPitch(1), kAudioUnitErr_InvalidPropertyValue);
    ASSERT_EQ(setRate(4.0F), 0);
    ASSERT_EQ(setKeepsPitch(1), 0);
    EXPECT_EQ(setRate(4.01F), kAudioUnitErr_InvalidPropertyValue);
    EXPECT_EQ(setRate(0.24F), kAudioUnitErr_InvalidPropertyValue);
    EXPECT_EQ(setRate(0.25F), 0);
    const UInt16 small = 1;
    EXPECT_EQ(AudioUnitSetProperty(unit, kBRAQVarispeedProperty_KeepsPitch, global, 0, &small, sizeof(small)),
              kAudioUnitErr_InvalidPropertyValue);
    setFormats(planar(48000.0, 17), planar(48000.0, 17));
    EXPECT_EQ(AudioUnitInitialize(unit), kAudioUnitErr_FormatNotSupported);
    ASSERT_EQ(setKeepsPitch(0), 0);
    EXPECT_EQ(AudioUnitInitialize(unit), 0);
    EXPECT_EQ(setKeepsPitch(1), kAudioUnitErr_FormatNotSupported);
    EXPECT_EQ(setRate(32.0F), 0) << "it stays as it was";
}

TEST_F(Units_Varispeed, IsInitialisedWithAsManyChannelsOutAsIn) {
    setFormats(planar(48000.0, 2), planar(44100.0, 1));
    EXPECT_EQ(AudioUnitInitialize(unit), kAudioUnitErr_FormatNotSupported);
    setFormats(interleaved(48000.0, 2), planar(44100.0, 2));
    EXPECT_EQ(AudioUnitInitialize(unit), 0);
}

TEST_F(Units_Varispeed, RendersIntoListsOfItsFormatOnly) {
    setFormats(planar(48000.0, 2), planar(48000.0, 2));
    std::vector<Float32> left(8, 99.0F);
    std::vector<Float32> right(8, 99.0F);
    Channels memory(1, 1);
    std::vector<std::byte> bytes(AudioBufferListByteSize(2));
    auto& list = *reinterpret_cast<AudioBufferList*>(bytes.data());
    list.mNumberBuffers = 2;
    list.mBuffers[0] = {1, 0, left.data()};
    list.mBuffers[1] = {1, 0, right.data()};
    EXPECT_EQ(AudioUnitRender(unit, nullptr, &time, 0, 4, &list), kAudioUnitErr_Uninitialized);
    ASSERT_EQ(AudioUnitInitialize(unit), 0);
    EXPECT_EQ(AudioUnitRender(unit, nullptr, &time, 1, 4, &list), kAudioUnitErr_InvalidElement);
    EXPECT_EQ(AudioUnitRender(unit, nullptr, nullptr, 0, 4, &list), kAudio_ParamError);
    EXPECT_EQ(AudioUnitRender(unit, nullptr, &time, 0, 4, nullptr), kAudio_ParamError);
    EXPECT_EQ(AudioUnitRender(unit, nullptr, &time, 0, 1157, &list), kAudioUnitErr_TooManyFramesToProcess);
    list.mNumberBuffers = 1;
    EXPECT_EQ(AudioUnitRender(unit, nullptr, &time, 0, 4, &list), kAudio_ParamError);
    list.mNumberBuffers = 2;
    list.mBuffers[1].mNumberChannels = 2;
    EXPECT_EQ(AudioUnitRender(unit, nullptr, &time, 0, 4, &list), kAudio_ParamError);
    list.mBuffers[1].mNumberChannels = 1;
    EXPECT_EQ(tape.delivered, 0U) << "nothing is lost by what is refused";
    EXPECT_EQ(AudioUnitRender(unit, nullptr, &time, 0, 4, &list), 0);
    EXPECT_EQ(list.mBuffers[1].mDataByteSize, 16U);
    EXPECT_THAT(right, ElementsAre(2.0F, 10.0F, 18.0F, 26.0F, 99.0F, 99.0F, 99.0F, 99.0F));
    list.mBuffers[0].mData = nullptr;
    EXPECT_EQ(AudioUnitRender(unit, nullptr, &time, 0, 2, &list), 0);
    ASSERT_NE(list.mBuffers[0].mData, nullptr) << "pointed at memory of the unit";
    EXPECT_EQ(plane(&list, 0)[0], 33.0F);
    AudioUnitUninitialize(unit);
    EXPECT_EQ(AudioUnitRender(unit, nullptr, &time, 0, 4, &list), kAudioUnitErr_Uninitialized);
}

TEST_F(Units_Varispeed, TurnsInterleavedIntoPlanarAndBack) {
    setFormats(interleaved(48000.0, 2), interleaved(48000.0, 2));
    ASSERT_EQ(AudioUnitInitialize(unit), 0);
    std::vector<Float32> heard(8);
    AudioBufferList list{1, {{2, 0, heard.data()}}};
    EXPECT_EQ(AudioUnitRender(unit, nullptr, &time, 0, 4, &list), 0);
    EXPECT_THAT(heard, ElementsAre(1.0F, 2.0F, 9.0F, 10.0F, 17.0F, 18.0F, 25.0F, 26.0F));
    EXPECT_EQ(list.mBuffers[0].mDataByteSize, 32U);
}

TEST_F(Units_Varispeed, LeavesSamplesUntouchedAtRateOne) {
    setFormats(planar(48000.0, 1), planar(48000.0, 1));
    ASSERT_EQ(AudioUnitInitialize(unit), 0);
    const auto heard = render(3000, 100);
    for (std::size_t frame = 0; frame < heard.size(); ++frame) {
        ASSERT_EQ(heard[frame], numbered(0, frame));
    }
    EXPECT_EQ(tape.delivered, 3000U);
}

TEST_F(Units_Varispeed, PullsByItsRateWithinTheSliceLimit) {
    for (const Float32 rate : {0.25F, 1.25F, 4.0F, 32.0F}) {
        for (const Float64 inputRate : {24000.0, 48000.0}) {
            AudioUnitUninitialize(unit);
            setFormats(planar(inputRate, 1), planar(48000.0, 1));
            setUnit(unit, kAudioUnitProperty_MaximumFramesPerSlice, global, 0, UInt32{700});
            Tape counted([](UInt32, UInt64) { return 0.5F; });
            body = [&](const AudioTimeStamp& at, UInt32 frames, AudioBufferList* list) {
                EXPECT_LE(frames, 700U);
                EXPECT_EQ(at.mSampleTime, static_cast<Float64>(counted.delivered)) << "continuous";
                return counted(frames, list);
            };
            setRate(rate);
            ASSERT_EQ(AudioUnitInitialize(unit), 0);
            const auto heard = render(9600, 600);
            const double needed = 9600.0 * rate * inputRate / 48000.0;
            EXPECT_GE(static_cast<double>(counted.delivered), needed);
            EXPECT_LE(static_cast<double>(counted.delivered), needed + 1000.0 * std::max(1.0F, rate)) << rate;
            EXPECT_NEAR(heard.back(), 0.5F, 1e-4);
        }
    }
}

TEST_F(Units_Varispeed, PlaysFasterAtAHigherPitch) {
    constexpr double frequency = 997.0 / 48000.0;
    Tape sine([](UInt32, UInt64 frame) {
        return static_cast<Float32>(0.5 * std::sin(2.0 * std::numbers::pi * frequency * static_cast<double>(frame)));
    });
    body = sine.body();
    setFormats(planar(48000.0, 1), planar(48000.0, 1));
    setRate(1.25F);
    ASSERT_EQ(AudioUnitInitialize(unit), 0);
    const auto heard = render(16384);
    const SineFit fit = fitSine(std::span(heard).subspan(4096, 8192), frequency * 1.25, 4096);
    EXPECT_GE(fit.signalToNoise, 110.0);
    EXPECT_NEAR(fit.amplitude, 0.5, 1e-4);
    EXPECT_NEAR(fit.delayFrames, 0.0, 1e-3) << "frame k sounds at time k";
}

TEST_F(Units_Varispeed, RendersSilenceWhereItsCallbackFailsOrThrows) {
    setFormats(planar(48000.0, 1), planar(48000.0, 1));
    bool throws = false;
    body = [&](const AudioTimeStamp&, UInt32 frames, AudioBufferList* list) -> OSStatus {
        std::fill_n(plane(list), frames, 1.0F);
        if (throws) {
            throw std::runtime_error("from the callback");
        }
        return -777;
    };
    ASSERT_EQ(AudioUnitInitialize(unit), 0);
    EXPECT_THAT(render(16), Each(0.0F));
    EXPECT_THAT(getUnit<OSStatus>(unit, kAudioUnitProperty_LastRenderError), Optional(-777));
    throws = true;
    EXPECT_THAT(render(16), Each(0.0F));
    EXPECT_THAT(getUnit<OSStatus>(unit, kAudioUnitProperty_LastRenderError),
                Optional(kAudioUnitErr_CannotDoInCurrentContext));
    EXPECT_THAT(getUnit<OSStatus>(unit, kAudioUnitProperty_LastRenderError), Optional(0));
}

TEST_F(Units_Varispeed, RendersSilenceWithoutASource) {
    setFormats(planar(48000.0, 1), planar(48000.0, 1));
    setUnit(unit, kAudioUnitProperty_SetRenderCallback, input, 0, AURenderCallbackStruct{});
    ASSERT_EQ(AudioUnitInitialize(unit), 0);
    EXPECT_THAT(render(100), Each(0.0F));
    setRate(1.5F);
    EXPECT_THAT(render(1000), Each(0.0F));
}

} // namespace
