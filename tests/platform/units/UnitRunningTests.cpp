#include "tests/platform/units/RunningHelpers.h"

#include <gmock/gmock.h>

namespace {

using namespace braq::tests;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

TEST(Units_Running, StartsAndStopsInAnyOrderAndAnyNumberOfTimes) {
    const auto device = steppedDevice("device");
    Player player(device->deviceID(), planar(48000.0, 2), playNothing);
    EXPECT_EQ(AudioOutputUnitStart(player.unit), kAudioUnitErr_Uninitialized);
    EXPECT_EQ(AudioOutputUnitStop(player.unit), kAudioUnitErr_Uninitialized);
    EXPECT_EQ(AudioUnitUninitialize(player.unit), 0);
    EXPECT_EQ(AudioUnitInitialize(player.unit), 0);
    RunningLog log(player.unit);
    EXPECT_EQ(AudioOutputUnitStop(player.unit), 0) << "not running yet";
    EXPECT_THAT(isRunning(player.unit), Optional(0U));
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(AudioOutputUnitStart(player.unit), 0);
        EXPECT_EQ(AudioOutputUnitStart(player.unit), 0);
        EXPECT_THAT(isRunning(player.unit), Optional(1U));
        EXPECT_TRUE(device->step(16));
        EXPECT_EQ(AudioOutputUnitStop(player.unit), 0);
        EXPECT_EQ(AudioOutputUnitStop(player.unit), 0);
        EXPECT_THAT(isRunning(player.unit), Optional(0U));
        EXPECT_FALSE(device->step(16));
    }
    EXPECT_THAT(log.values(), ElementsAre(1U, 0U, 1U, 0U, 1U, 0U)) << "once a change, with the value of that change";
}

TEST(Units_Running, ReportsThatTheDeviceRefusesToStart) {
    const auto device = steppedDevice("device");
    Player player(device->deviceID(), planar(48000.0, 2), playNothing);
    AudioUnitInitialize(player.unit);
    RunningLog log(player.unit);
    device->failStarts(1, kAudioHardwareUnspecifiedError);
    EXPECT_EQ(AudioOutputUnitStart(player.unit), kAudioHardwareUnspecifiedError);
    EXPECT_THAT(isRunning(player.unit), Optional(0U));
    EXPECT_THAT(log.values(), IsEmpty());
    EXPECT_EQ(AudioOutputUnitStart(player.unit), 0);
    EXPECT_THAT(log.values(), ElementsAre(1U));
}

TEST(Units_Running, NotifiesOnTheNotificationThread) {
    const auto device = steppedDevice("device");
    Player player(device->deviceID(), planar(48000.0, 2), playNothing);
    AudioUnitInitialize(player.unit);
    std::promise<std::thread::id> notificationThread;
    braq::Hardware::instance().notifications().run([&] { notificationThread.set_value(std::this_thread::get_id()); });
    RunningLog log(player.unit);
    std::vector<std::thread::id> threads;
    log.onChange = [&](UInt32) { threads.push_back(std::this_thread::get_id()); };
    AudioOutputUnitStart(player.unit);
    AudioOutputUnitStop(player.unit);
    EXPECT_THAT(log.values(), ElementsAre(1U, 0U));
    EXPECT_THAT(threads, Each(notificationThread.get_future().get()));
}

TEST(Units_Running, CallsAListenerThatIsAddedTwiceOnceAndOneThatIsRemovedNoMore) {
    const auto device = steppedDevice("device");
    Player player(device->deviceID(), planar(48000.0, 2), playNothing);
    AudioUnitInitialize(player.unit);
    RunningLog log(player.unit);
    log.addAgain();
    AudioOutputUnitStart(player.unit);
    EXPECT_THAT(log.values(), ElementsAre(1U));
    EXPECT_EQ(log.remove(), 0);
    EXPECT_EQ(log.remove(), 0) << "idempotent";
    AudioOutputUnitStop(player.unit);
    EXPECT_THAT(log.values(), ElementsAre(1U));
    log.addAgain();
    AudioOutputUnitStart(player.unit);
    EXPECT_THAT(log.values(), ElementsAre(1U, 1U));
    EXPECT_EQ(AudioUnitAddPropertyListener(player.unit, kAudioOutputUnitProperty_IsRunning, nullptr, nullptr),
              kAudio_ParamError);
}

TEST(Units_Running, CallsNoListenerAfterUninitialising) {
    const auto device = steppedDevice("device");
    Player player(device->deviceID(), planar(48000.0, 2), playNothing);
    RunningLog log(player.unit);
    for (int round = 0; round < 20; ++round) {
        AudioUnitInitialize(player.unit);
        std::atomic<bool> isInside{false};
        std::atomic<int> calls{0};
        log.onChange = [&](UInt32) {
            isInside = true;
            ++calls;
            std::this_thread::yield();
            isInside = false;
        };
        AudioOutputUnitStart(player.unit);
        AudioOutputUnitStop(player.unit);
        AudioUnitUninitialize(player.unit);
        EXPECT_FALSE(isInside);
        const int before = calls;
        waitForNotifications();
        EXPECT_EQ(calls, before);
        log.onChange = nullptr;
    }
}

TEST(Units_Running, IsUninitialisedInsideAListener) {
    const auto device = steppedDevice("device");
    Player player(device->deviceID(), planar(48000.0, 2), playNothing);
    AudioUnitInitialize(player.unit);
    RunningLog log(player.unit);
    OSStatus status = -1;
    log.onChange = [&](UInt32) { status = AudioUnitUninitialize(player.unit); };
    AudioOutputUnitStart(player.unit);
    EXPECT_THAT(log.values(), ElementsAre(1U)) << "and is not told that this has stopped it";
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(device->step(16));
    EXPECT_EQ(AudioOutputUnitStart(player.unit), kAudioUnitErr_Uninitialized);
}

