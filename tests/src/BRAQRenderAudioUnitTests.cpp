#include "BRAQAudio/BRAQRenderAudioUnit.h"

#include "BRAQAudio/BRAQInputAudioUnit.h"
#include "tests/src/DeviceFixture.h"
#include "tests/src/Resources.h"
#include "tests/src/UnitCalls.h"
#include "tests/src/UnitFixture.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/FrameLists.h"
#include "tests/support/RealtimeGuard.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <future>
#include <limits>
#include <numeric>
#include <thread>

namespace {

using braq::tests::CapturedLog;
using braq::tests::refused;
using braq::tests::sampleOf;
using braq::tests::UnitCalls;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using unit_test::settle;

/// What a closure was called with.
struct RenderedSlice {
    AudioTimeStamp time;
    UInt32 frames;
    UInt32 buffers;
};

std::shared_ptr<BRAQAudioStreamBasicDescription> floats(UInt32 channels, Float64 rate, bool isInterleaved = false) {
    auto description = BRAQAudioStreamBasicDescription::planarStreamDescription(channels, rate);
    description->setIsInterleaved(isInterleaved);
    return description;
}

/// The closure's half of a numbered stream.
class NumberedRendering {
  public:
    BRAQRenderBlock block() {
        return [this](const AudioTimeStamp* time, UInt32 frames, AudioBufferList* list) {
            slices.push_back({*time, frames, list->mNumberBuffers});
            for (UInt32 buffer = 0; buffer < list->mNumberBuffers; ++buffer) {
                EXPECT_EQ(list->mBuffers[buffer].mDataByteSize, frames * sizeof(Float32));
            }
            braq::tests::number(list, mFrame, frames);
            mFrame += frames;
        };
    }
    UInt64 frames() const { return mFrame; }

    std::vector<RenderedSlice> slices;

  private:
    UInt64 mFrame = 0;
};

BRAQRenderBlock constantBlock(Float32 value) {
    return [value](const AudioTimeStamp*, UInt32 frames, AudioBufferList* list) {
        for (UInt32 buffer = 0; buffer < list->mNumberBuffers; ++buffer) {
            std::fill_n(static_cast<Float32*>(list->mBuffers[buffer].mData), frames, value);
        }
    };
}

class RenderAudioUnitTest : public unit_test::UnitTest {
  protected:
    std::shared_ptr<BRAQRenderAudioUnit> make(const BRAQRenderBlock& block) const {
        return BRAQRenderAudioUnit::initWithDevice(device, block);
    }

    void expectNumbered(const std::vector<std::vector<Float32>>& played, UInt64 first) {
        for (UInt32 channel = 0; channel < played.size(); ++channel) {
            for (std::size_t frame = 0; frame < played[channel].size(); ++frame) {
                ASSERT_EQ(played[channel][frame], sampleOf(first + frame, channel)) << frame;
            }
        }
    }

