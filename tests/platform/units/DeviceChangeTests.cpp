#include "tests/platform/units/FakeDevice.h"
#include "tests/platform/units/RunningHelpers.h"
#include "tests/support/LargestStep.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cmath>
#include <numbers>

namespace {

using namespace braq::tests;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

TEST(Units_DeviceChanges, AreFollowedInRate) {
    const auto device = steppedDevice("device");
    Tape tape([](UInt32, UInt64 frame) { return frame % 2 == 0 ? 1.0F : 0.5F; });
    Float64 next = 0.0;
    Player player(device->deviceID(), planar(48000.0, 2),
                  [&](const AudioTimeStamp& time, UInt32 frames, AudioBufferList* list) {
                      EXPECT_EQ(time.mSampleTime, next) << "time goes on";
                      next += frames;
                      return tape(frames, list);
                  });
    ASSERT_EQ(player.start(), 0);
    waitForNotifications();
    RunningLog log(player.unit);
    stepPlaying(*device, 2, 1000);
    EXPECT_EQ(tape.delivered, 1000U);
    device->changeSampleRate(96000.0);
    device->step(512); // at the new rate, to which the unit may not have come yet
    waitForNotifications();
    const UInt64 before = tape.delivered;
    const auto heard = stepPlaying(*device, 2, 48000)[0];
    EXPECT_NEAR(static_cast<double>(tape.delivered - before), 24000.0, 600.0) << "half as many frames";
    EXPECT_NEAR(heard.back(), 0.75F, 0.3F);
    device->changeSampleRate(48000.0);
    device->step(512);
    waitForNotifications();
    const UInt64 untouchedFrom = tape.delivered;
    const auto again = stepPlaying(*device, 2, 1000)[0];
    const UInt64 held = 1000 - (tape.delivered - untouchedFrom);
    EXPECT_LT(held, 500U) << "what the converter had pulled before";
    EXPECT_EQ(again.front(), (untouchedFrom - held) % 2 == 0 ? 1.0F : 0.5F);
    EXPECT_NE(again[1], again[0]) << "untouched at once";
    EXPECT_THAT(log.values(), IsEmpty()) << "it runs all the time";
}

TEST(Units_DeviceChanges, LoseNoFrameAndPlayNoneTwice) {
    constexpr UInt32 frames = 3000;
    constexpr std::size_t blur = 64; // a converter begins as after silence
    const auto device = steppedDevice("device");
    Tape tape([](UInt32, UInt64 frame) { return static_cast<float>(frame + 1); });
    Player player(device->deviceID(), planar(48000.0, 2), tape.body());
    ASSERT_EQ(player.start(), 0);
    float last = stepPlaying(*device, 2, frames)[0].back();
    EXPECT_EQ(last, static_cast<float>(frames));
    for (const Float64 rate : {44100.0, 96000.0, 48000.0, 44100.0}) {
        device->changeSampleRate(rate);
        auto heard = stepPlaying(*device, 2, 512)[0]; // at the new rate, to which the unit may not have come yet
        waitForNotifications();
        std::erase(heard, 0.0F);
        const auto more = stepPlaying(*device, 2, frames)[0];
        heard.insert(heard.end(), more.begin(), more.end());
        const Float64 ratio = 48000.0 / rate;
        EXPECT_NEAR(heard[blur], static_cast<Float64>(last) + ratio * blur, 2.0) << rate;
        last = heard.back();
        EXPECT_NEAR(last, static_cast<Float64>(heard[blur]) + ratio * static_cast<Float64>(heard.size() - 1 - blur),
                    1.0)
            << rate;
    }
}

TEST(Units_DeviceChanges, AreFollowedInRateByCapture) {
    const auto device = steppedDevice("device");
    UInt64 frames = 0;
    Recorder recorder(device->deviceID(), planar(48000.0, 2),
                      [&](const AudioTimeStamp& time, UInt32 count, AudioBufferList*) {
                          EXPECT_EQ(time.mSampleTime, static_cast<Float64>(frames)) << "time goes on";
                          EXPECT_LE(count, 512U);
                          frames += count;
                          return 0;
                      });
    ASSERT_EQ(recorder.start(), 0);
    stepRecording(*device, Channels(2, 1000), 2, 1000);
    EXPECT_EQ(frames, 1000U);
    device->changeSampleRate(96000.0);
    device->step(512);
    waitForNotifications();
    const UInt64 before = frames;
    stepRecording(*device, Channels(2, 48000), 2, 48000);
    EXPECT_NEAR(static_cast<double>(frames - before), 24000.0, 3000.0);
}

// A tone that goes on in time, whatever the rate at which it is captured.
TEST(Units_DeviceChanges, LoseNoCapturedFrameAndMakeNoStep) {
    constexpr Float64 client = 44100.0;
    constexpr double pitch = 997.0;
    const auto toneAt = [](double seconds) {
        return static_cast<Float32>(std::sin(2.0 * std::numbers::pi * pitch * seconds));
    };
    auto options = steppedOptions("device");
    options.sampleRate = 48000.0;
    options.sampleRates = {8000.0, 44100.0, 48000.0, 96000.0, 192000.0};
    const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
    std::vector<Float32> heard;
    Recorder recorder(device->deviceID(), planar(client, 1),
                      [&](const AudioTimeStamp& time, UInt32 frames, AudioBufferList*) {
                          EXPECT_EQ(time.mSampleTime, static_cast<Float64>(heard.size())) << "time goes on";
                          heard.resize(heard.size() + frames);
                          AudioBufferList list{1, {{1, 0, heard.data() + heard.size() - frames}}};
                          return AudioUnitRender(recorder.unit, nullptr, &time, recordElement, frames, &list);
                      });
    ASSERT_EQ(recorder.start(), 0);
    double seconds = 0.0;
    for (const Float64 rate : {48000.0, 96000.0, 44100.0, 192000.0, 48000.0, 8000.0, 44100.0}) {
        device->changeSampleRate(rate);
        waitForNotifications();
        const auto frames = static_cast<UInt32>(rate / 2.0);
        Channels recorded(2, frames);
        for (UInt32 frame = 0; frame < frames; ++frame) {
            recorded[0][frame] = toneAt(seconds + frame / rate);
        }
        stepRecording(*device, recorded, 2, frames, 500);
        seconds += frames / rate;
    }
    EXPECT_NEAR(static_cast<double>(heard.size()), seconds * client, 1.0) << "the last rate holds none";
    EXPECT_LE(largestStep(heard, pitch, client), 1.1);
    double worst = 0.0;
    for (std::size_t frame = 1000; frame < heard.size(); ++frame) {
        worst = std::max(worst, std::fabs(static_cast<double>(heard[frame]) -
                                          static_cast<double>(toneAt(static_cast<double>(frame) / client))));
    }
    RecordProperty("largestDifference", std::to_string(worst));
    EXPECT_LE(worst, 2.0 * std::numbers::pi * pitch / client) << "of the tone at that time, by no more than a frame";
}

TEST(Units_DeviceChanges, AreFollowedInChannels) {
    FakeDevice device("device", 2, 0);
    Tape tape([](UInt32 channel, UInt64) { return channel == 0 ? 1.0F : 0.5F; });
    Player player(device.deviceID(), planar(48000.0, 2), tape.body());
    ASSERT_EQ(player.start(), 0);
    EXPECT_THAT(device.cycle(64)[1], Each(0.5F));
    device.setChannels(4, 0);
    device.cycle(64); // has more channels than the unit knows of
    device.publish();
    waitForNotifications();
    const Channels wide = device.cycle(64);
    EXPECT_THAT(wide[0], Each(1.0F));
    EXPECT_THAT(wide[1], Each(0.5F));
    EXPECT_THAT(wide[2], Each(0.0F));
    device.setChannels(1, 0);
    EXPECT_THAT(device.cycle(64)[0], Each(0.0F)) << "fewer than it knows of";
    device.publish();
    waitForNotifications();
    const Channels mono = device.cycle(64);
    EXPECT_NEAR(mono[0][5], 0.75F, 1e-6);
}

TEST(Units_DeviceChanges, EndItWhenTheChannelsThatItNeedsAreGone) {
    FakeDevice device("device", 2, 2);
    Tape tape(numbered);
    Player player(device.deviceID(), planar(48000.0, 2), tape.body());
    ASSERT_EQ(player.start(), 0);
    waitForNotifications();
    RunningLog log(player.unit);
    device.setChannels(0, 2);
    device.publish();
    EXPECT_THAT(log.values(), ElementsAre(0U));
    EXPECT_THAT(isRunning(player.unit), Optional(0U));
    EXPECT_EQ(AudioOutputUnitStart(player.unit), kAudioUnitErr_FailedInitialization);
    EXPECT_EQ(AudioOutputUnitStop(player.unit), 0);
    device.setChannels(2, 2);
    device.publish();
    waitForNotifications();
    EXPECT_EQ(AudioOutputUnitStart(player.unit), 0) << "they are back";
    const UInt64 before = tape.delivered;
    EXPECT_EQ(device.cycle(64)[1].front(), numbered(1, before));
}

TEST(Units_DeviceChanges, OfTheBufferSizeLeaveTheSliceLimit) {
    FakeDevice device("device", 2, 2);
    Tape tape(numbered);
    std::vector<UInt32> slices;
    Player player(device.deviceID(), planar(48000.0, 2),
                  [&](const AudioTimeStamp&, UInt32 frames, AudioBufferList* list) {
                      slices.push_back(frames);
                      return tape(frames, list);
                  });
    ASSERT_EQ(player.start(), 0);
    device.cycle(512);
    device.description().bufferFrames = 1024;
    device.publish();
    waitForNotifications();
    device.cycle(1024);
    EXPECT_THAT(slices, ElementsAre(512U, 512U, 512U));
    EXPECT_THAT(getUnit<UInt32>(player.unit, kAudioDevicePropertyBufferFrameSize), Optional(512U));
}

TEST(Units_DeviceChanges, DoNotHoldUpStopping) {
    // The notification is held back: the unit does not know yet that its device has another rate.
    FakeDevice device("device", 2, 0);
    Player player(device.deviceID(), planar(44100.0, 2), playNothing);
    ASSERT_EQ(player.start(), 0);
    device.cycle(512);
    device.description().nominalRate = 96000.0;
    device.cycle(512);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(AudioOutputUnitStop(player.unit), 0);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - before;
    EXPECT_LT(took.count(), 0.05) << "what was held cannot be heard any more";
}

TEST(Units_DeviceChanges, WhileManyThreadsUseIt) {
    const auto device = steppedDevice("device");
    Tape tape(numbered);
    Player player(device->deviceID(), planar(44100.0, 2), tape.body());
    AudioUnitInitialize(player.unit);
    const Stepper stepper(*device);
    std::thread changes([&] {
        for (int round = 0; round < 50; ++round) {
            device->changeSampleRate(round % 2 == 0 ? 96000.0 : 48000.0);
            std::this_thread::yield();
        }
    });
    for (int round = 0; round < 25; ++round) {
        EXPECT_EQ(AudioOutputUnitStart(player.unit), 0);
        EXPECT_EQ(AudioOutputUnitStop(player.unit), 0);
    }
    changes.join();
    EXPECT_EQ(AudioOutputUnitStart(player.unit), 0);
    waitForNotifications();
    EXPECT_EQ(AudioUnitUninitialize(player.unit), 0);
}

TEST(Units_DeviceChanges, StopItWhenTheDeviceVanishesInTheMiddleOfACycle) {
    for (const Float64 rate : {48000.0, 44100.0}) {
        const auto device = steppedDevice("device");
        Tape tape(numbered);
        Player player(device->deviceID(), planar(rate, 2), tape.body());
        ASSERT_EQ(player.start(), 0);
        waitForNotifications();
        RunningLog log(player.unit);
        device->step(512);
        device->vanishAfterCycles(0);
        device->step(512);
        EXPECT_THAT(log.values(), ElementsAre(0U)) << "once";
        EXPECT_THAT(isRunning(player.unit), Optional(0U));
        EXPECT_NE(AudioOutputUnitStart(player.unit), 0);
        EXPECT_THAT(isRunning(player.unit), Optional(0U));
        EXPECT_EQ(AudioOutputUnitStop(player.unit), 0);
        EXPECT_EQ(AudioUnitUninitialize(player.unit), 0);
        EXPECT_EQ(AudioUnitInitialize(player.unit), kAudioUnitErr_FailedInitialization);
    }
}

TEST(Units_DeviceChanges, StopItWhenTheDeviceStopsByItselfUntilItIsStartedAgain) {
    FakeDevice device("device");
    Tape tape(numbered);
    Player player(device.deviceID(), planar(48000.0, 2), tape.body());
    ASSERT_EQ(player.start(), 0);
    waitForNotifications();
    RunningLog log(player.unit);
    device.cycle(512);
    EXPECT_EQ(tape.delivered, 512U);
    device.stopByItself();
    waitForNotifications();
    EXPECT_THAT(log.values(), ElementsAre(0U)) << "once";
    EXPECT_THAT(isRunning(player.unit), Optional(0U));
    EXPECT_FALSE(device.isRunning()) << "its driver was told to stop";
    EXPECT_EQ(AudioOutputUnitStart(player.unit), 0);
    EXPECT_THAT(isRunning(player.unit), Optional(1U));
    device.cycle(512);
    EXPECT_EQ(tape.delivered, 1024U);
    EXPECT_EQ(AudioOutputUnitStop(player.unit), 0);
    waitForNotifications();
    EXPECT_THAT(log.values(), ElementsAre(0U, 1U, 0U));
}

TEST(Units_DeviceChanges, DoNotStopItWhenADeviceThatIsStoppedSaysThatItHasStopped) {
    FakeDevice device("device");
    Player player(device.deviceID(), planar(48000.0, 2), playNothing);
    device.stopByItself();
    waitForNotifications();
    RunningLog log(player.unit);
    ASSERT_EQ(player.start(), 0);
    waitForNotifications();
    EXPECT_THAT(log.values(), ElementsAre(1U));
    EXPECT_TRUE(device.isRunning());
}

TEST(Units_DeviceChanges, LetItBeStoppedWhileTheDeviceVanishes) {
    for (int round = 0; round < 5; ++round) {
        const auto device = steppedDevice("device");
        Player player(device->deviceID(), planar(44100.0, 2), playNothing);
        ASSERT_EQ(player.start(), 0);
        device->step(512);
        std::thread vanishes([&] { device->remove(); });
        EXPECT_EQ(AudioOutputUnitStop(player.unit), 0);
        EXPECT_EQ(AudioUnitUninitialize(player.unit), 0);
        vanishes.join();
    }
}

} // namespace
