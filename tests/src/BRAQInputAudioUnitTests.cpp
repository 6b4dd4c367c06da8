#include "BRAQAudio/BRAQInputAudioUnit.h"

#include "library/src/BRAQInputAudioUnit_Callback.h"
#include "tests/src/DeviceFixture.h"
#include "tests/src/UnitCalls.h"
#include "tests/src/UnitFixture.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/RealtimeGuard.h"

#include <gmock/gmock.h>

#include <array>
#include <numeric>

namespace {

using braq::tests::CapturedLog;
using braq::tests::refused;
using braq::tests::UnitCalls;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using unit_test::settle;

/// What a processing block was called with.
struct Slice {
    Float64 sampleTime;
    UInt32 bus;
    UInt32 frames;
    std::vector<std::vector<Float32>> samples;
};

class InputAudioUnitTest : public unit_test::UnitTest {
  protected:
    InputAudioUnitTest() : UnitTest({.record = {.streams = {{.channels = 4}}}}) { inputs.resize(4); }

    void capture(UInt32 frames) {
        std::array<const Float32*, 4> from{};
        for (std::size_t channel = 0; channel < from.size(); ++channel) {
            inputs[channel].resize(frames);
            for (UInt32 frame = 0; frame < frames; ++frame) {
                inputs[channel][frame] = static_cast<Float32>(8 * (mCaptured + frame) + channel);
            }
            from[channel] = inputs[channel].data();
        }
        EXPECT_TRUE(software->step(frames, from.data()));
        mCaptured += frames;
    }

    static std::shared_ptr<BRAQAudioStreamBasicDescription> planar(UInt32 channels) {
        const auto description = BRAQAudioStreamBasicDescription::nativeStreamDescription();
        description->setChannelsPerFrame(channels);
        description->setIsInterleaved(false);
        description->setSampleRate(48000);
        return description;
    }

    void keepSlices(const std::shared_ptr<BRAQInputAudioUnit>& unit) {
        unit->setInputProcessingBlock([this](AudioUnitRenderActionFlags*, const AudioTimeStamp* time, UInt32 bus,
                                             UInt32 frames, AudioBufferList* list) {
            Slice slice{time->mSampleTime, bus, frames, {}};
            for (UInt32 buffer = 0; buffer < list->mNumberBuffers; ++buffer) {
                EXPECT_EQ(list->mBuffers[buffer].mDataByteSize, frames * sizeof(Float32));
                const auto* samples = static_cast<const Float32*>(list->mBuffers[buffer].mData);
                slice.samples.emplace_back(samples, samples + frames);
            }
            slices.push_back(std::move(slice));
        });
    }

    std::vector<Slice> slices;

