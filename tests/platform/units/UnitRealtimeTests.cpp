#include "tests/platform/units/UnitHelpers.h"
#include "tests/support/RealtimeGuard.h"

#include <gmock/gmock.h>

#include <cmath>

namespace {

using namespace braq::tests;

Float32 quiet(UInt32 channel, UInt64 frame) { return static_cast<Float32>((frame + channel) % 64) / 128.0F; }

/// Runs cycles of a started device under the guard, from the first slice on.
void runCycles(BRAQSoftwareDevice& device, UInt32 channels, UInt32 frames = 512, int cycles = 300) {
    const Channels recorded(channels, frames, 0.25F);
    const Channels played(channels, frames);
    runRealtime([&] {
        for (int cycle = 0; cycle < cycles; ++cycle) {
            device.step(frames, recorded.pointers(), played.pointers());
        }
    });
}

TEST(Units_Realtime, PlayingKeepsTheRules) {
    for (const Float64 rate : {48000.0, 44100.0, 96000.0}) {
        for (const UInt32 channels : {1U, 2U, 6U}) {
            const auto device = steppedDevice("device");
            Tape tape(quiet);
            Player player(device->deviceID(), channels == 2 ? planar(rate, channels) : interleaved(rate, channels),
                          tape.body());
            ASSERT_EQ(player.start(), 0);
            runCycles(*device, 2, 512, 50);
            EXPECT_GT(tape.delivered, 0U);
            AudioOutputUnitStop(player.unit);
            AudioOutputUnitStart(player.unit);
            runCycles(*device, 2, 511, 20);
        }
    }
}

TEST(Units_Realtime, PlayingWithAChannelMapAndAVolumeKeepsTheRules) {
    const auto device = steppedDevice("device", 4, 0);
    Tape tape(quiet);
    Player player(device->deviceID(), planar(44100.0, 2), tape.body());
    const SInt32 map[]{3, 0};
    setUnit(player.unit, kAudioOutputUnitProperty_ChannelMap, output, 0, map);
    ASSERT_EQ(player.start(), 0);
    const Channels played(4, 512);
    runRealtime([&] {
        for (int cycle = 0; cycle < 100; ++cycle) {
            device->step(512, nullptr, played.pointers());
        }
    });
    EXPECT_GT(tape.delivered, 0U);
}

TEST(Units_Realtime, PlayingByPositionKeepsTheRules) {
    using enum BRAQChannelPosition;
    auto options = steppedOptions("device", 6, 0);
    options.playback.positions = {frontLeft, frontRight, rearLeft, rearRight, frontCenter, lowFrequency};
    const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
    for (const UInt32 channels : {6U, 8U}) { // moved, and mixed
        Tape tape(quiet);
        Player player(device->deviceID(), planar(48000.0, channels), tape.body());
        ASSERT_EQ(player.start(), 0);
        runCycles(*device, 6, 512, 50);
        EXPECT_GT(tape.delivered, 0U);
    }
}

TEST(Units_Realtime, ParametersAreChangedOnTheIOThreadWithinTheRules) {
    const auto device = steppedDevice("device");
    TestUnit varispeed(varispeedDescription);
    AudioUnit unit = nullptr;
    int calls = 0;
    OSStatus statuses = 0;
    Player player(device->deviceID(), planar(48000.0, 2), [&](const AudioTimeStamp&, UInt32, AudioBufferList*) {
        ++calls;
        Float32 volume = 0.0F;
        statuses |=
            AudioUnitSetParameter(unit, kHALOutputParam_Volume, global, 0, static_cast<Float32>(calls % 10) / 10.0F, 0);
        statuses |= AudioUnitGetParameter(unit, kHALOutputParam_Volume, global, 0, &volume);
        statuses |= AudioUnitSetParameter(varispeed, kVarispeedParam_PlaybackRate, global, 0, 1.5F, 0);
        return 0;
    });
    unit = player.unit;
    ASSERT_EQ(player.start(), 0);
    runCycles(*device, 2, 512, 100);
    EXPECT_EQ(calls, 100);
    EXPECT_EQ(statuses, 0);
}

TEST(Units_Realtime, ParametersAndRenderingKeepTheRulesOnAnyThread) {
    Tape tape(quiet);
    Callback callback(tape.body());
    TestUnit varispeed(varispeedDescription);
    setUnit(varispeed, kAudioUnitProperty_StreamFormat, input, 0, planar(44100.0, 1));
    setUnit(varispeed, kAudioUnitProperty_StreamFormat, output, 0, planar(48000.0, 1));
    setUnit(varispeed, kAudioUnitProperty_SetRenderCallback, input, 0, callback.get());
    ASSERT_EQ(AudioUnitInitialize(varispeed), 0);
    std::vector<Float32> heard(512);
    AudioBufferList list{1, {{1, 0, heard.data()}}};
    const AudioTimeStamp time{};
    OSStatus statuses = 0;
    runRealtime([&] {
        for (int round = 0; round < 100; ++round) {
            Float32 rate = 0.0F;
            statuses |=
                AudioUnitSetParameter(varispeed, kVarispeedParam_PlaybackRate, global, 0, round < 50 ? 1.25F : 1.0F, 0);
            statuses |= AudioUnitGetParameter(varispeed, kVarispeedParam_PlaybackRate, global, 0, &rate);
            statuses |= AudioUnitRender(varispeed, nullptr, &time, 0, 512, &list);
        }
    });
    EXPECT_EQ(statuses, 0);
    EXPECT_GT(tape.delivered, 0U);
}

TEST(Units_Realtime, RecordingKeepsTheRules) {
    for (const Float64 rate : {48000.0, 44100.0, 96000.0, 8000.0, 11025.0}) {
        for (const UInt32 bufferFrames : {16U, 512U, 8192U}) {
            for (const auto& format : {planar(rate, 2), interleaved(rate, 2)}) {
                auto options = steppedOptions("device");
                options.bufferFrames = bufferFrames;
                const auto device = BRAQSoftwareDevice::deviceWithOptions(options);
                AudioUnit unit = nullptr;
                UInt64 frames = 0;
                const bool isPlanar = !braq::isInterleaved(format);
                std::vector<std::byte> bytes(AudioBufferListByteSize(2));
                auto& list = *reinterpret_cast<AudioBufferList*>(bytes.data());
                OSStatus statuses = 0;
                Recorder recorder(device->deviceID(), format,
                                  [&](const AudioTimeStamp& time, UInt32 count, AudioBufferList*) {
                                      list.mNumberBuffers = isPlanar ? 2 : 1;
                                      list.mBuffers[0] = {isPlanar ? 1U : 2U, 0, nullptr};
                                      list.mBuffers[1] = {1, 0, nullptr};
                                      statuses |= AudioUnitRender(unit, nullptr, &time, 1, count, &list);
                                      frames += count;
                                      return 0;
                                  });
                unit = recorder.unit;
                ASSERT_EQ(recorder.start(), 0);
                runCycles(*device, 2, bufferFrames, static_cast<int>(100'000 / bufferFrames));
                EXPECT_GT(frames, 0U) << rate << ", " << bufferFrames;
                EXPECT_EQ(statuses, 0);
                AudioOutputUnitStop(recorder.unit);
                AudioOutputUnitStart(recorder.unit);
                runCycles(*device, 2, std::max(16U, bufferFrames - 1), 20);
            }
        }
    }
}

TEST(Units_Realtime, PlayingFasterAndGlidingKeepsTheRules) {
    const auto device = steppedDevice("device");
    Tape tape(quiet);
    Callback callback(tape.body());
    TestUnit varispeed(varispeedDescription);
    TestUnit unit;
    const auto format = planar(44100.0, 2);
    setUnit(varispeed, kAudioUnitProperty_StreamFormat, input, 0, format);
    setUnit(varispeed, kAudioUnitProperty_StreamFormat, output, 0, format);
    setUnit(varispeed, kAudioUnitProperty_SetRenderCallback, input, 0, callback.get());
    setUnit(unit, kAudioOutputUnitProperty_CurrentDevice, global, 0, device->deviceID());
    setUnit(unit, kAudioUnitProperty_StreamFormat, input, 0, format);
    setUnit(unit, kAudioUnitProperty_MakeConnection, input, 0, AudioUnitConnection{varispeed, 0, 0});
    const auto setRate = [&](Float32 rate) {
        AudioUnitSetParameter(varispeed, kVarispeedParam_PlaybackRate, global, 0, rate, 0);
    };
    setRate(1.25F);
    ASSERT_EQ(AudioUnitInitialize(varispeed), 0);
    ASSERT_EQ(AudioUnitInitialize(unit), 0);
    ASSERT_EQ(AudioOutputUnitStart(unit), 0);
    const Channels played(2, 512);
    runRealtime([&] {
        for (int cycle = 0; cycle < 100; ++cycle) {
            device->step(512, nullptr, played.pointers());
        }
        const auto playAt = [&](Float32 rate, UInt32 keepsPitch) {
            {
                const RealtimePause control; // what another thread does
                setUnit(varispeed, kBRAQVarispeedProperty_KeepsPitch, global, 0, keepsPitch);
                setRate(rate);
            }
            for (int cycle = 0; cycle < 60; ++cycle) {
                device->step(512, nullptr, played.pointers());
            }
        };
        for (const Float32 rate : {1.0F, 0.03125F, 32.0F, 1.0F, 2.0F, 1.0F}) {
            playAt(rate, 0);
        }
        for (const Float32 rate : {1.0F, 0.25F, 4.0F, 1.0F, 2.0F, 0.9F}) {
            playAt(rate, 1);
        }
        playAt(0.9F, 0);
    });
    EXPECT_GT(tape.delivered, 0U);
    AudioUnitUninitialize(unit);
}

} // namespace
