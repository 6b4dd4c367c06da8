#include "tests/platform/units/RunningHelpers.h"

#include <gmock/gmock.h>

// A unit without a device, on a machine whose default device is one by itself, as the loopback device is while there is no
// sound server.

namespace {

using namespace braq::tests;
using testing::ElementsAre;
using testing::Optional;

std::optional<AudioDeviceID> presentDevice(AudioUnit unit) {
    return getUnit<AudioDeviceID>(unit, kBRAQOutputUnitProperty_PresentDevice);
}

std::shared_ptr<BRAQSoftwareDevice> defaultDevice(const std::string& uid, Float64 rate = 48000.0) {
    auto options = steppedOptions(uid, 1, 1);
    options.sampleRate = rate;
    options.sampleRates = {rate};
    auto device = BRAQSoftwareDevice::deviceWithOptions(options);
    device->makeDefaultPlaybackDevice();
    device->makeDefaultRecordDevice();
    return device;
}

/// Plays the numbers of the frames that it was asked for.
struct Counting {
    OSStatus operator()(const AudioTimeStamp& time, UInt32 frames, AudioBufferList* list) {
        times.push_back(time.mSampleTime);
        for (UInt32 frame = 0; frame < frames; ++frame) {
            plane(list)[frame] = static_cast<Float32>(next++);
        }
        return 0;
    }
    std::vector<Float64> times;
    UInt64 next = 1;
};

class Units_DefaultDevice : public testing::Test {
  protected:
    Units_DefaultDevice()
        : player(kAudioObjectUnknown, planar(48000.0, 1),
                 [this](const AudioTimeStamp& time, UInt32 frames, AudioBufferList* list) {
                     return counting(time, frames, list);
                 }) {}
    static void settle() {
        waitForNotifications();
        waitForNotifications();
    }

    Counting counting;
    std::shared_ptr<BRAQSoftwareDevice> first = defaultDevice("first");
    Player player;
};

TEST_F(Units_DefaultDevice, ThatIsReplacedIsWaitedForAndPlayedOnWhereItWas) {
    ASSERT_EQ(player.start(), 0);
    settle();
    RunningLog log(player.unit);
    EXPECT_EQ(stepPlaying(*first, 1, 64)[0][63], 64.0F);
    first->remove();
    settle();
    EXPECT_THAT(presentDevice(player.unit), Optional(kAudioObjectUnknown));
    EXPECT_THAT(isRunning(player.unit), Optional(1U)) << "it waits";
    const auto second = defaultDevice("second");
    settle();
    EXPECT_THAT(presentDevice(player.unit), Optional(second->deviceID()));
    EXPECT_EQ(stepPlaying(*second, 1, 64)[0][0], 65.0F) << "no frame is lost or played twice";
    EXPECT_THAT(counting.times, ElementsAre(0.0, 64.0));
    EXPECT_THAT(log.values(), testing::IsEmpty());
    EXPECT_EQ(AudioOutputUnitStop(player.unit), 0);
    EXPECT_FALSE(second->step(16));
}

TEST_F(Units_DefaultDevice, MayHaveAnotherRate) {
    ASSERT_EQ(player.start(), 0);
    stepPlaying(*first, 1, 64);
    first->remove();
    const auto second = defaultDevice("second", 96000.0);
    settle();
    stepPlaying(*second, 1, 512);
    EXPECT_GT(counting.next, 64U + 200U);
    EXPECT_LT(counting.next, 64U + 400U) << "half as many frames are asked for";
}

TEST_F(Units_DefaultDevice, IsWaitedForByAUnitThatDoesNotRunToo) {
    ASSERT_EQ(AudioUnitInitialize(player.unit), 0);
    first->remove();
    settle();
    EXPECT_NE(AudioOutputUnitStart(player.unit), 0) << "there is none";
    EXPECT_THAT(isRunning(player.unit), Optional(0U));
    const auto second = defaultDevice("second");
    settle();
    EXPECT_FALSE(second->step(16)) << "it was not started";
    ASSERT_EQ(AudioOutputUnitStart(player.unit), 0);
    EXPECT_EQ(stepPlaying(*second, 1, 16)[0][0], 1.0F);
}

TEST_F(Units_DefaultDevice, IsNotWaitedForAnyMoreAfterAStop) {
    ASSERT_EQ(player.start(), 0);
    first->remove();
    settle();
    EXPECT_EQ(AudioOutputUnitStop(player.unit), 0);
    EXPECT_THAT(isRunning(player.unit), Optional(0U));
    const auto second = defaultDevice("second");
    settle();
    EXPECT_FALSE(second->step(16));
}

TEST_F(Units_DefaultDevice, IsNotWaitedForByAUnitThatIsUninitialised) {
    ASSERT_EQ(player.start(), 0);
    first->remove();
    settle();
    EXPECT_EQ(AudioUnitUninitialize(player.unit), 0);
    const auto second = defaultDevice("second");
    settle();
    EXPECT_FALSE(second->step(16));
    ASSERT_EQ(player.start(), 0);
    EXPECT_TRUE(second->step(16));
}

TEST_F(Units_DefaultDevice, ThatCannotBeStartedEndsTheRun) {
    ASSERT_EQ(player.start(), 0);
    settle();
    RunningLog log(player.unit);
    first->remove();
    settle();
    auto options = steppedOptions("second");
    const auto second = BRAQSoftwareDevice::deviceWithOptions(options);
    second->failStarts(1, kAudioHardwareUnspecifiedError);
    second->makeDefaultPlaybackDevice();
    EXPECT_THAT(log.values(), ElementsAre(0U));
}

TEST_F(Units_DefaultDevice, ThatIsGoneEndsTheRunOfAUnitThatWasGivenIt) {
    Player given(first->deviceID(), planar(48000.0, 1), playNothing);
    ASSERT_EQ(given.start(), 0);
    settle();
    RunningLog log(given.unit);
    first->remove();
    const auto second = defaultDevice("second");
    EXPECT_THAT(log.values(), ElementsAre(0U));
    EXPECT_FALSE(second->step(16));
}

TEST_F(Units_DefaultDevice, IsRecordedFromLikewise) {
    UInt64 captured = 0;
    Recorder recorder(kAudioObjectUnknown, planar(48000.0, 1),
                      [&](const AudioTimeStamp&, UInt32 frames, AudioBufferList*) {
                          captured += frames;
                          return 0;
                      });
    ASSERT_EQ(recorder.start(), 0);
    first->step(64);
    first->remove();
    settle();
    const auto second = defaultDevice("second");
    settle();
    second->step(64);
    EXPECT_EQ(captured, 128U);
}

} // namespace