  private:
    UInt64 mCaptured = 0;
};

TEST_F(InputAudioUnitTest, HandsOverWhatTheDeviceCaptures) {
    const auto unit = BRAQInputAudioUnit::initWithDevice(device, std::nullopt);
    EXPECT_EQ(unit->device(), device);
    EXPECT_FALSE(unit->channels().has_value());
    keepSlices(unit);
    unit->start();
    EXPECT_TRUE(unit->isRunning());
    capture(512);
    capture(100);
    unit->stop();
    ASSERT_EQ(slices.size(), 2U);
    EXPECT_EQ(slices[0].bus, 1U);
    EXPECT_EQ(slices[0].sampleTime, 0.0);
    EXPECT_EQ(slices[1].sampleTime, 512.0);
    ASSERT_EQ(slices[1].samples.size(), 4U);
    for (std::size_t channel = 0; channel < 4; ++channel) {
        for (UInt32 frame = 0; frame < 100; ++frame) {
            ASSERT_EQ(slices[1].samples[channel][frame], static_cast<Float32>(8 * (512 + frame) + channel));
        }
    }
    EXPECT_FALSE(software->step(16)) << "nothing runs on the device any more";
}

TEST_F(InputAudioUnitTest, TakesTheChannelsInTheOrderThatIsAskedFor) {
    const auto swapped = BRAQInputAudioUnit::initWithStreamDescription(planar(2), device, {{1, 0}});
    keepSlices(swapped);
    swapped->start();
    capture(4);
    swapped->stop();
    ASSERT_EQ(slices.size(), 1U);
    EXPECT_THAT(slices[0].samples[0], ElementsAre(1, 9, 17, 25));
    EXPECT_THAT(slices[0].samples[1], ElementsAre(0, 8, 16, 24));
}

TEST_F(InputAudioUnitTest, WithoutChannelsTheFirstOnesAreTakenAndNoMapIsSet) {
    for (const auto& channels : {std::optional<std::vector<SInt32>>(), std::optional(std::vector<SInt32>())}) {
        const UnitCalls calls;
        std::shared_ptr<BRAQInputAudioUnit> unit;
        if (channels) { // none at all are as many as a stream of none has
            expectRaised([&] { BRAQInputAudioUnit::initWithStreamDescription(planar(0), device, channels); },
                         kAudioUnitErr_FormatNotSupported, "src/BRAQInputAudioUnit",
                         "-[BRAQInputAudioUnit audioUnitInitialize]",
                         "AudioUnitSetProperty( mAudioUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, "
                         "1, &asbd, sizeof(asbd) )");
        } else {
            BRAQInputAudioUnit::initWithStreamDescription(planar(2), device, channels);
        }
        for (const auto& call : calls.calls()) {
            EXPECT_FALSE(call.function == "AudioUnitSetProperty" && call.number == kAudioOutputUnitProperty_ChannelMap);
        }
    }
}

TEST_F(InputAudioUnitTest, FailsAnAssertionForAnotherNumberOfChannels) {
    const UnitCalls calls;
    try {
        BRAQInputAudioUnit::initWithStreamDescription(planar(2), device, {{0, 1, 2}});
        ADD_FAILURE() << "nothing was raised";
    } catch (const NSException& raised) {
        EXPECT_EQ(raised.name(), NSInternalInconsistencyException);
        EXPECT_EQ(raised.reason(),
                  "Assertion failed in -[BRAQInputAudioUnit initWithStreamDescription:device:channels:], "
                  "BRAQInputAudioUnit:35: Invalid parameter not satisfying: !inChannels || sd.channelsPerFrame == "
                  "[inChannels count]");
    }
    EXPECT_THAT(calls.functions(), IsEmpty()) << "nothing is built";
}

TEST_F(InputAudioUnitTest, KeepsAFrameBufferOfTheDevicesBufferSize) {
    const auto unit = BRAQInputAudioUnit::initWithStreamDescription(planar(2), device, std::nullopt);
    keepSlices(unit);
    unit->start();
    capture(1200); // longer than the buffer
    unit->stop();
    ASSERT_EQ(slices.size(), 3U);
    EXPECT_EQ(slices[0].frames, 512U);
    EXPECT_EQ(slices[1].frames, 512U);
    EXPECT_EQ(slices[2].frames, 176U);
    EXPECT_EQ(slices[2].samples[1].back(), 8.0F * 1199 + 1);
    EXPECT_EQ(slices[2].sampleTime, 1024.0);
}

TEST_F(InputAudioUnitTest, CapturesFromTheDefaultDeviceWithoutOne) {
    software->makeDefaultRecordDevice();
    const auto unit = BRAQInputAudioUnit::initWithDevice(nullptr, {{3, 0, 1, 2}});
    EXPECT_EQ(unit->device(), nullptr);
    EXPECT_EQ(unit->streamDescription()->sampleRate(), device->deviceNativeRecordStreamDescription()->sampleRate());
    keepSlices(unit);
    unit->start();
    capture(2);
    ASSERT_EQ(slices.size(), 1U);
    EXPECT_THAT(slices[0].samples,
                ElementsAre(ElementsAre(3, 11), ElementsAre(0, 8), ElementsAre(1, 9), ElementsAre(2, 10)));
    unit->stop();
}

TEST_F(InputAudioUnitTest, CountsTimeFromZeroAtEachStart) {
    const auto unit = BRAQInputAudioUnit::initWithStreamDescription(planar(2), device, std::nullopt);
    keepSlices(unit);
    for (int i = 0; i < 2; ++i) {
        unit->start();
        capture(64);
        unit->stop();
    }
    ASSERT_EQ(slices.size(), 2U);
    EXPECT_EQ(slices[1].sampleTime, 0.0);
}

TEST_F(InputAudioUnitTest, FetchesAnEmptySliceAndCallsNobody) {
    const auto unit = BRAQInputAudioUnit::initWithStreamDescription(planar(2), device, std::nullopt);
    keepSlices(unit);
    const UnitCalls calls;
    const AudioTimeStamp time{};
    AudioUnitRenderActionFlags flags = 0;
    IAUInputProc(unit.get(), &flags, &time, 1, 0, nullptr);
    ASSERT_THAT(calls.functions(), ElementsAre("AudioUnitRender"));
    EXPECT_EQ(calls.calls()[0].number, 0U) << "frames";
    EXPECT_EQ(calls.calls()[0].element, 1U);
    EXPECT_THAT(slices, IsEmpty());
}

TEST_F(InputAudioUnitTest, AnswersWhyASliceCannotBeFetchedAndCallsNobody) {
    const auto unit = BRAQInputAudioUnit::initWithStreamDescription(planar(2), device, std::nullopt);
    keepSlices(unit);
    const UnitCalls calls(0, refused);
    const AudioTimeStamp time{};
    AudioUnitRenderActionFlags flags = 0;
    EXPECT_EQ(IAUInputProc(unit.get(), &flags, &time, 1, 512, nullptr), refused);
    EXPECT_THAT(slices, IsEmpty());
}

TEST_F(InputAudioUnitTest, RunsWithoutAProcessingBlock) {
    const auto unit = BRAQInputAudioUnit::initWithStreamDescription(planar(2), device, std::nullopt);
    unit->start();
    capture(64);
    EXPECT_TRUE(unit->isRunning());
}

TEST_F(InputAudioUnitTest, AThrowingBlockCostsItsSliceAndOneLineInTheLog) {
    const auto unit = BRAQInputAudioUnit::initWithStreamDescription(planar(2), device, std::nullopt);
    const CapturedLog log;
    int calls = 0;
    unit->setInputProcessingBlock([&](auto*, auto*, UInt32, UInt32, auto*) {
        ++calls;
        throw std::runtime_error("no");
    });
    unit->start();
    capture(64);
    capture(64);
    unit->stop();
    settle();
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(log.errors().size(), 1U);
}

TEST_F(InputAudioUnitTest, RaisesTheCallThatFailedAndGoesNoFurther) {
    const std::string method = "-[BRAQInputAudioUnit audioUnitInitialize]";
    const std::vector<std::string> origins{
        "", // the search
        "AudioComponentInstanceNew( HALOutputComponent, &mAudioUnit )",
        "AudioUnitSetProperty( mAudioUnit, kAudioOutputUnitProperty_EnableIO, kAudioUnitScope_Input, 1, &enable, "
        "sizeof(UInt32) )",
        "AudioUnitSetProperty( mAudioUnit, kAudioOutputUnitProperty_EnableIO, kAudioUnitScope_Output, 0, &enable, "
        "sizeof(UInt32) )",
        "AudioUnitSetProperty( mAudioUnit, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global, 0, "
        "&deviceId, sizeof(AudioDeviceID) )",
        "AudioUnitSetProperty( mAudioUnit, kAudioOutputUnitProperty_StartTimestampsAtZero, kAudioUnitScope_Global, 0, "
        "&startAtZero, sizeof(UInt32) )",
        "AudioUnitSetProperty( mAudioUnit, kAudioOutputUnitProperty_SetInputCallback, kAudioUnitScope_Global, 0, "
        "&inputCallback, sizeof(inputCallback) )",
        "AudioUnitSetProperty( mAudioUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, 1, &asbd, "
        "sizeof(asbd) )",
        "AudioUnitSetProperty( mAudioUnit, kAudioOutputUnitProperty_ChannelMap, kAudioUnitScope_Input, 1, map, "
        "(mapChannels * sizeof(SInt32)) )",
        "AudioUnitGetProperty( mAudioUnit, kAudioDevicePropertyBufferFrameSize, kAudioUnitScope_Global, 0, "
        "&frameCount, &size )",
        "AudioUnitAddPropertyListener( mAudioUnit, kAudioOutputUnitProperty_IsRunning, AUPropertyListenerProc, "
        "(__bridge void *)( self ) )",
        "AudioUnitInitialize( mAudioUnit )",
    };
    for (std::size_t failing = 1; failing < origins.size(); ++failing) {
        const bool isOfTheBase = failing >= origins.size() - 2;
        const UnitCalls calls(failing, refused);
        expectRaised(
            [&] {
                BRAQInputAudioUnit::initWithStreamDescription(planar(2), device, {{2, 3}});
            },
            refused, isOfTheBase ? "src/BRAQAudioUnit" : "src/BRAQInputAudioUnit",
            !isOfTheBase                    ? method
            : failing == origins.size() - 1 ? "-[BRAQAudioUnit audioUnitInitialize]"
                                            : "-[BRAQAudioUnit installPropertyListener]",
            origins[failing]);
        EXPECT_EQ(calls.calls().size(), failing + 1) << "nothing is undone";
    }
    const UnitCalls calls;
    BRAQInputAudioUnit::initWithStreamDescription(planar(2), device, {{2, 3}});
    const auto made = calls.calls();
    ASSERT_GT(made.size(), origins.size()) << "no step is left out";
    std::vector<std::string> after;
    for (std::size_t call = origins.size(); call < made.size(); ++call) {
        after.push_back(made[call].function);
    }
    EXPECT_THAT(after, ElementsAre("AudioUnitGetProperty", "AudioUnitAddPropertyListener", "AudioUnitGetProperty",
                                   "AudioUnitGetProperty", "AudioUnitAddPropertyListener", "AudioUnitUninitialize"))
        << "it watches for another device and for lost frames, and goes by being uninitialised";
}

TEST_F(InputAudioUnitTest, IsWithoutAUnitWhereThePlatformHasNone) {
    std::shared_ptr<BRAQInputAudioUnit> unit;
    {
        const CapturedLog log;
        const UnitCalls calls(0, 0);
        unit = BRAQInputAudioUnit::initWithStreamDescription(planar(2), device, std::nullopt);
        ASSERT_NE(unit, nullptr);
        EXPECT_THAT(calls.functions(), ElementsAre("AudioComponentFindNext"));
        EXPECT_THAT(log.errors(), ElementsAre("(ERROR) BRAQInputAudioUnit : Could not find HAL Output Component!"));
    }
    expectRaised([&] { unit->start(); }, kAudio_ParamError, "src/BRAQAudioUnit", "-[BRAQAudioUnit start]",
                 "AudioOutputUnitStart( mAudioUnit )");
    const CapturedLog log;
    unit.reset();
    EXPECT_EQ(log.errors().size(), 1U) << "it cannot be uninitialised";
}

TEST_F(InputAudioUnitTest, GoesWhileItRuns) {
    auto unit = BRAQInputAudioUnit::initWithStreamDescription(planar(2), device, std::nullopt);
    unit->start();
    const std::weak_ptr<BRAQInputAudioUnit> watched = unit;
    unit.reset();
    EXPECT_TRUE(watched.expired());
    EXPECT_FALSE(software->step(16));
}

TEST_F(InputAudioUnitTest, ConvertsToTheRateThatIsAskedFor) {
    const auto description = planar(1);
    description->setSampleRate(24000);
    const auto unit = BRAQInputAudioUnit::initWithStreamDescription(description, device, {{3}});
    keepSlices(unit);
    unit->start();
    for (int i = 0; i < 100; ++i) {
        capture(480);
    }
    unit->stop();
    UInt32 frames = 0;
    for (const Slice& slice : slices) {
        EXPECT_LE(slice.frames, 512U);
        EXPECT_EQ(slice.sampleTime, frames);
        frames += slice.frames;
    }
    EXPECT_GT(frames, 22500U) << "of 24000, some of which wait for what follows";
    EXPECT_LE(frames, 24000U);
}

TEST_F(InputAudioUnitTest, KeepsTheRealtimeRules) {
    const auto unit = BRAQInputAudioUnit::initWithStreamDescription(planar(2), device, {{1, 0}});
    Float32 sum = 0.0F;
    unit->setInputProcessingBlock([&](auto*, auto*, UInt32, UInt32 frames, AudioBufferList* list) {
        const auto* samples = static_cast<const Float32*>(list->mBuffers[0].mData);
        sum = std::accumulate(samples, samples + frames, sum);
    });
    unit->start();
    const std::vector<Float32> ones(512, 1.0F);
    const Float32* const from[4]{ones.data(), ones.data(), ones.data(), ones.data()};
    braq::tests::runRealtime([&] {
        for (int i = 0; i < 4; ++i) {
            software->step(512, from);
        }
    });
    EXPECT_EQ(sum, 2048.0F);
}

} // namespace
