#include "tests/platform/units/UnitHelpers.h"

#include <gmock/gmock.h>

namespace {

using namespace braq::tests;
using testing::Each;
using testing::ElementsAre;

TEST(Units_PlaybackSlices, PullsSlicesWithinTheLimit) {
    for (const UInt32 limit : {1U, 100U, 512U, 3000U}) {
        const auto device = steppedDevice("device");
        Tape tape(numbered);
        std::vector<UInt32> slices;
        Player player(device->deviceID(), planar(48000.0, 2),
                      [&](const AudioTimeStamp&, UInt32 frames, AudioBufferList* list) {
                          slices.push_back(frames);
                          return tape(frames, list);
                      });
        setUnit(player.unit, kAudioUnitProperty_MaximumFramesPerSlice, global, 0, limit);
        ASSERT_EQ(player.start(), 0);
        const Channels played = stepPlaying(*device, 2, 2000, 2000);
        EXPECT_THAT(slices, Each(testing::Le(limit)));
        EXPECT_EQ(slices.size(), (2000 + limit - 1) / limit);
        for (std::size_t frame = 0; frame < 2000; ++frame) {
            ASSERT_EQ(played[1][frame], numbered(1, frame)) << "limit " << limit << ", frame " << frame;
        }
    }
}

TEST(Units_PlaybackSlices, GivesContinuousTimesFromZero) {
    for (const Float64 rate : {48000.0, 44100.0, 96000.0}) {
        const auto device = steppedDevice("device");
        Float64 next = 0.0;
        UInt64 lastHostTime = 0;
        Player player(device->deviceID(), planar(rate, 2),
                      [&](const AudioTimeStamp& time, UInt32 frames, AudioBufferList*) {
                          EXPECT_EQ(time.mSampleTime, next);
                          EXPECT_EQ(time.mFlags & 3U, 3U) << "sample and host time";
                          EXPECT_GE(time.mHostTime, lastHostTime);
                          EXPECT_GE(time.mHostTime, device->hostTimeOfStep());
                          lastHostTime = time.mHostTime;
                          next += frames;
                          return 0;
                      });
        // Other slices than the device's, and not from its start.
        TestUnit keepsItRunning;
        setUnit(keepsItRunning, kAudioOutputUnitProperty_CurrentDevice, global, 0, device->deviceID());
        AudioUnitInitialize(keepsItRunning);
        AudioOutputUnitStart(keepsItRunning);
        device->step(777);
        ASSERT_EQ(player.start(), 0);
        for (const UInt32 frames : {512U, 1U, 1500U, 100U}) {
            device->step(frames);
        }
        EXPECT_GE(next, 2113.0 * rate / 48000.0);
        AudioOutputUnitStop(player.unit);
        next = 0.0;
        lastHostTime = 0; // what was pulled ahead would have been heard after the next start
        AudioOutputUnitStart(player.unit);
        device->step(512);
        EXPECT_GT(next, 0.0) << "from zero again";
    }
}

TEST(Units_PlaybackSlices, GivesTheHostTimeOfEachSlice) {
    const auto device = steppedDevice("device");
    std::vector<UInt64> times;
    Player player(device->deviceID(), planar(48000.0, 2), [&](const AudioTimeStamp& time, UInt32, AudioBufferList*) {
        times.push_back(time.mHostTime - device->hostTimeOfStep());
        return 0;
    });
    setUnit(player.unit, kAudioUnitProperty_MaximumFramesPerSlice, global, 0, UInt32{480});
    ASSERT_EQ(player.start(), 0);
    device->step(960);
    device->step(480);
    EXPECT_THAT(times, ElementsAre(0U, 10'000'000U, 0U));
}

TEST(Units_PlaybackSlices, PullsFromAUnitWithinItsLimit) {
    const auto device = steppedDevice("device");
    Tape tape(numbered);
    std::vector<std::pair<UInt32, UInt64>> slices; // frames and host time
    Callback callback([&](const AudioTimeStamp& time, UInt32 frames, AudioBufferList* list) {
        slices.emplace_back(frames, time.mHostTime - device->hostTimeOfStep());
        return tape(frames, list);
    });
    TestUnit varispeed(varispeedDescription);
    TestUnit unit;
    setUnit(varispeed, kAudioUnitProperty_MaximumFramesPerSlice, global, 0, UInt32{240});
    setUnit(varispeed, kAudioUnitProperty_StreamFormat, input, 0, planar(48000.0, 2));
    setUnit(varispeed, kAudioUnitProperty_StreamFormat, output, 0, planar(48000.0, 2));
    setUnit(varispeed, kAudioUnitProperty_SetRenderCallback, input, 0, callback.get());
    setUnit(unit, kAudioOutputUnitProperty_CurrentDevice, global, 0, device->deviceID());
    setUnit(unit, kAudioUnitProperty_StreamFormat, input, 0, planar(48000.0, 2));
    setUnit(unit, kAudioUnitProperty_MakeConnection, input, 0, AudioUnitConnection{varispeed, 0, 0});
    ASSERT_EQ(AudioUnitInitialize(varispeed), 0);
    ASSERT_EQ(AudioUnitInitialize(unit), 0);
    ASSERT_EQ(AudioOutputUnitStart(unit), 0);
    const Channels played = stepPlaying(*device, 2, 480, 480);
    EXPECT_THAT(slices, ElementsAre(std::pair(240U, UInt64{0}), std::pair(240U, UInt64{5'000'000})));
    EXPECT_EQ(played[1].back(), numbered(1, 479));
    AudioUnitUninitialize(unit);
}

TEST(Units_PlaybackSlices, GivesTheTimeOfTheDeviceWhereNotAskedForZero) {
    const auto device = steppedDevice("device");
    std::vector<Float64> times;
    Player player(device->deviceID(), planar(96000.0, 2), [&](const AudioTimeStamp& time, UInt32, AudioBufferList*) {
        times.push_back(time.mSampleTime);
        return 0;
    });
    setUnit(player.unit, kAudioOutputUnitProperty_StartTimestampsAtZero, global, 0, UInt32{0});
    TestUnit keepsItRunning;
    setUnit(keepsItRunning, kAudioOutputUnitProperty_CurrentDevice, global, 0, device->deviceID());
    AudioUnitInitialize(keepsItRunning);
    AudioOutputUnitStart(keepsItRunning);
    device->step(480);
    ASSERT_EQ(player.start(), 0);
    device->step(480);
    ASSERT_FALSE(times.empty());
    EXPECT_EQ(times.front(), 960.0) << "in the client's frames";
}

} // namespace
