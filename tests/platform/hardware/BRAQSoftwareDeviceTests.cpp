#include "platform/hardware/DeviceIO.h"
#include "tests/platform/hardware/HardwareHelpers.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

using namespace braq::tests;
using braq::IODirections;
using braq::IOSlice;
using testing::Each;
using testing::ElementsAre;

struct BadOptions {
    const char* why;
    void (*spoil)(BRAQSoftwareDeviceOptions&);
};

class RefusedOptions : public testing::TestWithParam<BadOptions> {};

TEST_P(RefusedOptions, GiveNoDeviceAndTheReasonInTheLog) {
    const CapturedLog log;
    auto options = steppedOptions("device");
    GetParam().spoil(options);
    EXPECT_EQ(BRAQSoftwareDevice::deviceWithOptions(options), nullptr);
    EXPECT_THAT(log.errors(), ElementsAre(testing::HasSubstr(GetParam().why)));
}

INSTANTIATE_TEST_SUITE_P(
    SoftwareDevice, RefusedOptions,
    testing::Values(
        BadOptions{"has no UID", [](auto& options) { options.uid.clear(); }},
        BadOptions{"is no rate", [](auto& options) { options.sampleRate = 0.0; }},
        BadOptions{"is no rate", [](auto& options) { options.sampleRate = -1.0; }},
        BadOptions{"is no rate", [](auto& options) { options.sampleRate = std::numeric_limits<double>::infinity(); }},
        BadOptions{"not one of those", [](auto& options) { options.sampleRate = 12345.0; }},
        BadOptions{"outside its range", [](auto& options) { options.bufferFrames = 9000; }},
        BadOptions{"outside its range", [](auto& options) { options.bufferFrames = 1; }},
        BadOptions{"outside its range", [](auto& options) { options.bufferFrames = options.minimumBufferFrames = 0; }},
        BadOptions{"no channels", [](auto& options) { options.record.streams = {{0}}; }},
        BadOptions{"one position for each",
                   [](auto& options) { options.playback.positions = {BRAQChannelPosition::mono}; }},
        BadOptions{"one position for each",
                   [](auto& options) { options.record.positions.assign(2, static_cast<BRAQChannelPosition>(99)); }}));

TEST(SoftwareDevice, PrefersLeftAndRightWhereverTheyAreForStereo) {
    using enum BRAQChannelPosition;
    const auto preferred = [](const std::vector<BRAQChannelPosition>& positions) {
        auto options = steppedOptions("device", 4, 0);
        options.playback.positions = positions;
        const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
        const AudioObjectPropertyAddress address{kAudioDevicePropertyPreferredChannelsForStereo,
                                                 kAudioDevicePropertyScopeOutput, kAudioObjectPropertyElementMain};
        std::vector<UInt32> channels(2);
        UInt32 size = 2 * sizeof(UInt32);
        EXPECT_EQ(AudioObjectGetPropertyData(device->deviceID(), &address, 0, nullptr, &size, channels.data()), 0);
        return channels;
    };
    EXPECT_THAT(preferred({}), ElementsAre(1U, 2U));
    EXPECT_THAT(preferred({rearLeft, frontRight, rearRight, frontLeft}), ElementsAre(4U, 2U));
}

TEST(SoftwareDevice, RefusesAUIDThatAnotherDeviceHas) {
    const CapturedLog log;
    const auto device = steppedDevice("taken");
    EXPECT_EQ(steppedDevice("taken"), nullptr);
    EXPECT_THAT(log.errors(), ElementsAre(testing::HasSubstr("there is one with this UID")));
    device->remove();
    EXPECT_NE(steppedDevice("taken"), nullptr);
}

TEST(SoftwareDevice, IsGoneWhenItsLastReferenceIs) {
    AudioDeviceID id = 0;
    {
        const auto device = steppedDevice("device");
        id = device->deviceID();
    }
    waitForNotifications();
    EXPECT_EQ(statusOf(id, at(kAudioDevicePropertyTransportType), 4), kAudioHardwareBadObjectError);
}

/// Has a device run with nothing to play but what `play` is set to.
class Running {
  public:
    explicit Running(const std::shared_ptr<BRAQSoftwareDevice>& device) : mDevice(device->deviceID()) {
        EXPECT_EQ(braq::addIOProcedure(mDevice, IODirections::both, call, this, &mID), 0);
        EXPECT_EQ(braq::startIOProcedure(mDevice, mID), 0);
    }
    ~Running() { EXPECT_EQ(braq::removeIOProcedure(mDevice, mID), 0); }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    std::vector<std::vector<Float32>> recorded; // by channel