TEST(Units_Running, StopsAndStartsInsideAListener) {
    const auto device = steppedDevice("device");
    Player player(device->deviceID(), planar(48000.0, 2), playNothing);
    AudioUnitInitialize(player.unit);
    RunningLog log(player.unit);
    int left = 3;
    log.onChange = [&](UInt32 value) {
        if (left-- > 0) {
            EXPECT_EQ(value == 1 ? AudioOutputUnitStop(player.unit) : AudioOutputUnitStart(player.unit), 0);
        }
    };
    AudioOutputUnitStart(player.unit);
    for (int changes = 0; changes < 4; ++changes) {
        waitForNotifications();
    }
    EXPECT_THAT(log.values(), ElementsAre(1U, 0U, 1U, 0U));
}

TEST(Units_Running, IsDisposedOfInsideAListener) {
    const auto device = steppedDevice("device");
    AudioUnit unit = nullptr;
    AudioComponentInstanceNew(AudioComponentFindNext(nullptr, &deviceDescription), &unit);
    setUnit(unit, kAudioOutputUnitProperty_CurrentDevice, global, 0, device->deviceID());
    AudioUnitInitialize(unit);
    RunningLog log(unit);
    OSStatus status = -1;
    log.onChange = [&](UInt32) { status = AudioComponentInstanceDispose(unit); };
    AudioOutputUnitStart(unit);
    EXPECT_THAT(log.values(), ElementsAre(1U));
    EXPECT_EQ(status, 0);
    EXPECT_EQ(AudioUnitInitialize(unit), kAudio_ParamError);
    EXPECT_FALSE(device->step(16));
}

TEST(Units_Running, TakesStartsAndStopsFromManyThreadsWhileTheDeviceRuns) {
    const auto device = steppedDevice("device");
    Tape tape(numbered);
    Player player(device->deviceID(), planar(44100.0, 2), tape.body());
    Player keepsItRunning(device->deviceID(), planar(48000.0, 2), playNothing);
    keepsItRunning.start();
    AudioUnitInitialize(player.unit);
    RunningLog log(player.unit);
    {
        const Stepper stepper(*device);
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 3; ++thread) {
            threads.emplace_back([&, thread] {
                for (int round = 0; round < 100; ++round) {
                    EXPECT_EQ((round + thread) % 2 == 0 ? AudioOutputUnitStart(player.unit)
                                                        : AudioOutputUnitStop(player.unit),
                              0);
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        AudioOutputUnitStop(player.unit);
    }
    const auto values = log.values();
    for (std::size_t change = 0; change < values.size(); ++change) {
        ASSERT_EQ(values[change], change % 2 == 0 ? 1U : 0U) << "changes alternate";
    }
    EXPECT_EQ(values.size() % 2, 0U);
}

TEST(Units_Running, TakesEverythingFromManyThreadsWhileTheDeviceRuns) {
    const auto device = steppedDevice("device");
    Tape tape(numbered);
    Player player(device->deviceID(), planar(48000.0, 2), tape.body());
    Player keepsItRunning(device->deviceID(), planar(48000.0, 2), playNothing);
    keepsItRunning.start();
    std::atomic<int> calls{0};
    const Stepper stepper(*device);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([&, thread] {
            for (int round = 0; round < 60; ++round) {
                RunningLog log(player.unit);
                switch ((round + thread) % 5) {
                case 0: EXPECT_EQ(AudioUnitInitialize(player.unit), 0); break;
                case 1:
                case 2: AudioOutputUnitStart(player.unit); break;
                case 3: AudioOutputUnitStop(player.unit); break;
                default: EXPECT_EQ(AudioUnitUninitialize(player.unit), 0);
                }
                AudioUnitSetParameter(player.unit, kHALOutputParam_Volume, global, 0,
                                      static_cast<Float32>(round) / 60.0F, 0);
                ++calls;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(calls, 180);
    EXPECT_EQ(AudioUnitInitialize(player.unit), 0);
    EXPECT_EQ(AudioOutputUnitStart(player.unit), 0);
    EXPECT_THAT(isRunning(player.unit), Optional(1U));
}

TEST(Units_Running, CallsNoCallbackAfterItHasStopped) {
    const auto device = steppedDevice("device");
    std::atomic<bool> mayCall{false};
    std::atomic<int> wrongCalls{0};
    Player player(device->deviceID(), planar(48000.0, 2), [&](const AudioTimeStamp&, UInt32, AudioBufferList*) {
        wrongCalls += mayCall ? 0 : 1;
        std::this_thread::yield();
        wrongCalls += mayCall ? 0 : 1;
        return 0;
    });
    Player keepsItRunning(device->deviceID(), planar(48000.0, 2), playNothing);
    keepsItRunning.start();
    const Stepper stepper(*device);
    for (int round = 0; round < 100; ++round) {
        AudioUnitInitialize(player.unit);
        mayCall = true;
        AudioOutputUnitStart(player.unit);
        if (round % 2 == 0) {
            AudioOutputUnitStop(player.unit);
        } else {
            AudioUnitUninitialize(player.unit);
        }
        mayCall = false;
    }
    EXPECT_EQ(wrongCalls, 0);
}

} // namespace