    NumberedRendering numbers;
};

TEST_F(RenderAudioUnitTest, PlaysWhatTheClosureMakesFrameByFrame) {
    const auto unit = make(numbers.block());
    EXPECT_EQ(unit->device(), device);
    EXPECT_EQ(unit->presentDevice()->deviceID(), device->deviceID());
    EXPECT_FALSE(unit->isRunning());
    unit->start();
    EXPECT_TRUE(unit->isRunning());
    expectNumbered(step(512), 0);
    expectNumbered(step(100), 512);
    EXPECT_EQ(numbers.slices.size(), 2U);
    unit->stop();
    EXPECT_FALSE(unit->isRunning());
    EXPECT_FALSE(software->step(16)) << "nothing runs on the device any more";
}

TEST_F(RenderAudioUnitTest, TellsTheTimeOfTheFirstFrame) {
    const auto unit = make(numbers.block());
    unit->start();
    const UInt64 first = software->hostTimeOfStep();
    step(480);
    const UInt64 second = software->hostTimeOfStep();
    step(480);
    unit->stop();
    ASSERT_THAT(numbers.slices, SizeIs(2));
    EXPECT_EQ(numbers.slices[0].time.mSampleTime, 0.0);
    EXPECT_EQ(numbers.slices[1].time.mSampleTime, 480.0);
    EXPECT_EQ(numbers.slices[0].time.mHostTime, first);
    EXPECT_EQ(numbers.slices[1].time.mHostTime, second);
    constexpr UInt32 valid = kAudioTimeStampSampleTimeValid | kAudioTimeStampHostTimeValid;
    EXPECT_EQ(numbers.slices[0].time.mFlags & valid, valid);
}

TEST_F(RenderAudioUnitTest, CountsTimeFromZeroAtEachStart) {
    const auto unit = make(numbers.block());
    for (int i = 0; i < 2; ++i) {
        unit->start();
        step(64);
        unit->stop();
    }
    ASSERT_THAT(numbers.slices, SizeIs(2));
    EXPECT_EQ(numbers.slices[1].time.mSampleTime, 0.0);
}

TEST_F(RenderAudioUnitTest, AsksForAtMostTheMaximumAtOnce) {
    const auto unit = make(numbers.block());
    EXPECT_EQ(unit->maximumFrames(), 512U);
    unit->start();
    expectNumbered(step(1200), 0);
    unit->stop();
    ASSERT_THAT(numbers.slices, SizeIs(3));
    EXPECT_EQ(numbers.slices[0].frames, 512U);
    EXPECT_EQ(numbers.slices[1].frames, 512U);
    EXPECT_EQ(numbers.slices[2].frames, 176U);
    EXPECT_EQ(numbers.slices[2].time.mSampleTime, 1024.0);
}

TEST_F(RenderAudioUnitTest, WhatIsNotWrittenIsSilence) {
    const auto unit = make([](const AudioTimeStamp*, UInt32 frames, AudioBufferList* list) {
        std::fill_n(static_cast<Float32*>(list->mBuffers[1].mData), frames / 2, 1.0F);
    });
    unit->start();
    const auto& played = step(4);
    EXPECT_THAT(played[0], Each(0.0F));
    EXPECT_THAT(played[1], ElementsAre(1.0F, 1.0F, 0.0F, 0.0F));
    unit->stop();
}

TEST_F(RenderAudioUnitTest, PlaysSilenceWithoutAClosure) {
    const auto unit = make(nullptr);
    unit->start();
    EXPECT_THAT(step(64)[0], Each(0.0F));
    unit->stop();
}

TEST_F(RenderAudioUnitTest, HasTheClosureMakeInterleavedFramesWhereThatIsAskedFor) {
    UInt32 buffers = 0;
    UInt32 channels = 0;
    const auto unit = BRAQRenderAudioUnit::initWithStreamDescription(
        floats(2, 48000, true), device, [&](const AudioTimeStamp*, UInt32 frames, AudioBufferList* list) {
            buffers = list->mNumberBuffers;
            channels = list->mBuffers[0].mNumberChannels;
            auto* const samples = static_cast<Float32*>(list->mBuffers[0].mData);
            std::iota(samples, samples + std::size_t{frames} * 2, 0.0F);
        });
    unit->start();
    const auto& played = step(3);
    EXPECT_EQ(buffers, 1U);
    EXPECT_EQ(channels, 2U);
    EXPECT_THAT(played[0], ElementsAre(0.0F, 2.0F, 4.0F));
    EXPECT_THAT(played[1], ElementsAre(1.0F, 3.0F, 5.0F));
    unit->stop();
}

TEST_F(RenderAudioUnitTest, PlaysASingleChannelOnBothSides) {
    const auto unit = BRAQRenderAudioUnit::initWithStreamDescription(floats(1, 48000), device, constantBlock(0.5F));
    unit->start();
    const auto& played = step(64);
    EXPECT_EQ(played[0], played[1]);
    EXPECT_GT(played[0].front(), 0.3F);
    unit->stop();
}

TEST_F(RenderAudioUnitTest, ConvertsFromTheRateThatIsAskedFor) {
    Float64 next = 0.0;
    const auto unit = BRAQRenderAudioUnit::initWithStreamDescription(
        floats(2, 24000), device, [&](const AudioTimeStamp* time, UInt32 frames, AudioBufferList* list) {
            EXPECT_EQ(time->mSampleTime, next);
            EXPECT_LE(frames, 512U);
            next += frames;
            constantBlock(0.5F)(time, frames, list);
        });
    unit->start();
    for (int i = 0; i < 100; ++i) {
        step(480);
    }
    for (const Float32 sample : outputs[0]) {
        ASSERT_NEAR(sample, 0.5F, 1e-4F);
    }
    unit->stop();
    EXPECT_GE(next, 24000.0);
    EXPECT_LE(next, 24000.0 + 512.0) << "and what the converter looks ahead";
}

TEST_F(RenderAudioUnitTest, ConvertsWhenTheDeviceChangesItsRate) {
    const auto unit = make(constantBlock(0.5F));
    unit->start();
    step(480);
    software->changeSampleRate(96000.0);
    for (int i = 0; i < 10; ++i) {
        step(960);
        settle();
    }
    EXPECT_EQ(unit->streamDescription()->sampleRate(), 48000.0);
    for (const Float32 sample : outputs[1]) {
        ASSERT_NEAR(sample, 0.5F, 1e-4F);
    }
    unit->stop();
}

TEST_F(RenderAudioUnitTest, AThrowingClosureCostsItsSliceAndOneLineInTheLog) {
    int calls = 0;
    const auto unit = make([&](const AudioTimeStamp* time, UInt32 frames, AudioBufferList* list) {
        constantBlock(0.5F)(time, frames, list);
        if (++calls <= 2) {
            throw std::runtime_error("no");
        }
    });
    const CapturedLog log;
    unit->start();
    EXPECT_THAT(step(64)[0], Each(0.0F));
    EXPECT_THAT(step(64)[0], Each(0.0F));
    EXPECT_THAT(step(64)[0], Each(0.5F)) << "it goes on";
    EXPECT_TRUE(unit->isRunning());
    unit->stop();
    settle();
    EXPECT_EQ(calls, 3);
    EXPECT_THAT(log.errors(), SizeIs(1));
}

TEST_F(RenderAudioUnitTest, AClosureThatThrowsBehindAConverterCostsItsSliceToo) {
    bool throws = true;
    const auto unit = BRAQRenderAudioUnit::initWithStreamDescription(
        floats(2, 24000), device, [&](const AudioTimeStamp* time, UInt32 frames, AudioBufferList* list) {
            if (throws) {
                throw std::runtime_error("no");
            }
            constantBlock(0.5F)(time, frames, list);
        });
    const CapturedLog log;
    unit->start();
    EXPECT_THAT(step(512)[0], Each(0.0F));
    throws = false;
    for (int i = 0; i < 10; ++i) {
        step(512);
    }
    EXPECT_NEAR(outputs[0].back(), 0.5F, 1e-4F);
    unit->stop();
    settle();
    EXPECT_THAT(log.errors(), SizeIs(1));
}

TEST_F(RenderAudioUnitTest, AppliesItsLevelAndFadesToAnother) {
    const auto unit = make(constantBlock(1.0F));
    EXPECT_EQ(unit->playbackLevel(), 1.0);
    unit->setPlaybackLevel(0.5);
    EXPECT_EQ(unit->playbackLevel(), 0.5);
    unit->start();
    EXPECT_THAT(step(64)[0], Each(0.5F));
    unit->setPlaybackLevel(0.0);
    const auto fading = step(1024)[0];
    EXPECT_TRUE(std::is_sorted(fading.rbegin(), fading.rend()));
    EXPECT_GT(fading.front(), 0.49F);
    EXPECT_EQ(fading[480], 0.0F) << "10 ms later";
    unit->stop();
}

TEST_F(RenderAudioUnitTest, RefusesALevelThatIsNone) {
    const auto unit = make(nullptr);
    for (const double level : {-0.1, std::numeric_limits<double>::quiet_NaN(), HUGE_VAL}) {
        expectRaised([&] { unit->setPlaybackLevel(level); }, kAudioUnitErr_InvalidPropertyValue,
                     "src/BRAQRenderAudioUnit", "-[BRAQRenderAudioUnit setPlaybackLevel:]",
                     "AudioUnitSetParameter( mAudioUnit, kHALOutputParam_Volume, kAudioUnitScope_Global, 0, level, 0 "
                     ")");
        EXPECT_EQ(unit->playbackLevel(), 1.0);
    }
}

TEST_F(RenderAudioUnitTest, TheClosureIsNotUsedAnyMoreWhenAStopHasReturned) {
    auto used = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = used;
    const auto unit = make([used](const AudioTimeStamp*, UInt32, AudioBufferList*) { ++*used; });
    used.reset();
    unit->start();
    step(64);
    EXPECT_EQ(*watched.lock(), 1);
    unit->stop();
    EXPECT_FALSE(software->step(64));
    EXPECT_EQ(*watched.lock(), 1);
    unit->setRenderBlock(nullptr);
    EXPECT_TRUE(watched.expired());
}

TEST_F(RenderAudioUnitTest, AStopWaitsForTheClosure) {
    std::atomic<bool> isInside{false};
    std::atomic<bool> mayLeave{false};
    std::atomic<bool> hasLeft{false};
    const auto unit = make([&](const AudioTimeStamp*, UInt32, AudioBufferList*) {
        isInside = true;
        while (!mayLeave) {
            std::this_thread::yield();
        }
        hasLeft = true;
    });
    unit->start();
    std::thread cycle([&] { software->step(64); });
    while (!isInside) {
        std::this_thread::yield();
    }
    auto stop = std::async(std::launch::async, [&] {
        unit->stop();
        return hasLeft.load();
    });
    EXPECT_EQ(stop.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    mayLeave = true;
    cycle.join();
    EXPECT_TRUE(stop.get());
}

TEST_F(RenderAudioUnitTest, PlaysAnotherClosureFromTheNextStartOn) {
    const auto unit = make(constantBlock(0.25F));
    unit->start();
    EXPECT_THAT(step(16)[0], Each(0.25F));
    expectRaised([&] { unit->setRenderBlock(nullptr); }, kAudioUnitErr_CannotDoInCurrentContext,
                 "src/BRAQRenderAudioUnit", "-[BRAQRenderAudioUnit setRenderBlock:]", "isRunning");
    EXPECT_THAT(step(16)[0], Each(0.25F)) << "it has kept the closure";
    unit->stop();
    unit->setRenderBlock(constantBlock(0.75F));
    EXPECT_TRUE(unit->renderBlock());
    unit->start();
    EXPECT_THAT(step(16)[0], Each(0.75F));
    unit->stop();
}

TEST_F(RenderAudioUnitTest, CannotBeStoppedByItsClosure) {
    std::shared_ptr<BRAQRenderAudioUnit> unit;
    bool isRefused = false;
    unit = make([&](const AudioTimeStamp*, UInt32, AudioBufferList*) {
        try {
            unit->stop();
        } catch (const NSException&) {
            isRefused = true;
        }
    });
    unit->start();
    step(16);
    EXPECT_TRUE(isRefused);
    EXPECT_TRUE(unit->isRunning());
    unit->stop();
}

TEST_F(RenderAudioUnitTest, GoesWhileItRuns) {
    auto unit = make(constantBlock(0.5F));
    const std::weak_ptr<BRAQRenderAudioUnit> watched = unit;
    unit->start();
    step(16);
    unit.reset();
    EXPECT_TRUE(watched.expired());
    EXPECT_FALSE(software->step(16));
}

TEST_F(RenderAudioUnitTest, GoesOnAnotherThreadWhenItsClosureDropsTheLastReference) {
    auto held = std::make_shared<std::shared_ptr<BRAQRenderAudioUnit>>();
    *held = make([held](const AudioTimeStamp*, UInt32, AudioBufferList*) { held->reset(); });
    const std::weak_ptr<BRAQRenderAudioUnit> watched = *held;
    (*held)->start();
    held.reset();
    step(16);
    EXPECT_TRUE(resource_test::comesTrue([&] { return watched.expired(); }));
    EXPECT_TRUE(resource_test::comesTrue([&] { return !software->step(16); }));
}

TEST_F(RenderAudioUnitTest, StopsWithItsDeviceAndTellsItsDelegate) {
    struct Delegate : BRAQAudioUnitDelegate {
        void audioUnitDidStop(const std::shared_ptr<BRAQAudioUnit>& unit) override { stopped = !unit->isRunning(); }
        void audioUnitDeviceIsGone(const std::shared_ptr<BRAQAudioUnit>& /*unit*/) override { gone = true; }
        bool stopped = false;
        bool gone = false;
    };
    const auto delegate = std::make_shared<Delegate>();
    const auto unit = make(constantBlock(0.5F));
    unit->setDelegate(delegate);
    unit->start();
    step(16);
    software->remove();
    settle(); // the device is gone
    settle(); // and the unit has told of it
    BRAQMainQueue::mainQueue().drain();
    EXPECT_TRUE(delegate->stopped);
    EXPECT_TRUE(delegate->gone);
    EXPECT_FALSE(unit->isRunning());
    EXPECT_EQ(unit->presentDevice(), nullptr);
    EXPECT_THROW(unit->start(), NSException);
    unit->stop();
}

TEST_F(RenderAudioUnitTest, RaisesWhatTheDeviceReportsAtItsStart) {
    const auto unit = make(nullptr);
    software->failStarts(1, kAudioHardwareUnspecifiedError);
    expectRaised([&] { unit->start(); }, kAudioHardwareUnspecifiedError, "src/BRAQAudioUnit", "-[BRAQAudioUnit start]",
                 "AudioOutputUnitStart( mAudioUnit )");
    EXPECT_FALSE(unit->isRunning());
    unit->start();
    EXPECT_TRUE(unit->isRunning()) << "the next attempt";
    unit->stop();
}

TEST_F(RenderAudioUnitTest, PlaysOnTheDefaultDeviceWithoutOne) {
    software->makeDefaultPlaybackDevice();
    const auto unit = BRAQRenderAudioUnit::initWithDevice(nullptr, numbers.block());
    EXPECT_EQ(unit->device(), nullptr);
    EXPECT_EQ(unit->presentDevice()->deviceID(), device->deviceID());
    EXPECT_EQ(unit->streamDescription()->sampleRate(), 48000.0);
    unit->start();
    expectNumbered(step(64), 0);
    unit->stop();
}

TEST_F(RenderAudioUnitTest, RefusesADeviceThatIsNotThereOrDoesNotPlay) {
    {
        const CapturedLog log; // of the channels that cannot be counted
        EXPECT_THROW(BRAQRenderAudioUnit::initWithDevice(BRAQAudioDevice::initWithDeviceID(0), nullptr), NSException);
    }
    software->remove();
    settle();
    expectRaised([&] { BRAQRenderAudioUnit::initWithStreamDescription(floats(2, 48000), device, nullptr); },
                 kAudioUnitErr_InvalidPropertyValue, "src/BRAQRenderAudioUnit",
                 "-[BRAQRenderAudioUnit initWithStreamDescription:device:block:]",
                 "AudioUnitSetProperty( mAudioUnit, kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global, 0, "
                 "&deviceID, sizeof(deviceID) )");
    const auto deaf = BRAQSoftwareDevice::deviceWithOptions(
        {.uid = "plays nothing", .playback = {}, .clock = BRAQSoftwareClock::stepped});
    const auto microphone = BRAQAudioDevice::initWithDeviceID(deaf->deviceID());
    EXPECT_THROW(BRAQRenderAudioUnit::initWithStreamDescription(floats(2, 48000), microphone, nullptr), NSException);
}

TEST_F(RenderAudioUnitTest, RefusesAFormatOtherThanFloats) {
    const auto integers = BRAQAudioStreamBasicDescription::pcm16StreamDescription();
    integers->setSampleRate(48000);
    for (const auto& description : {integers, std::shared_ptr<BRAQAudioStreamBasicDescription>(), floats(0, 48000)}) {
        expectRaised([&] { BRAQRenderAudioUnit::initWithStreamDescription(description, device, nullptr); },
                     kAudioUnitErr_FormatNotSupported, "src/BRAQRenderAudioUnit",
                     "-[BRAQRenderAudioUnit initWithStreamDescription:device:block:]",
                     "AudioUnitSetProperty( mAudioUnit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0, "
                     "&asbd, sizeof(asbd) )");
    }
}

/// Keeps its platform unit's reference when it goes.
class WatchedRenderUnit : public BRAQRenderAudioUnit {
  public:
    static std::shared_ptr<WatchedRenderUnit> on(const std::shared_ptr<BRAQAudioDevice>& device,
                                                 const BRAQRenderBlock& block) {
        return initialized(new WatchedRenderUnit(device, block));
    }
    ~WatchedRenderUnit() override { last = audioUnit(); }

    static inline AudioUnit last = nullptr;

  private:
    WatchedRenderUnit(const std::shared_ptr<BRAQAudioDevice>& device, const BRAQRenderBlock& block)
        : BRAQRenderAudioUnit(floats(2, 48000), device, block) {}
};

TEST_F(RenderAudioUnitTest, LeavesNothingBehindWhereverItsMakingFails) {
    const std::vector<std::string> steps{
        "AudioComponentFindNext", "AudioComponentInstanceNew", "AudioUnitSetProperty",         "AudioUnitSetProperty",
        "AudioUnitSetProperty",   "AudioUnitSetProperty",      "AudioUnitAddPropertyListener", "AudioUnitInitialize"};
    for (std::size_t failing = 0; failing < steps.size(); ++failing) {
        auto used = std::make_shared<int>(0);
        const std::weak_ptr<int> watched = used;
        WatchedRenderUnit::last = nullptr;
        const UnitCalls calls(failing, refused);
        EXPECT_THROW(WatchedRenderUnit::on(device, [used](auto*, UInt32, auto*) { ++*used; }), NSException) << failing;
        ASSERT_GT(calls.functions().size(), failing);
        EXPECT_EQ(calls.functions()[failing], steps[failing]);
        used.reset();
        EXPECT_TRUE(watched.expired()) << failing;
        EXPECT_EQ(WatchedRenderUnit::last != nullptr, failing > 1) << failing;
        EXPECT_EQ(AudioUnitInitialize(WatchedRenderUnit::last), kAudio_ParamError) << "it is disposed of: " << failing;
    }
    const UnitCalls calls;
    EXPECT_NE(WatchedRenderUnit::on(device, nullptr), nullptr);
    EXPECT_EQ(AudioUnitInitialize(WatchedRenderUnit::last), kAudio_ParamError);
    const auto made = calls.functions();
    ASSERT_GT(made.size(), steps.size()) << "no step is left out";
    EXPECT_THAT(std::vector(made.begin() + static_cast<std::ptrdiff_t>(steps.size()), made.end()),
                testing::Not(testing::Contains("AudioUnitSetProperty")));
}

TEST_F(RenderAudioUnitTest, CanBeInitialisedAgain) {
    const auto unit = make(numbers.block());
    unit->start();
    step(16);
    unit->audioUnitUninitialize();
    EXPECT_FALSE(unit->isRunning());
    EXPECT_FALSE(software->step(16));
    EXPECT_THROW(unit->start(), NSException);
    unit->audioUnitInitialize();
    unit->start();
    expectNumbered(step(16), 16);
    unit->stop();
}

TEST_F(RenderAudioUnitTest, KeepsTheRealtimeRules) {
    for (const Float64 rate : {48000.0, 44100.0}) {
        Float32 phase = 0.0F;
        const auto unit = BRAQRenderAudioUnit::initWithStreamDescription(
            floats(2, rate), device, [&phase](const AudioTimeStamp*, UInt32 frames, AudioBufferList* list) {
                for (UInt32 frame = 0; frame < frames; ++frame) {
                    phase += 0.06F;
                    static_cast<Float32*>(list->mBuffers[0].mData)[frame] = std::sin(phase);
                }
            });
        unit->start();
        std::vector<Float32> left(512);
        std::vector<Float32> right(512);
        Float32* const to[]{left.data(), right.data()};
        braq::tests::runRealtime([&] {
            for (int i = 0; i < 4; ++i) {
                software->step(512, nullptr, to);
            }
        });
        EXPECT_GT(*std::max_element(left.begin(), left.end()), 0.9F);
        unit->stop();
    }
}

TEST(AudioUnitLatency, IsThatOfTheDeviceInTheUnitsDirection) {
    const auto software = BRAQSoftwareDevice::deviceWithOptions(
        {.uid = "latencies",
         .playback = {.streams = {{.channels = 2, .latencyFrames = 11}}, .latencyFrames = 12, .safetyOffsetFrames = 13},
         .record = {.streams = {{.channels = 1, .latencyFrames = 21}}, .latencyFrames = 22, .safetyOffsetFrames = 23},
         .clock = BRAQSoftwareClock::stepped});
    const auto device = BRAQAudioDevice::initWithDeviceID(software->deviceID());
    EXPECT_DOUBLE_EQ(BRAQRenderAudioUnit::initWithDevice(device, nullptr)->latency(), 36.0 / 48000.0);
    EXPECT_DOUBLE_EQ(BRAQInputAudioUnit::initWithDevice(device, std::nullopt)->latency(), 66.0 / 48000.0);
    const auto without = BRAQAudioUnit::initWithStreamDescription(nullptr);
    expectRaised([&] { without->latency(); }, kAudio_ParamError, "src/BRAQAudioUnit", "-[BRAQAudioUnit latency]",
                 "AudioUnitGetProperty( mAudioUnit, kAudioUnitProperty_Latency, kAudioUnitScope_Global, 0, &seconds, "
                 "&size )");
}

} // namespace