  private:
    static void call(void* self, const IOSlice& slice) {
        auto* const running = static_cast<Running*>(self);
        running->recorded.resize(slice.input->mNumberBuffers);
        for (UInt32 channel = 0; channel < slice.input->mNumberBuffers; ++channel) {
            const auto* samples = static_cast<const Float32*>(slice.input->mBuffers[channel].mData);
            running->recorded[channel].insert(running->recorded[channel].end(), samples, samples + slice.frames);
        }
        for (UInt32 channel = 0; channel < slice.output->mNumberBuffers; ++channel) {
            auto* samples = static_cast<Float32*>(slice.output->mBuffers[channel].mData);
            for (UInt32 frame = 0; frame < slice.frames; ++frame) {
                samples[frame] =
                    static_cast<Float32>(running->mPlayed + frame + 1) + static_cast<Float32>(channel) * 1'000'000.0F;
            }
        }
        running->mPlayed += slice.frames;
    }

    const AudioDeviceID mDevice;
    braq::IOProcedureID mID = 0;
    UInt32 mPlayed = 0;
};

TEST(SoftwareDevice, RecordsSilenceUnlessItIsGivenSomething) {
    const auto device = steppedDevice("device", 1, 1);
    Running running(device);
    device->step(3);
    Channels input(1, 2, 0.5F);
    device->step(2, input.pointers());
    EXPECT_THAT(running.recorded[0], ElementsAre(0.0F, 0.0F, 0.0F, 0.5F, 0.5F));
}

TEST(SoftwareDevice, LoopsBackWhatIsPlayedOneCycleLater) {
    auto options = steppedOptions("device", 2, 2);
    options.loopback = true;
    const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
    Running running(device);
    for (int cycle = 0; cycle < 100; ++cycle) {
        device->step(64);
    }
    for (std::size_t channel = 0; channel < 2; ++channel) {
        const auto& recorded = running.recorded[channel];
        ASSERT_EQ(recorded.size(), 6400U);
        for (std::size_t frame = 0; frame < recorded.size(); ++frame) {
            const Float32 expected =
                frame < 64 ? 0.0F : static_cast<Float32>(frame - 63) + static_cast<Float32>(channel) * 1'000'000.0F;
            ASSERT_EQ(recorded[frame], expected) << "frame " << frame;
        }
    }
}

TEST(SoftwareDevice, LoopsBackEveryFrameInOrderThroughCyclesOfAnyLength) {
    auto options = steppedOptions("device", 1, 1);
    options.loopback = true;
    options.maximumBufferFrames = 512;
    const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
    Running running(device);
    UInt32 random = 7;
    UInt32 longest = 0;
    for (int cycle = 0; cycle < 500; ++cycle) {
        random = random * 1664525 + 1013904223;
        const UInt32 frames = (random >> 20) % 700 + 1; // sometimes longer than the largest buffer
        longest = std::max(longest, frames);
        device->step(frames);
    }
    Float32 next = 1.0F;
    std::size_t silent = 0;
    for (const Float32 sample : running.recorded[0]) {
        if (sample == 0.0F) {
            ++silent;
            continue;
        }
        ASSERT_EQ(sample, next);
        ++next;
    }
    EXPECT_EQ(silent, longest) << "the delay is that of the longest cycle";
}

TEST(SoftwareDevice, LoopsBackAsManyChannelsAsThereAreInBothDirections) {
    auto options = steppedOptions("device", 1, 3);
    options.loopback = true;
    const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
    Running running(device);
    device->step(2);
    device->step(2);
    EXPECT_THAT(running.recorded[0], ElementsAre(0.0F, 0.0F, 1.0F, 2.0F));
    EXPECT_THAT(running.recorded[1], Each(0.0F));
    EXPECT_THAT(running.recorded[2], Each(0.0F));
}

TEST(SoftwareDevice, StepsOnlyASteppedDeviceThatRuns) {
    auto options = steppedOptions("clocked");
    options.clock = BRAQSoftwareClock::monotonic;
    const auto clocked = BRAQSoftwareDevice::deviceWithOptions(options);
    const auto stepped = steppedDevice("stepped");
    EXPECT_FALSE(stepped->step(8));
    {
        Running running(stepped);
        Running other(clocked);
        EXPECT_FALSE(clocked->step(8));
        EXPECT_FALSE(stepped->step(0));
        EXPECT_TRUE(stepped->step(8));
        EXPECT_EQ(clocked->hostTimeOfStep(), 0U);
    }
    EXPECT_FALSE(stepped->step(8));
}

