#include "tests/platform/units/UnitHelpers.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>

#include <bit>
#include <numeric>
#include <stdexcept>

namespace {

using namespace braq::tests;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Optional;

/// Samples with all kinds of bits: negative zero, subnormal ones, infinities, more than full scale.
Float32 anyBits(UInt32 channel, UInt64 frame) {
    constexpr UInt32 odd[]{0x80000000, 0x00000001, 0x7F7FFFFF, 0xFF800000, 0x40490FDB, 0x807FFFFF};
    return std::bit_cast<Float32>(odd[(frame + channel) % std::size(odd)] ^ static_cast<UInt32>(frame % 7 / 6));
}

TEST(Units_DevicePlayback, PlaysEveryBitAtEqualRates) {
    for (const UInt32 channels : {1U, 2U, 8U}) {
        for (const auto& format : {planar(48000.0, channels), interleaved(48000.0, channels)}) {
            const auto device = steppedDevice("device", channels, 0);
            Tape tape(anyBits);
            Player player(device->deviceID(), format, tape.body());
            ASSERT_EQ(player.start(), 0);
            const Channels played = stepPlaying(*device, channels, 2000, 333);
            EXPECT_EQ(tape.delivered, 2000U) << "nothing is pulled ahead";
            for (UInt32 channel = 0; channel < channels; ++channel) {
                std::vector<Float32> expected(2000);
                for (std::size_t frame = 0; frame < expected.size(); ++frame) {
                    expected[frame] = anyBits(channel, frame);
                }
                EXPECT_EQ(bits(played[channel]), bits(expected)) << channels << " channels, channel " << channel;
            }
        }
    }
}

TEST(Units_DevicePlayback, HandsOutSilentBuffersInTheFormat) {
    const auto device = steppedDevice("device", 2, 0);
    for (const bool isInterleaved : {false, true}) {
        int calls = 0;
        Player player(device->deviceID(), isInterleaved ? interleaved(48000.0, 2) : planar(48000.0, 2),
                      [&](const AudioTimeStamp&, UInt32 frames, AudioBufferList* list) {
                          EXPECT_EQ(list->mNumberBuffers, isInterleaved ? 1U : 2U);
                          const UInt32 samples = isInterleaved ? frames * 2 : frames;
                          for (UInt32 buffer = 0; buffer < list->mNumberBuffers; ++buffer) {
                              EXPECT_EQ(list->mBuffers[buffer].mNumberChannels, isInterleaved ? 2U : 1U);
                              EXPECT_EQ(list->mBuffers[buffer].mDataByteSize, samples * sizeof(Float32));
                              EXPECT_THAT(std::vector(plane(list, buffer), plane(list, buffer) + samples), Each(0.0F));
                              if (calls % 2 == 0) {
                                  std::fill_n(plane(list, buffer), samples, 1.0F);
                              }
                          }
                          ++calls;
                          return 0;
                      });
        ASSERT_EQ(player.start(), 0);
        EXPECT_THAT(stepPlaying(*device, 2, 64)[1], Each(1.0F));
        EXPECT_THAT(stepPlaying(*device, 2, 64)[1], Each(0.0F)) << "left alone is heard as silence";
        EXPECT_EQ(calls, 2);
    }
}

TEST(Units_DevicePlayback, PlaysSilenceWithoutACallback) {
    const auto device = steppedDevice("device");
    TestUnit unit;
    setUnit(unit, kAudioOutputUnitProperty_CurrentDevice, global, 0, device->deviceID());
    for (const Float64 rate : {48000.0, 44100.0}) {
        setUnit(unit, kAudioUnitProperty_SampleRate, input, 0, rate);
        ASSERT_EQ(AudioUnitInitialize(unit), 0);
        ASSERT_EQ(AudioOutputUnitStart(unit), 0);
        EXPECT_THAT(stepPlaying(*device, 2, 700)[1], Each(0.0F));
        AudioUnitUninitialize(unit);
    }
}

TEST(Units_DevicePlayback, PlaysSilenceForACallbackThatFailsAndKeepsItsStatus) {
    const auto device = steppedDevice("device");
    OSStatus status = 0;
    Player player(device->deviceID(), planar(48000.0, 2),
                  [&](const AudioTimeStamp&, UInt32 frames, AudioBufferList* list) {
                      std::fill_n(plane(list), frames, 1.0F);
                      return status;
                  });
    ASSERT_EQ(player.start(), 0);
    EXPECT_THAT(stepPlaying(*device, 2, 64)[0], Each(1.0F));
    status = -12345;
    EXPECT_THAT(stepPlaying(*device, 2, 64)[0], Each(0.0F));
    EXPECT_THAT(getUnit<OSStatus>(player.unit, kAudioUnitProperty_LastRenderError), Optional(-12345));
    EXPECT_THAT(getUnit<OSStatus>(player.unit, kAudioUnitProperty_LastRenderError), Optional(0)) << "was read";
    status = 0;
    EXPECT_THAT(stepPlaying(*device, 2, 64)[0], Each(1.0F));
    EXPECT_THAT(getUnit<OSStatus>(player.unit, kAudioUnitProperty_LastRenderError), Optional(0));
}

TEST(Units_DevicePlayback, PlaysSilenceForACallbackThatThrowsAndGoesOn) {
    const CapturedLog log;
    for (const Float64 rate : {48000.0, 44100.0}) {
        const auto device = steppedDevice("device");
        bool throws = false;
        Player player(device->deviceID(), planar(rate, 2),
                      [&](const AudioTimeStamp&, UInt32 frames, AudioBufferList* list) {
                          std::fill_n(plane(list), frames, 1.0F);
                          if (throws) {
                              throw std::runtime_error("from the callback");
                          }
                          return 0;
                      });
        ASSERT_EQ(player.start(), 0);
        stepPlaying(*device, 2, 4096);
        const auto linesBefore = log.errors().size();
        throws = true;
        EXPECT_THAT(stepPlaying(*device, 2, 512)[0], Each(0.0F));
        stepPlaying(*device, 2, 512);
        throws = false;
        stepPlaying(*device, 2, 4096);
        EXPECT_NEAR(stepPlaying(*device, 2, 64)[0].back(), 1.0F, 1e-4);
        waitForNotifications();
        ASSERT_EQ(log.errors().size(), linesBefore + 1) << "one line, however often it throws";
        EXPECT_THAT(log.errors().back(), HasSubstr("threw"));
    }
}

TEST(Units_DevicePlayback, PlaysWhatACallbackPointsTheBuffersAt) {
    const auto device = steppedDevice("device");
    std::vector<Float32> own(1024);
    std::iota(own.begin(), own.end(), 1.0F);
    for (const bool isInterleaved : {false, true}) {
        Player player(device->deviceID(), isInterleaved ? interleaved(48000.0, 2) : planar(48000.0, 2),
                      [&](const AudioTimeStamp&, UInt32 frames, AudioBufferList* list) {
                          if (isInterleaved) {
                              list->mBuffers[0].mData = own.data();
                          } else {
                              list->mBuffers[0].mData = nullptr; // is silence, as nothing was written
                              list->mBuffers[1].mData = own.data() + 100;
                          }
                          static_cast<void>(frames);
                          return 0;
                      });
        ASSERT_EQ(player.start(), 0);
        for (int cycle = 0; cycle < 2; ++cycle) {
            const Channels played = stepPlaying(*device, 2, 4);
            if (isInterleaved) {
                EXPECT_THAT(played[0], ElementsAre(1.0F, 3.0F, 5.0F, 7.0F));
                EXPECT_THAT(played[1], ElementsAre(2.0F, 4.0F, 6.0F, 8.0F));
            } else {
                EXPECT_THAT(played[0], Each(0.0F));
                EXPECT_THAT(played[1], ElementsAre(101.0F, 102.0F, 103.0F, 104.0F));
            }
        }
    }
}

TEST(Units_DevicePlayback, MixesSeveralUnits) {
    const auto device = steppedDevice("device");
    Tape tape(numbered);
    Tape otherTape(numbered);
    Player player(device->deviceID(), planar(48000.0, 2), tape.body());
    Player other(device->deviceID(), planar(48000.0, 2), otherTape.body());
    ASSERT_EQ(player.start(), 0);
    ASSERT_EQ(other.start(), 0);
    AudioUnitSetParameter(other.unit, kHALOutputParam_Volume, global, 0, 0.5F, 0);
    const Channels played = stepPlaying(*device, 2, 1500, 500);
    for (std::size_t frame = 0; frame < 1500; ++frame) {
        ASSERT_EQ(played[1][frame], 1.5F * numbered(1, frame)) << "each with its own volume";
    }
}

} // namespace
