#include "platform/hardware/DeviceIO.h"

#include "tests/platform/hardware/HardwareHelpers.h"
#include "tests/support/CapturedLog.h"
#include "tests/support/RealtimeGuard.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <stdexcept>
#include <thread>

namespace {

using namespace braq::tests;
using braq::IODirections;
using braq::IOSlice;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Optional;

/// An I/O procedure on a device, removed at the end.
class Procedure {
  public:
    Procedure(AudioDeviceID device, IODirections directions, std::function<void(const IOSlice&)> body)
        : mDevice(device), mBody(std::move(body)) {
        EXPECT_EQ(braq::addIOProcedure(mDevice, directions, call, this, &mID), 0);
    }
    ~Procedure() { EXPECT_EQ(braq::removeIOProcedure(mDevice, mID), 0); }
    Procedure(const Procedure&) = delete;
    Procedure& operator=(const Procedure&) = delete;

    OSStatus start() const { return braq::startIOProcedure(mDevice, mID); }
    OSStatus stop() const { return braq::stopIOProcedure(mDevice, mID); }
    braq::IOProcedureID id() const { return mID; }

  private:
    static void call(void* self, const IOSlice& slice) { static_cast<Procedure*>(self)->mBody(slice); }

    const AudioDeviceID mDevice;
    const std::function<void(const IOSlice&)> mBody;
    braq::IOProcedureID mID = 0;
};

Float32* samples(const AudioBufferList* list, UInt32 channel) {
    return static_cast<Float32*>(list->mBuffers[channel].mData);
}

/// A procedure body that plays one value on every channel.
std::function<void(const IOSlice&)> play(Float32 value) {
    return [value](const IOSlice& slice) {
        for (UInt32 channel = 0; channel < slice.output->mNumberBuffers; ++channel) {
            std::fill_n(samples(slice.output, channel), slice.frames, value);
        }
    };
}

std::vector<Float32> stepAndTakeFirstChannel(BRAQSoftwareDevice& device, UInt32 frames) {
    Channels output(2, frames, 99.0F);
    EXPECT_TRUE(device.step(frames, nullptr, output.pointers()));
    return output[0];
}

TEST(DeviceIO, HandsOutWhatIsRecordedAndTakesWhatIsPlayed) {
    const auto device = steppedDevice("device", 3, 2);
    std::vector<Float32> heard;
    Procedure procedure(device->deviceID(), IODirections::both, [&](const IOSlice& slice) {
        ASSERT_EQ(slice.input->mNumberBuffers, 2U);
        ASSERT_EQ(slice.output->mNumberBuffers, 3U);
        for (UInt32 channel = 0; channel < 3; ++channel) {
            EXPECT_EQ(slice.output->mBuffers[channel].mNumberChannels, 1U);
            EXPECT_EQ(slice.output->mBuffers[channel].mDataByteSize, slice.frames * sizeof(Float32));
            EXPECT_EQ(samples(slice.output, channel)[slice.frames - 1], 0.0F) << "what is left alone is silent";
            std::fill_n(samples(slice.output, channel), slice.frames - 1, static_cast<Float32>(channel + 1));
        }
        heard.assign(samples(slice.input, 1), samples(slice.input, 1) + slice.frames);
    });
    EXPECT_EQ(procedure.start(), 0);
    Channels input(2, 4, 0.5F);
    input[1] = {1.0F, 2.0F, 3.0F, 4.0F};
    Channels output(3, 4, 99.0F);
    EXPECT_TRUE(device->step(4, input.pointers(), output.pointers()));
    EXPECT_THAT(heard, ElementsAre(1.0F, 2.0F, 3.0F, 4.0F));
    EXPECT_THAT(output[0], ElementsAre(1.0F, 1.0F, 1.0F, 0.0F));
    EXPECT_THAT(output[2], ElementsAre(3.0F, 3.0F, 3.0F, 0.0F));
}

TEST(DeviceIO, GivesAProcedureOnlyTheDirectionsThatItTakesPartIn) {
    const auto device = steppedDevice("device");
    int calls = 0;
    Procedure plays(device->deviceID(), IODirections::playback, [&](const IOSlice& slice) {
        EXPECT_EQ(slice.input, nullptr);
        EXPECT_NE(slice.output, nullptr);
        ++calls;
    });
    Procedure records(device->deviceID(), IODirections::record, [&](const IOSlice& slice) {
        EXPECT_NE(slice.input, nullptr);
        EXPECT_EQ(slice.output, nullptr);
        ++calls;
    });
    plays.start();
    records.start();
    EXPECT_THAT(stepAndTakeFirstChannel(*device, 8), Each(0.0F));
    EXPECT_EQ(calls, 2);
}

TEST(DeviceIO, SumsWhatProceduresPlay) {
    const auto device = steppedDevice("device");
    Procedure first(device->deviceID(), IODirections::playback, play(0.25F));
    Procedure second(device->deviceID(), IODirections::both, play(0.5F));
    Procedure third(device->deviceID(), IODirections::playback, play(2.0F));
    first.start();
    second.start();
    third.start();
    EXPECT_THAT(stepAndTakeFirstChannel(*device, 16), Each(2.75F)) << "in float, unclipped";
    second.stop();
    EXPECT_THAT(stepAndTakeFirstChannel(*device, 16), Each(2.25F));
}

TEST(DeviceIO, LeavesTheSamplesOfASinglePlayerAsTheyAre) {
    const auto device = steppedDevice("device");
    const std::vector<UInt32> bits{0x80000000, 0x7F800001, 0x00000001, 0xFF7FFFFF};
    Procedure procedure(device->deviceID(), IODirections::playback, [&](const IOSlice& slice) {
        std::memcpy(samples(slice.output, 0), bits.data(), bits.size() * sizeof(UInt32));
    });
    procedure.start();
    const auto played = stepAndTakeFirstChannel(*device, 4);
    EXPECT_EQ(std::memcmp(played.data(), bits.data(), sizeof(UInt32) * 4), 0);
}

TEST(DeviceIO, CallsProceduresInTheOrderInWhichTheyWereAdded) {
    const auto device = steppedDevice("device");
    std::vector<int> order;
    Procedure first(device->deviceID(), IODirections::playback, [&](const IOSlice&) { order.push_back(1); });
    Procedure second(device->deviceID(), IODirections::playback, [&](const IOSlice&) { order.push_back(2); });
    second.start();
    first.start();
    device->step(8);
    EXPECT_THAT(order, ElementsAre(1, 2));
}

TEST(DeviceIO, RunsTheDeviceFromTheFirstStartToTheLastStop) {
    const auto device = steppedDevice("device");
    const auto isRunning = [&] { return get<UInt32>(device->deviceID(), at(kAudioDevicePropertyDeviceIsRunning)); };
    Procedure first(device->deviceID(), IODirections::playback, play(1.0F));
    Procedure second(device->deviceID(), IODirections::playback, play(1.0F));
    EXPECT_FALSE(device->step(8)) << "nothing is started";
    EXPECT_THAT(isRunning(), Optional(0U));
    first.start();
    second.start();
    EXPECT_THAT(isRunning(), Optional(1U));
    EXPECT_EQ(first.start(), 0) << "idempotent";
    first.stop();
    EXPECT_TRUE(device->step(8));
    second.stop();
    EXPECT_EQ(second.stop(), 0) << "idempotent";
    EXPECT_FALSE(device->step(8));
    EXPECT_THAT(isRunning(), Optional(0U));
}

TEST(DeviceIO, ASuspendedProcedureIsNotCalledAndKeepsTheDeviceRunning) {
    const auto device = steppedDevice("device");
    int calls = 0;
    Procedure procedure(device->deviceID(), IODirections::playback, [&](const IOSlice&) { ++calls; });
    procedure.start();
    EXPECT_TRUE(device->step(8));
    EXPECT_EQ(braq::suspendIOProcedure(device->deviceID(), procedure.id()), 0);
    EXPECT_FALSE(braq::isIOProcedureStarted(device->deviceID(), procedure.id()));
    EXPECT_TRUE(device->step(8));
    EXPECT_EQ(calls, 1);
    procedure.start();
    EXPECT_TRUE(device->step(8));
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(braq::suspendIOProcedure(device->deviceID(), procedure.id()), 0);
    procedure.stop();
    EXPECT_FALSE(device->step(8)) << "stopped for good";
    EXPECT_EQ(braq::suspendIOProcedure(device->deviceID(), procedure.id()), 0) << "nothing to suspend";
    EXPECT_FALSE(device->step(8));
}

TEST(DeviceIO, ReportsThatTheDeviceRunsAndStopsRunning) {
    const auto device = steppedDevice("device");
    std::vector<UInt32> states;
    const auto address = at(kAudioDevicePropertyDeviceIsRunning);
    struct Context {
        AudioDeviceID device;
        std::vector<UInt32>* states;
    } context{device->deviceID(), &states};
    const auto listener = [](AudioObjectID, UInt32, const AudioObjectPropertyAddress* addresses, void* data) {
        auto* const to = static_cast<Context*>(data);
        to->states->push_back(get<UInt32>(to->device, addresses[0]).value_or(99));
        return OSStatus{0};
    };
    AudioObjectAddPropertyListener(device->deviceID(), &address, listener, &context);
    Procedure procedure(device->deviceID(), IODirections::playback, play(1.0F));
    procedure.start();
    waitForNotifications();
    procedure.stop();
    waitForNotifications();
    EXPECT_THAT(states, ElementsAre(1U, 0U));
    AudioObjectRemovePropertyListener(device->deviceID(), &address, listener, &context);
}

TEST(DeviceIO, GivesConsecutiveTimes) {
    const auto device = steppedDevice("device");
    std::vector<AudioTimeStamp> times;
    Procedure procedure(device->deviceID(), IODirections::record, [&](const IOSlice& slice) {
        times.push_back(slice.time);
        EXPECT_EQ(slice.time.mHostTime, device->hostTimeOfStep());
    });
    procedure.start();
    device->step(480);
    device->step(100);
    device->step(1);
    ASSERT_EQ(times.size(), 3U);
    EXPECT_EQ(times[0].mSampleTime, 0.0);
    EXPECT_EQ(times[1].mSampleTime, 480.0);
    EXPECT_EQ(times[2].mSampleTime, 580.0);
    EXPECT_EQ(times[1].mHostTime - times[0].mHostTime, 10'000'000U);
    EXPECT_EQ(times[2].mHostTime - times[1].mHostTime, 2'083'333U);
    for (const AudioTimeStamp& time : times) {
        EXPECT_EQ(time.mRateScalar, 1.0);
        EXPECT_EQ(time.mFlags, 7U);
    }
    procedure.stop();
    procedure.start();
    device->step(1);
    EXPECT_EQ(times.back().mSampleTime, 0.0) << "counted from the start of the device";
}

TEST(DeviceIO, CutsALongCycleIntoSlicesOfTheLargestBufferSize) {
    auto options = steppedOptions("device");
    options.maximumBufferFrames = 512;
    const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
    std::vector<UInt32> lengths;
    std::vector<Float64> sampleTimes;
    Float32 next = 0.0F;
    const auto count = [&](const IOSlice& slice) {
        lengths.push_back(slice.frames);
        sampleTimes.push_back(slice.time.mSampleTime);
        std::generate_n(samples(slice.output, 0), slice.frames, [&] { return next++; });
    };
    Procedure first(device->deviceID(), IODirections::playback, count);
    Procedure second(device->deviceID(), IODirections::playback, play(0.5F));
    first.start();
    second.start();
    const auto played = stepAndTakeFirstChannel(*device, 1200);
    EXPECT_THAT(lengths, ElementsAre(512U, 512U, 176U));
    EXPECT_THAT(sampleTimes, ElementsAre(0.0, 512.0, 1024.0));
    for (std::size_t frame = 0; frame < played.size(); ++frame) {
        ASSERT_EQ(played[frame], static_cast<Float32>(frame) + 0.5F);
    }
}

TEST(DeviceIO, IsRefusedFromInsideAProcedure) {
    const auto device = steppedDevice("device");
    const auto other = steppedDevice("other");
    const AudioDeviceID id = device->deviceID();
    std::vector<OSStatus> statuses;
    braq::IOProcedureID self = 0;
    Procedure elsewhere(other->deviceID(), IODirections::playback, play(1.0F));
    elsewhere.start();
    Procedure procedure(id, IODirections::playback, [&](const IOSlice&) {
        braq::IOProcedureID added = 0;
        statuses = {braq::stopIOProcedure(id, self), braq::removeIOProcedure(id, self),
                    braq::startIOProcedure(id, self),
                    braq::addIOProcedure(
                        id, IODirections::playback, [](void*, const IOSlice&) {}, nullptr, &added),
                    braq::stopIOProcedure(other->deviceID(), elsewhere.id())};
        EXPECT_FALSE(device->step(8)) << "a step within a step";
    });
    self = procedure.id();
    procedure.start();
    device->step(8);
    EXPECT_THAT(statuses, ElementsAre(kAudioHardwareIllegalOperationError, kAudioHardwareIllegalOperationError,
                                      kAudioHardwareIllegalOperationError, kAudioHardwareIllegalOperationError,
                                      kAudioHardwareIllegalOperationError));
    EXPECT_TRUE(device->step(8)) << "and nothing has changed";
    EXPECT_EQ(procedure.stop(), 0) << "outside of a cycle the same thread may";
}

TEST(DeviceIO, RefusesWhatItDoesNotKnow) {
    const auto device = steppedDevice("device");
    braq::IOProcedureID id = 0;
    EXPECT_EQ(braq::addIOProcedure(
                  0xFFFFFF, IODirections::both, [](void*, const IOSlice&) {}, nullptr, &id),
              kAudioHardwareBadObjectError);
    EXPECT_EQ(braq::addIOProcedure(
                  kAudioObjectSystemObject, IODirections::both, [](void*, const IOSlice&) {}, nullptr, &id),
              kAudioHardwareBadObjectError);
    EXPECT_EQ(braq::addIOProcedure(device->deviceID(), IODirections::both, nullptr, nullptr, &id),
              kAudioHardwareIllegalOperationError);
    EXPECT_EQ(braq::startIOProcedure(device->deviceID(), 987654321), kAudioHardwareBadObjectError);
    EXPECT_EQ(braq::stopIOProcedure(device->deviceID(), 987654321), kAudioHardwareBadObjectError);
}

TEST(DeviceIO, ReportsThatTheDeviceRefusesToStart) {
    const auto device = steppedDevice("device");
    device->failStarts(1, kAudioHardwareUnspecifiedError);
    Procedure procedure(device->deviceID(), IODirections::playback, play(1.0F));
    EXPECT_EQ(procedure.start(), kAudioHardwareUnspecifiedError);
    EXPECT_THAT(get<UInt32>(device->deviceID(), at(kAudioDevicePropertyDeviceIsRunning)), Optional(0U));
    EXPECT_FALSE(device->step(8));
    EXPECT_EQ(procedure.start(), 0) << "and can be started when it does not";
    EXPECT_THAT(stepAndTakeFirstChannel(*device, 8), Each(1.0F));
}

TEST(DeviceIO, HearsAThrowingProcedureAsSilenceAndLogsItOnce) {
    const CapturedLog log;
    const auto device = steppedDevice("device");
    int calls = 0;
    Procedure bad(device->deviceID(), IODirections::playback, [&](const IOSlice& slice) {
        ++calls;
        play(7.0F)(slice);
        throw std::runtime_error("no");
    });
    Procedure good(device->deviceID(), IODirections::playback, play(0.5F));
    Procedure alsoBad(device->deviceID(), IODirections::playback, [](const IOSlice& slice) {
        play(7.0F)(slice);
        throw 42;
    });
    bad.start();
    good.start();
    alsoBad.start();
    for (int cycle = 0; cycle < 3; ++cycle) {
        EXPECT_THAT(stepAndTakeFirstChannel(*device, 8), Each(0.5F));
    }
    EXPECT_EQ(calls, 3) << "it is called again all the same";
    waitForNotifications();
    waitForNotifications(); // the log is written on the notification thread between what it is given
    EXPECT_THAT(log.errors(), ElementsAre(HasSubstr("threw"), HasSubstr("threw")));
}

TEST(DeviceIO, StopReturnsOnlyWhenTheProcedureIsNotRunning) {
    auto options = steppedOptions("device");
    options.clock = BRAQSoftwareClock::monotonic;
    options.bufferFrames = 16;
    const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
    Procedure keepsItRunning(device->deviceID(), IODirections::playback, play(0.0F));
    keepsItRunning.start();
    for (int round = 0; round < 100; ++round) {
        std::atomic<bool> isInside{false};
        std::atomic<int> calls{0};
        std::promise<void> entered;
        Procedure procedure(device->deviceID(), IODirections::playback, [&](const IOSlice&) {
            isInside = true;
            if (++calls == 1) {
                entered.set_value();
            }
            const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(50);
            while (std::chrono::steady_clock::now() < end) {
            }
            isInside = false;
        });
        procedure.start();
        entered.get_future().wait();
        procedure.stop();
        EXPECT_FALSE(isInside);
        const int callsBefore = calls;
        waitForNotifications();
        EXPECT_EQ(calls, callsBefore);
    }
}

TEST(DeviceIO, StopsWhenTheDeviceVanishesInTheMiddleOfACycle) {
    const auto device = steppedDevice("device");
    int calls = 0;
    Procedure procedure(device->deviceID(), IODirections::both, [&](const IOSlice& slice) {
        ++calls;
        play(1.0F)(slice);
    });
    procedure.start();
    device->vanishAfterCycles(2);
    EXPECT_THAT(stepAndTakeFirstChannel(*device, 8), Each(1.0F));
    EXPECT_THAT(stepAndTakeFirstChannel(*device, 8), Each(1.0F));
    EXPECT_THAT(stepAndTakeFirstChannel(*device, 8), Each(99.0F)) << "the output of the last one is lost";
    EXPECT_EQ(calls, 3);
    EXPECT_FALSE(device->step(8));
    waitForNotifications();
    EXPECT_EQ(statusOf(device->deviceID(), at(kAudioDevicePropertyNominalSampleRate), 8), kAudioHardwareBadObjectError);
    EXPECT_EQ(procedure.start(), kAudioHardwareBadObjectError);
    EXPECT_EQ(procedure.stop(), 0);
}

TEST(DeviceIO, AClockedDeviceThatVanishesWhileItRunsEndsItsThread) {
    auto options = steppedOptions("device");
    options.clock = BRAQSoftwareClock::monotonic;
    options.bufferFrames = 64;
    const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
    std::promise<void> gone;
    const auto address = at(kAudioDevicePropertyDeviceIsAlive);
    const auto listener = [](AudioObjectID, UInt32, const AudioObjectPropertyAddress*, void* data) {
        static_cast<std::promise<void>*>(data)->set_value();
        return OSStatus{0};
    };
    AudioObjectAddPropertyListener(device->deviceID(), &address, listener, &gone);
    std::atomic<int> calls{0};
    Procedure procedure(device->deviceID(), IODirections::both, [&](const IOSlice&) { ++calls; });
    device->vanishAfterCycles(5);
    procedure.start();
    gone.get_future().wait();
    EXPECT_EQ(calls, 6);
    AudioObjectRemovePropertyListener(device->deviceID(), &address, listener, &gone);
}

TEST(DeviceIO, FollowsARateThatChangesWhileItRuns) {
    const auto device = steppedDevice("device");
    std::vector<AudioTimeStamp> times;
    Procedure procedure(device->deviceID(), IODirections::record,
                        [&](const IOSlice& slice) { times.push_back(slice.time); });
    procedure.start();
    device->step(480);
    device->changeSampleRate(96000.0);
    device->step(480);
    device->step(480);
    EXPECT_EQ(times[1].mHostTime - times[0].mHostTime, 10'000'000U);
    EXPECT_EQ(times[2].mHostTime - times[1].mHostTime, 5'000'000U);
    EXPECT_EQ(times[2].mSampleTime, 960.0);
}

TEST(DeviceIO, TakesTheChangedBufferSizeFromTheNextCycleOn) {
    auto options = steppedOptions("device");
    options.clock = BRAQSoftwareClock::monotonic;
    options.bufferFrames = 64;
    const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
    std::promise<void> isLonger;
    bool isTold = false;
    Procedure procedure(device->deviceID(), IODirections::record, [&](const IOSlice& slice) {
        if (slice.frames == 128 && !isTold) {
            isTold = true;
            isLonger.set_value();
        }
    });
    procedure.start();
    EXPECT_EQ(set(device->deviceID(), at(kAudioDevicePropertyBufferFrameSize), UInt32{128}), 0);
    isLonger.get_future().wait();
}

TEST(DeviceIO, ACycleKeepsTheRealtimeRules) {
    const auto device = steppedDevice("device");
    Procedure first(device->deviceID(), IODirections::both, play(0.25F));
    Procedure second(device->deviceID(), IODirections::playback, play(0.5F));
    bool isInCycle = false;
    Procedure third(device->deviceID(), IODirections::record,
                    [&](const IOSlice&) { isInCycle = BRAQThreadIsInDeviceCycle(); });
    first.start();
    second.start();
    third.start();
    Channels input(2, 512);
    Channels output(2, 512);
    runRealtime([&] {
        for (int cycle = 0; cycle < 100; ++cycle) {
            device->step(512, input.pointers(), output.pointers());
        }
    });
    EXPECT_THAT(output[1], Each(0.75F));
    EXPECT_TRUE(isInCycle);
    EXPECT_FALSE(BRAQThreadIsInDeviceCycle());
}

} // namespace