TEST(SoftwareDevice, RunsAtItsRateByTheMonotonicClock) {
    auto options = steppedOptions("device");
    options.clock = BRAQSoftwareClock::monotonic;
    options.bufferFrames = 480;
    const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
    struct Context {
        std::vector<AudioTimeStamp> times{};
        std::vector<UInt64> passedOver{};
        std::promise<void> done{};
    } context;
    context.times.reserve(100);
    context.passedOver.reserve(100);
    braq::IOProcedureID id = 0;
    const auto note = [](void* data, const IOSlice& slice) {
        auto* const to = static_cast<Context*>(data);
        EXPECT_EQ(slice.frames, 480U);
        if (to->times.size() < 30) {
            to->times.push_back(slice.time);
            to->passedOver.push_back(slice.passedOverFrames);
            if (to->times.size() == 30) {
                to->done.set_value();
            }
        }
    };
    braq::addIOProcedure(device->deviceID(), IODirections::both, note, &context, &id);
    const auto begin = std::chrono::steady_clock::now();
    braq::startIOProcedure(device->deviceID(), id);
    context.done.get_future().wait();
    const auto took = std::chrono::steady_clock::now() - begin;
    braq::removeIOProcedure(device->deviceID(), id);
    EXPECT_GE(took, std::chrono::milliseconds(289)) << "30 cycles begin within 290 ms at the earliest";
    Float64 passedOver = 0.0; // where the machine held the device up
    for (std::size_t i = 1; i < context.times.size(); ++i) {
        passedOver += static_cast<Float64>(context.passedOver[i]);
        EXPECT_EQ(context.times[i].mSampleTime, static_cast<Float64>(i) * 480.0 + passedOver);
        EXPECT_GE(context.times[i].mHostTime - context.times[i - 1].mHostTime, 10'000'000U);
    }
}

TEST(SoftwareDevice, PassesOverWhatIsDueWhileItIsHeldUpForLong) {
    auto options = steppedOptions("device");
    options.clock = BRAQSoftwareClock::monotonic;
    options.bufferFrames = 480;
    const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
    struct Context {
        std::vector<IOSlice> slices{};
        std::promise<void> done{};
    } context;
    context.slices.reserve(10);
    braq::IOProcedureID id = 0;
    const auto holdUp = [](void* data, const IOSlice& slice) {
        auto* const to = static_cast<Context*>(data);
        if (to->slices.size() < 4) {
            to->slices.push_back(slice);
            if (to->slices.size() == 2) {
                std::this_thread::sleep_for(std::chrono::milliseconds(800));
            } else if (to->slices.size() == 4) {
                to->done.set_value();
            }
        }
    };
    braq::addIOProcedure(device->deviceID(), IODirections::both, holdUp, &context, &id);
    braq::startIOProcedure(device->deviceID(), id);
    context.done.get_future().wait();
    braq::removeIOProcedure(device->deviceID(), id);
    const IOSlice& before = context.slices[1];
    const IOSlice& after = context.slices[2];
    EXPECT_GE(after.passedOverFrames, 37'000U) << "of 800 ms, less a cycle";
    EXPECT_EQ(after.time.mSampleTime, before.time.mSampleTime + 480.0 + static_cast<Float64>(after.passedOverFrames));
    const Float64 nanoseconds = (after.time.mSampleTime - before.time.mSampleTime) * 1e9 / 48000.0;
    EXPECT_NEAR(static_cast<Float64>(after.time.mHostTime - before.time.mHostTime), nanoseconds, 2.0);
}

TEST(SoftwareDevice, LosesFramesWhenItIsTold) {
    const auto device = steppedDevice("device");
    std::vector<IOSlice> slices;
    braq::IOProcedureID id = 0;
    const auto note = [](void* data, const IOSlice& slice) {
        static_cast<std::vector<IOSlice>*>(data)->push_back(slice);
    };
    braq::addIOProcedure(device->deviceID(), IODirections::both, note, &slices, &id);
    braq::startIOProcedure(device->deviceID(), id);
    device->step(480);
    device->loseFrames(4000);
    device->loseFrames(800);
    device->step(480);
    device->step(480);
    braq::removeIOProcedure(device->deviceID(), id);
    ASSERT_EQ(slices.size(), 3U);
    EXPECT_EQ(slices[0].passedOverFrames, 0U);
    EXPECT_EQ(slices[1].passedOverFrames, 4800U);
    EXPECT_EQ(slices[2].passedOverFrames, 0U);
    EXPECT_EQ(slices[1].time.mSampleTime, 5280.0);
    EXPECT_EQ(slices[1].time.mHostTime - slices[0].time.mHostTime, 110'000'000U);
    EXPECT_EQ(slices[2].time.mSampleTime, 5760.0);
}

TEST(SoftwareDevice, StopsAtOnceHoweverLongItsCyclesAre) {
    auto options = steppedOptions("device");
    options.clock = BRAQSoftwareClock::monotonic;
    options.sampleRates = {1.0};
    options.sampleRate = 1.0; // a cycle of more than two hours
    options.bufferFrames = 8192;
    const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
    const auto begin = std::chrono::steady_clock::now();
    { const Running running(device); }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

TEST(SoftwareDevice, IsNoDefaultAnyMoreWhenItIsRemoved) {
    const auto first = steppedDevice("first");
    first->makeDefaultPlaybackDevice();
    first->makeDefaultRecordDevice();
    first->remove();
    EXPECT_THAT(get<AudioDeviceID>(kAudioObjectSystemObject, at(kAudioHardwarePropertyDefaultOutputDevice)),
                testing::Optional(0U));
    const auto second = steppedDevice("first");
    EXPECT_THAT(get<AudioDeviceID>(kAudioObjectSystemObject, at(kAudioHardwarePropertyDefaultInputDevice)),
                testing::Optional(0U))
        << "one with the same UID is another device";
}

} // namespace
