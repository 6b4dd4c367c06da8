#include "tests/platform/units/FakeDevice.h"
#include "tests/platform/units/UnitHelpers.h"

#include <gmock/gmock.h>

#include <cmath>

namespace {

using namespace braq::testing;
using testing::Each;
using testing::ElementsAre;

Float32 channelNumber(UInt32 channel, UInt64) { return static_cast<Float32>(1U << channel); }

TEST(Units_PlaybackChannels, PlaysAsManyChannelsAsThereAreAndSilenceInTheOthers) {
    const auto device = steppedDevice("device", 4, 0);
    Tape tape(channelNumber);
    Player player(device->deviceID(), planar(48000.0, 2), tape.body());
    ASSERT_EQ(player.start(), 0);
    const Channels played = stepPlaying(*device, 4, 600);
    EXPECT_THAT(played[0], Each(1.0F));
    EXPECT_THAT(played[1], Each(2.0F));
    EXPECT_THAT(played[2], Each(0.0F));
    EXPECT_THAT(played[3], Each(0.0F));
}

TEST(Units_PlaybackChannels, PlaysMonoOnBothChannelsThatTheDevicePrefersForStereo) {
    for (const bool isOtherPair : {false, true}) {
        FakeDevice device("device", 4, 0);
        if (isOtherPair) {
            using braq::ChannelPosition;
            device.description().playback.positions = {ChannelPosition::frontCenter, ChannelPosition::frontRight,
                                                       ChannelPosition::lowFrequency, ChannelPosition::frontLeft};
            device.publish();
        }
        Tape tape(numbered);
        Player player(device.deviceID(), planar(48000.0, 1), tape.body());
        ASSERT_EQ(player.start(), 0);
        const Channels played = device.cycle(100);
        std::vector<Float32> expected(100);
        std::generate(expected.begin(), expected.end(), [frame = UInt64{0}]() mutable { return numbered(0, frame++); });
        EXPECT_EQ(played[isOtherPair ? 3 : 0], expected);
        EXPECT_EQ(played[1], expected);
        EXPECT_THAT(played[2], Each(0.0F));
        EXPECT_THAT(played[isOtherPair ? 0 : 3], Each(0.0F));
    }
}

TEST(Units_PlaybackChannels, MixesDownWhatTheDeviceHasNoChannelsFor) {
    const auto device = steppedDevice("device", 2, 0);
    // Of 5.1: left, right, centre, low frequency, surround left and right.
    std::vector<std::pair<Float32, Float32>> gains;
    for (UInt32 sounding = 0; sounding < 6; ++sounding) {
        Tape tape([&](UInt32 channel, UInt64) { return channel == sounding ? 1.0F : 0.0F; });
        Player player(device->deviceID(), interleaved(48000.0, 6), tape.body());
        ASSERT_EQ(player.start(), 0);
        const Channels played = stepPlaying(*device, 2, 64);
        EXPECT_THAT(played[0], Each(played[0].front()));
        gains.emplace_back(played[0].front(), played[1].front());
    }
    const Float32 full = 1.0F / (1.0F + 2.0F * std::sqrt(0.5F)); // so that full scale everywhere is full scale
    const Float32 less = full * std::sqrt(0.5F);
    const std::vector<std::pair<Float32, Float32>> expected{{full, 0.0F}, {0.0F, full}, {less, less},
                                                            {0.0F, 0.0F}, {less, 0.0F}, {0.0F, less}};
    for (std::size_t channel = 0; channel < expected.size(); ++channel) {
        EXPECT_NEAR(gains[channel].first, expected[channel].first, 1e-6) << "left, of channel " << channel;
        EXPECT_NEAR(gains[channel].second, expected[channel].second, 1e-6) << "right, of channel " << channel;
    }
}

TEST(Units_PlaybackChannels, PlaysStereoOnAMonoDeviceAsTheMean) {
    const auto device = steppedDevice("device", 1, 0);
    Tape tape([](UInt32 channel, UInt64) { return channel == 0 ? 0.5F : 0.25F; });
    Player player(device->deviceID(), planar(48000.0, 2), tape.body());
    ASSERT_EQ(player.start(), 0);
    const Channels played = stepPlaying(*device, 1, 64);
    EXPECT_NEAR(played[0].front(), 0.375F, 1e-6);
    EXPECT_THAT(played[0], Each(played[0].front()));
}

TEST(Units_PlaybackChannels, PlaysOnTheChannelsOfTheMap) {
    const auto play = [](std::vector<SInt32> map, const AudioStreamBasicDescription& format) {
        const auto device = steppedDevice("device", 4, 0);
        Tape tape(channelNumber);
        Player player(device->deviceID(), format, tape.body());
        EXPECT_EQ(AudioUnitSetProperty(player.unit, kAudioOutputUnitProperty_ChannelMap, output, 0, map.data(),
                                       static_cast<UInt32>(map.size() * sizeof(SInt32))),
                  0);
        EXPECT_EQ(player.start(), 0);
        const Channels played = stepPlaying(*device, 4, 600);
        std::vector<Float32> values;
        for (std::size_t channel = 0; channel < 4; ++channel) {
            EXPECT_THAT(played[channel], Each(played[channel].front()));
            values.push_back(played[channel].front());
        }
        return values;
    };
    EXPECT_THAT(play({2, 3}, planar(48000.0, 2)), ElementsAre(0.0F, 0.0F, 1.0F, 2.0F));
    EXPECT_THAT(play({1, 0}, interleaved(48000.0, 2)), ElementsAre(2.0F, 1.0F, 0.0F, 0.0F));
    EXPECT_THAT(play({-1, 3}, planar(48000.0, 2)), ElementsAre(0.0F, 0.0F, 0.0F, 2.0F));
    EXPECT_THAT(play({3}, planar(48000.0, 2)), ElementsAre(0.0F, 0.0F, 0.0F, 1.0F)) << "a short map: no other channel";
    EXPECT_THAT(play({1, 1}, planar(48000.0, 2)), ElementsAre(0.0F, 3.0F, 0.0F, 0.0F)) << "both on one";
    EXPECT_THAT(play({0, 1}, planar(48000.0, 2)), ElementsAre(1.0F, 2.0F, 0.0F, 0.0F));
    EXPECT_THAT(play({2}, planar(48000.0, 1)), ElementsAre(0.0F, 0.0F, 1.0F, 0.0F)) << "mono too";
}

} // namespace
