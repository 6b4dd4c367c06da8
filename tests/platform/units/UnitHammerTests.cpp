#include "tests/platform/units/UnitHelpers.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>

namespace {

using namespace braq::tests;

/// Does something again and again on a thread of its own.
class Again {
  public:
    explicit Again(std::function<void(int round)> what)
        : mThread([this, what = std::move(what)] {
              for (int round = 0; !mIsDone; ++round) {
                  what(round);
                  std::this_thread::yield();
              }
          }) {}
    ~Again() {
        mIsDone = true;
        mThread.join();
    }
    Again(const Again&) = delete;
    Again& operator=(const Again&) = delete;

  private:
    std::atomic<bool> mIsDone{false};
    std::thread mThread;
};

TEST(Units_Hammer, TheVolumeChangesWhileTheDeviceRuns) {
    const auto device = steppedDevice("device");
    Player player(device->deviceID(), planar(48000.0, 2),
                  [](const AudioTimeStamp&, UInt32 frames, AudioBufferList* list) {
                      std::fill_n(plane(list, 0), frames, 1.0F);
                      return 0;
                  });
    ASSERT_EQ(player.start(), 0);
    const Again changes([&](int round) {
        EXPECT_EQ(
            AudioUnitSetParameter(player.unit, kHALOutputParam_Volume, global, 0, round % 2 == 0 ? 0.0F : 1.0F, 0), 0);
        Float32 volume = 9.0F;
        EXPECT_EQ(AudioUnitGetParameter(player.unit, kHALOutputParam_Volume, global, 0, &volume), 0);
        EXPECT_TRUE(volume == 0.0F || volume == 1.0F);
    });
    const auto heard = stepPlaying(*device, 2, 200'000, 100)[0];
    for (std::size_t frame = 1; frame < heard.size(); ++frame) {
        ASSERT_LT(std::abs(heard[frame] - heard[frame - 1]), 0.01F) << "no step, whenever it changes";
    }
}

TEST(Units_Hammer, AGraphGlidesWhileTheDeviceRunsAndIsStartedAndStopped) {
    const auto device = steppedDevice("device");
    device->makeDefaultPlaybackDevice();
    Tape tape([](UInt32, UInt64) { return 0.5F; });
    Callback callback(tape.body());
    AUGraph graph = nullptr;
    ASSERT_EQ(NewAUGraph(&graph), 0);
    AUNode outputNode = 0;
    AUNode varispeedNode = 0;
    AUGraphAddNode(graph, &deviceDescription, &outputNode);
    AUGraphAddNode(graph, &varispeedDescription, &varispeedNode);
    AUGraphConnectNodeInput(graph, varispeedNode, 0, outputNode, 0);
    AUGraphOpen(graph);
    AudioUnit varispeed = nullptr;
    AUGraphNodeInfo(graph, varispeedNode, nullptr, &varispeed);
    setUnit(varispeed, kAudioUnitProperty_SetRenderCallback, input, 0, callback.get());
    {
        const Again steps([&](int) { device->step(300); });
        const Again changes([&](int round) {
            EXPECT_EQ(AudioUnitSetParameter(varispeed, kVarispeedParam_PlaybackRate, global, 0,
                                            0.5F + static_cast<Float32>(round % 16) / 8.0F, 0),
                      0);
        });
        const Again reads([&](int) {
            AUNode unknown = 99;
            AudioUnit unit = nullptr;
            EXPECT_EQ(AUGraphNodeInfo(graph, unknown, nullptr, &unit), kAUGraphErr_NodeNotFound);
            EXPECT_EQ(AUGraphNodeInfo(graph, outputNode, nullptr, &unit), 0);
            EXPECT_TRUE(getUnit<UInt32>(unit, kAudioOutputUnitProperty_IsRunning));
            EXPECT_TRUE(getUnit<OSStatus>(varispeed, kAudioUnitProperty_LastRenderError));
        });
        for (int round = 0; round < 30; ++round) {
            EXPECT_EQ(AUGraphInitialize(graph), 0);
            EXPECT_EQ(AUGraphStart(graph), 0);
            std::this_thread::yield();
            if (round % 3 != 0) {
                EXPECT_EQ(AUGraphStop(graph), 0);
            }
            if (round % 2 == 0) {
                EXPECT_EQ(AUGraphUninitialize(graph), 0);
            }
        }
    }
    EXPECT_EQ(DisposeAUGraph(graph), 0);
}

TEST(Units_Hammer, UnitsComeAndGoOnManyThreads) {
    const auto device = steppedDevice("device");
    std::atomic<AudioUnit> shared{nullptr};
    const Again steps([&](int) { device->step(64); });
    const Again uses([&](int) {
        const AudioUnit unit = shared;
        const OSStatus status = AudioUnitInitialize(unit);
        EXPECT_TRUE(status == 0 || status == kAudio_ParamError) << status;
        AudioOutputUnitStart(unit);
        AudioUnitSetParameter(unit, kHALOutputParam_Volume, global, 0, 0.5F, 0);
    });
    for (int round = 0; round < 60; ++round) {
        AudioUnit unit = nullptr;
        ASSERT_EQ(AudioComponentInstanceNew(AudioComponentFindNext(nullptr, &deviceDescription), &unit), 0);
        EXPECT_EQ(setUnit(unit, kAudioOutputUnitProperty_CurrentDevice, global, 0, device->deviceID()), 0);
        shared = unit;
        AudioUnitInitialize(unit);
        AudioOutputUnitStart(unit);
        EXPECT_EQ(AudioComponentInstanceDispose(unit), 0);
        EXPECT_EQ(AudioUnitInitialize(unit), kAudio_ParamError);
    }
}

TEST(Units_Hammer, UnitsGoWhileAnIOThreadSetsTheirParameters) {
    const auto device = steppedDevice("device");
    std::atomic<AudioUnit> shared{nullptr};
    std::atomic<int> strangeStatuses{0};
    Player player(device->deviceID(), planar(48000.0, 2), [&](const AudioTimeStamp&, UInt32, AudioBufferList*) {
        Float32 volume = 0.0F;
        const OSStatus set = AudioUnitSetParameter(shared, kHALOutputParam_Volume, global, 0, 0.5F, 0);
        const OSStatus get = AudioUnitGetParameter(shared, kHALOutputParam_Volume, global, 0, &volume);
        strangeStatuses += (set != 0 && set != kAudio_ParamError) || (get != 0 && get != kAudio_ParamError) ? 1 : 0;
        return 0;
    });
    ASSERT_EQ(player.start(), 0);
    const Again steps([&](int) { device->step(16); });
    for (int round = 0; round < 300; ++round) {
        AudioUnit unit = nullptr;
        ASSERT_EQ(AudioComponentInstanceNew(AudioComponentFindNext(nullptr, &deviceDescription), &unit), 0);
        shared = unit;
        EXPECT_EQ(AudioComponentInstanceDispose(unit), 0);
    }
    EXPECT_EQ(strangeStatuses, 0);
}

TEST(Units_Hammer, ReferencesOfManyUnitsDiffer) {
    std::vector<AudioUnit> units(1000);
    for (AudioUnit& unit : units) {
        ASSERT_EQ(AudioComponentInstanceNew(AudioComponentFindNext(nullptr, &varispeedDescription), &unit), 0);
    }
    auto sorted = units;
    std::ranges::sort(sorted);
    EXPECT_EQ(std::ranges::adjacent_find(sorted), sorted.end());
    for (const AudioUnit unit : units) {
        EXPECT_EQ(AudioComponentInstanceDispose(unit), 0);
        EXPECT_EQ(AudioUnitInitialize(unit), kAudio_ParamError);
    }
}

} // namespace
