#include "tests/platform/units/RunningHelpers.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>

namespace {

using namespace braq::tests;
using testing::Each;

/// A stepped device that another thread steps, with all that it has played.
class SteppedAside {
  public:
    explicit SteppedAside(BRAQSoftwareDevice& device)
        : mThread([this, &device] {
              std::vector<Float32> left(64);
              std::vector<Float32> right(64);
              Float32* const planes[]{left.data(), right.data()};
              while (!mIsDone) {
                  if (device.step(64, nullptr, planes)) {
                      mPlayed.insert(mPlayed.end(), left.begin(), left.end());
                  }
                  std::this_thread::yield();
              }
          }) {}
    ~SteppedAside() { join(); }
    SteppedAside(const SteppedAside&) = delete;
    SteppedAside& operator=(const SteppedAside&) = delete;
    const std::vector<Float32>& join() {
        mIsDone = true;
        if (mThread.joinable()) {
            mThread.join();
        }
        return mPlayed;
    }

  private:
    std::atomic<bool> mIsDone{false};
    std::vector<Float32> mPlayed; // the thread, until it is joined
    std::thread mThread;
};

/// How long the sound of a constant 1 was: the frames above a half.
std::size_t heardFrames(const std::vector<Float32>& played) {
    return static_cast<std::size_t>(std::ranges::count_if(played, [](Float32 sample) { return sample > 0.5F; }));
}

TEST(Units_Stopping, RendersWhatTheDeviceConverterHolds) {
    for (const Float64 rate : {44100.0, 96000.0, 8000.0}) {
        const auto device = steppedDevice("device");
        std::atomic<bool> stopBegan{false};
        std::promise<void> isPlaying;
        Tape tape([](UInt32, UInt64) { return 1.0F; });
        int callsAfterStop = 0;
        Player player(device->deviceID(), planar(rate, 2),
                      [&](const AudioTimeStamp&, UInt32 frames, AudioBufferList* list) {
                          tape(frames, list);
                          callsAfterStop += stopBegan ? 1 : 0;
                          if (tape.delivered > 5000 && tape.delivered - frames <= 5000) {
                              isPlaying.set_value();
                          }
                          return 0;
                      });
        ASSERT_EQ(AudioUnitInitialize(player.unit), 0);
        SteppedAside stepped(*device);
        ASSERT_EQ(AudioOutputUnitStart(player.unit), 0);
        isPlaying.get_future().wait();
        EXPECT_EQ(AudioOutputUnitStop(player.unit), 0);
        stopBegan = true;
        const double expected = static_cast<double>(tape.delivered) * 48000.0 / rate;
        // On its way to the silence behind it the last frame is below half its height for half its length.
        const double halfAFrame = 48000.0 / rate / 2;
        EXPECT_NEAR(static_cast<double>(heardFrames(stepped.join())), expected, std::max(2.0, halfAFrame)) << rate;
        EXPECT_EQ(callsAfterStop, 0);
    }
}

TEST(Units_Stopping, RendersWhatAVarispeedHolds) {
    struct Case {
        Float32 speed;
        Float64 clientRate;
        UInt32 keepsPitch = 0;
    };
    for (const auto& [speed, clientRate, keepsPitch] :
         {Case{1.25F, 48000.0}, Case{1.25F, 44100.0}, Case{0.5F, 48000.0}, Case{1.25F, 48000.0, 1},
          Case{1.25F, 44100.0, 1}, Case{0.5F, 48000.0, 1}, Case{1.0F, 48000.0, 1}}) {
        const auto device = steppedDevice("device");
        std::promise<void> isPlaying;
        Tape tape([](UInt32, UInt64) { return 1.0F; });
        Callback callback([&](const AudioTimeStamp&, UInt32 frames, AudioBufferList* list) {
            tape(frames, list);
            if (tape.delivered > 5000 && tape.delivered - frames <= 5000) {
                isPlaying.set_value();
            }
            return 0;
        });
        AUGraph graph = nullptr;
        NewAUGraph(&graph);
        AUNode varispeedNode = 0;
        AUNode outputNode = 0;
        AUGraphAddNode(graph, &varispeedDescription, &varispeedNode);
        AUGraphAddNode(graph, &deviceDescription, &outputNode);
        AUGraphConnectNodeInput(graph, varispeedNode, 0, outputNode, 0);
        AUGraphOpen(graph);
        AudioUnit varispeed = nullptr;
        AudioUnit unit = nullptr;
        AUGraphNodeInfo(graph, varispeedNode, nullptr, &varispeed);
        AUGraphNodeInfo(graph, outputNode, nullptr, &unit);
        setUnit(unit, kAudioOutputUnitProperty_CurrentDevice, global, 0, device->deviceID());
        setUnit(unit, kAudioUnitProperty_StreamFormat, input, 0, planar(clientRate, 2));
        setUnit(varispeed, kAudioUnitProperty_StreamFormat, input, 0, planar(clientRate, 2));
        setUnit(varispeed, kAudioUnitProperty_StreamFormat, output, 0, planar(clientRate, 2));
        setUnit(varispeed, kAudioUnitProperty_SetRenderCallback, input, 0, callback.get());
        AudioUnitSetParameter(varispeed, kVarispeedParam_PlaybackRate, global, 0, speed, 0);
        EXPECT_EQ(setUnit(varispeed, kBRAQVarispeedProperty_KeepsPitch, global, 0, keepsPitch), 0);
        ASSERT_EQ(AUGraphInitialize(graph), 0);
        SteppedAside stepped(*device);
        ASSERT_EQ(AUGraphStart(graph), 0);
        isPlaying.get_future().wait();
        EXPECT_EQ(AUGraphStop(graph), 0);
        const UInt64 delivered = tape.delivered;
        const double expected = static_cast<double>(delivered) * 48000.0 / clientRate / static_cast<double>(speed);
        const auto heard = static_cast<double>(heardFrames(stepped.join()));
        EXPECT_NEAR(heard, expected, 2.0) << speed << ", " << clientRate << ", " << keepsPitch;
        EXPECT_EQ(tape.delivered, delivered);
        EXPECT_EQ(DisposeAUGraph(graph), 0);
    }
}

TEST(Units_Stopping, ReturnsThoughTheDeviceStandsStill) {
    const auto device = steppedDevice("device");
    Player player(device->deviceID(), planar(44100.0, 2), playNothing);
    ASSERT_EQ(player.start(), 0);
    device->step(512);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(AudioOutputUnitStop(player.unit), 0);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - before;
    EXPECT_GE(took.count(), 0.1) << "it has waited for frames that it held";
    EXPECT_LT(took.count(), 5.0);
    EXPECT_FALSE(device->step(16));
}

TEST(Units_Stopping, WaitsForNothingAtEqualRates) {
    const auto device = steppedDevice("device");
    Player player(device->deviceID(), planar(48000.0, 2), playNothing);
    AudioUnitInitialize(player.unit);
    // The best of some, as other programs run too; waiting for a device that stands still takes 0.1 s at least.
    std::chrono::duration<double> best{1.0};
    for (int round = 0; round < 5; ++round) {
        AudioOutputUnitStart(player.unit);
        device->step(512);
        const auto before = std::chrono::steady_clock::now();
        EXPECT_EQ(AudioOutputUnitStop(player.unit), 0);
        best = std::min<std::chrono::duration<double>>(best, std::chrono::steady_clock::now() - before);
    }
    EXPECT_LT(best.count(), 0.05);
}

TEST(Units_Stopping, IsFollowedByAFreshBeginning) {
    const auto device = steppedDevice("device");
    Tape tape([](UInt32, UInt64) { return 1.0F; });
    Player player(device->deviceID(), planar(44100.0, 2), tape.body());
    ASSERT_EQ(player.start(), 0);
    stepPlaying(*device, 2, 2000);
    AudioOutputUnitStop(player.unit);
    Tape silent([](UInt32, UInt64) { return 0.0F; });
    AudioUnitUninitialize(player.unit);
    Callback callback(silent.body());
    setUnit(player.unit, kAudioUnitProperty_SetRenderCallback, input, 0, callback.get());
    ASSERT_EQ(player.start(), 0);
    EXPECT_THAT(stepPlaying(*device, 2, 2000)[0], Each(0.0F)) << "nothing of the sound before";
}

} // namespace
