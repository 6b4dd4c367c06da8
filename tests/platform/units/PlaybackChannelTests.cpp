#include "platform/samples/ChannelMatrix.h"
#include "tests/platform/samples/Layouts.h"
#include "tests/platform/units/FakeDevice.h"
#include "tests/platform/units/RunningHelpers.h"
#include "tests/platform/units/UnitHelpers.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <optional>

namespace {

using namespace braq::tests;
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

std::shared_ptr<BRAQSoftwareDevice> deviceWith(const braq::ChannelPositions& positions) {
    auto options = steppedOptions("device", static_cast<UInt32>(positions.size()), 0);
    options.playback.positions = positions;
    return BRAQSoftwareDevice::deviceWithOptions(options);
}

OSStatus tell(AudioUnit unit, const braq::ChannelPositions& positions) {
    return AudioUnitSetProperty(unit, kBRAQOutputUnitProperty_ChannelPositions, input, 0, positions.data(),
                                static_cast<UInt32>(positions.size() * sizeof(BRAQChannelPosition)));
}

std::vector<Float32> firstSamples(const Channels& played, std::size_t channels) {
    std::vector<Float32> values;
    for (std::size_t channel = 0; channel < channels; ++channel) {
        EXPECT_THAT(played[channel], Each(played[channel].front()));
        values.push_back(played[channel].front());
    }
    return values;
}

TEST(Units_PlaybackChannels, PlaysEveryUsualLayoutByPositionOnEveryOther) {
    for (const Layout& client : usualLayouts()) {
        for (const Layout& device : usualLayouts()) {
            if (client.channels() == 1) {
                continue; // is heard from left and right
            }
            SCOPED_TRACE(client.name + " on " + device.name);
            const auto software = deviceWith(device.positions);
            Tape tape(channelNumber);
            Player player(software->deviceID(), planar(48000.0, client.channels()), tape.body());
            ASSERT_EQ(tell(player.unit, client.positions), 0);
            ASSERT_EQ(player.start(), 0);
            const auto values = firstSamples(stepPlaying(*software, device.channels(), 64), device.channels());
            for (UInt32 output = 0; output < device.channels(); ++output) {
                Float32 expected = 0.0F;
                const braq::ChannelMatrix matrix(client.positions, device.positions, braq::Downmix::scaled);
                for (UInt32 channel = 0; channel < client.channels(); ++channel) {
                    expected += matrix.gain(channel, output) * channelNumber(channel, 0);
                }
                EXPECT_FLOAT_EQ(values[output], expected) << "output " << output;
            }
        }
    }
}

TEST(Units_PlaybackChannels, PlaysFivePointOneAtItsSpeakersOnADeviceInTheOrderOfAlsa) {
    const auto device = deviceWith(surround51OfAlsa);
    Tape tape(numbered);
    Player player(device->deviceID(), planar(48000.0, 6), tape.body());
    ASSERT_EQ(player.start(), 0);
    const Channels played = stepPlaying(*device, 6, 1000);
    const UInt32 channelOf[]{0, 1, 4, 5, 2, 3};
    for (std::size_t output = 0; output < 6; ++output) {
        for (std::size_t frame = 0; frame < 1000; ++frame) {
            ASSERT_EQ(played[output][frame], numbered(channelOf[output], frame)) << "output " << output;
        }
    }
}

TEST(Units_PlaybackChannels, MixesUnscaledWhereItIsTold) {
    const auto device = steppedDevice("device", 2, 0);
    const auto left = [&](UInt32 unscaled, UInt32 sounding) {
        Tape tape([&](UInt32 channel, UInt64) { return channel == sounding ? 1.0F : 0.0F; });
        Player player(device->deviceID(), planar(48000.0, 6), tape.body());
        EXPECT_EQ(getUnit<UInt32>(player.unit, kBRAQOutputUnitProperty_UnscaledDownmix, input), 0U);
        EXPECT_EQ(setUnit(player.unit, kBRAQOutputUnitProperty_UnscaledDownmix, input, 0, unscaled), 0);
        EXPECT_EQ(getUnit<UInt32>(player.unit, kBRAQOutputUnitProperty_UnscaledDownmix, input), unscaled);
        EXPECT_EQ(player.start(), 0);
        return stepPlaying(*device, 2, 64)[0].front();
    };
    EXPECT_NEAR(left(0, 0), 0.414214F, 1e-6);
    EXPECT_NEAR(left(0, 2), 0.292893F, 1e-6);
    EXPECT_EQ(left(1, 0), 1.0F);
    EXPECT_NEAR(left(1, 2), 0.707107F, 1e-6);
    EXPECT_NEAR(left(1, 4), 0.707107F, 1e-6);
    EXPECT_EQ(left(1, 3), 0.0F);
}

TEST(Units_PlaybackChannels, KeepsTheMapStrongerThanPositions) {
    const auto device = deviceWith(surround51OfAlsa);
    Tape tape(channelNumber);
    Player player(device->deviceID(), planar(48000.0, 6), tape.body());
    ASSERT_EQ(tell(player.unit, surround51), 0);
    const SInt32 map[]{0, 1, 2, 3, 4, 5};
    ASSERT_EQ(setUnit(player.unit, kAudioOutputUnitProperty_ChannelMap, output, 0, map), 0);
    ASSERT_EQ(player.start(), 0);
    EXPECT_THAT(firstSamples(stepPlaying(*device, 6, 64), 6), ElementsAre(1, 2, 4, 8, 16, 32));
}

TEST(Units_PlaybackChannels, FollowsADeviceWhosePositionsChange) {
    FakeDevice device("device", 6, 0);
    device.description().playback.positions = surround51;
    device.publish();
    Tape tape(channelNumber);
    Player player(device.deviceID(), planar(48000.0, 6), tape.body());
    ASSERT_EQ(player.start(), 0);
    EXPECT_THAT(firstSamples(device.cycle(64), 6), ElementsAre(1, 2, 4, 8, 16, 32));
    device.description().playback.positions = surround51OfAlsa;
    device.publish();
    waitForNotifications();
    EXPECT_THAT(firstSamples(device.cycle(64), 6), ElementsAre(1, 2, 16, 32, 4, 8));
}

std::optional<braq::ChannelPositions> told(AudioUnit unit, UInt32 room = 8) {
    braq::ChannelPositions positions(room);
    auto size = static_cast<UInt32>(room * sizeof(BRAQChannelPosition));
    if (AudioUnitGetProperty(unit, kBRAQOutputUnitProperty_ChannelPositions, input, 0, positions.data(), &size) != 0) {
        return std::nullopt;
    }
    positions.resize(size / sizeof(BRAQChannelPosition));
    return positions;
}

TEST(Units_PlaybackChannels, TakesPositionsForEachChannelWheneverItDoesNotRun) {
    const auto device = deviceWith(surround51OfAlsa);
    Tape tape(channelNumber);
    Player player(device->deviceID(), planar(48000.0, 6), tape.body());
    const braq::ChannelPositions turned{frontRight, frontLeft, frontCenter, lowFrequency, rearLeft, rearRight};
    EXPECT_EQ(told(player.unit), surround51) << "the usual ones";
    EXPECT_EQ(told(player.unit, 5), std::nullopt);
    EXPECT_EQ(tell(player.unit, stereo), kAudioUnitErr_InvalidPropertyValue);
    EXPECT_EQ(tell(player.unit, braq::ChannelPositions(6, static_cast<BRAQChannelPosition>(99))),
              kAudioUnitErr_InvalidPropertyValue);
    EXPECT_EQ(AudioUnitSetProperty(player.unit, kBRAQOutputUnitProperty_ChannelPositions, input, 0, turned.data(), 23),
              kAudioUnitErr_InvalidPropertyValue);
    EXPECT_EQ(told(player.unit), surround51) << "what is refused changes nothing";
    EXPECT_EQ(AudioUnitSetProperty(player.unit, kBRAQOutputUnitProperty_ChannelPositions, output, 0, turned.data(), 24),
              kAudioUnitErr_InvalidScope);
    EXPECT_EQ(AudioUnitSetProperty(player.unit, kBRAQOutputUnitProperty_ChannelPositions, input, 1, turned.data(), 24),
              kAudioUnitErr_InvalidElement);

    ASSERT_EQ(player.start(), 0);
    EXPECT_EQ(tell(player.unit, turned), kAudioUnitErr_CannotDoInCurrentContext);
    EXPECT_EQ(setUnit(player.unit, kBRAQOutputUnitProperty_UnscaledDownmix, input, 0, UInt32{1}),
              kAudioUnitErr_CannotDoInCurrentContext);
    EXPECT_THAT(firstSamples(stepPlaying(*device, 6, 64), 6), ElementsAre(1, 2, 16, 32, 4, 8));
    ASSERT_EQ(AudioOutputUnitStop(player.unit), 0);
    EXPECT_EQ(tell(player.unit, turned), 0) << "initialised, but not running";
    EXPECT_EQ(told(player.unit), turned);
    ASSERT_EQ(AudioOutputUnitStart(player.unit), 0);
    EXPECT_THAT(firstSamples(stepPlaying(*device, 6, 64), 6), ElementsAre(2, 1, 16, 32, 4, 8));
    ASSERT_EQ(AudioOutputUnitStop(player.unit), 0);
    EXPECT_EQ(tell(player.unit, {}), 0);
    EXPECT_EQ(told(player.unit), surround51);

    ASSERT_EQ(tell(player.unit, turned), 0);
    ASSERT_EQ(AudioUnitUninitialize(player.unit), 0);
    ASSERT_EQ(setUnit(player.unit, kAudioUnitProperty_StreamFormat, input, 0, planar(44100.0, 6)), 0);
    EXPECT_EQ(told(player.unit), turned);
    ASSERT_EQ(setUnit(player.unit, kAudioUnitProperty_StreamFormat, input, 0, planar(44100.0, 2)), 0);
    EXPECT_EQ(told(player.unit), stereo) << "those of another count are gone";
}

} // namespace
