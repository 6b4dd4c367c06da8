#include "platform/units/ChannelRouting.h"
#include "tests/platform/samples/Layouts.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <numeric>

namespace {

using namespace braq;
using namespace braq::tests;
using ::testing::ElementsAre;

PlaybackChannels between(const Layout& client, const Layout& device) {
    return {.client = client.channels(),
            .clientPositions = client.positions,
            .device = device.channels(),
            .devicePositions = device.positions};
}

/// What each of the device's channels gets when each of the client's has its number, from 1; -1: it is left alone.
std::vector<float> heard(const ChannelRouting& routing, UInt32 clientChannels, UInt32 deviceChannels) {
    std::vector<float> from(clientChannels);
    std::iota(from.begin(), from.end(), 1.0F);
    std::vector<float> to(deviceChannels, -1.0F);
    std::vector<const float*> fromPlanes;
    std::vector<float*> toPlanes;
    for (const float& sample : from) {
        fromPlanes.push_back(&sample);
    }
    for (float& sample : to) {
        toPlanes.push_back(&sample);
    }
    routing.route(fromPlanes.data(), toPlanes.data(), 1);
    return to;
}

std::vector<float> heard(const PlaybackChannels& channels) {
    return heard(ChannelRouting::forPlayback(channels), channels.client, channels.device);
}

bool finds(const Layout& client, const Layout& device) {
    return std::ranges::all_of(
        client.positions, [&](ChannelPosition position) { return ownSpeaker(position, client, device) != unknown; });
}

TEST(Units_ChannelRouting, TakesEveryUsualLayoutToTheSpeakersOfEveryOtherThatHasThem) {
    int pairs = 0;
    for (const Layout& client : usualLayouts()) {
        for (const Layout& device : usualLayouts()) {
            if (client.channels() == 1 || !finds(client, device)) {
                continue;
            }
            ++pairs;
            SCOPED_TRACE(client.name + " on " + device.name);
            std::vector<float> expected(device.channels(), -1.0F);
            for (UInt32 channel = 0; channel < client.channels(); ++channel) {
                const auto speaker =
                    std::ranges::find(device.positions, ownSpeaker(client.positions[channel], client, device));
                expected[static_cast<std::size_t>(speaker - device.positions.begin())] =
                    static_cast<float>(channel + 1);
            }
            EXPECT_EQ(heard(between(client, device)), expected) << "bit for bit";
        }
    }
    EXPECT_GT(pairs, 100);
}

TEST(Units_ChannelRouting, MixesWhatEveryOtherLayoutLacksByTheMatrix) {
    int pairs = 0;
    for (const Layout& client : usualLayouts()) {
        for (const Layout& device : usualLayouts()) {
            if (client.channels() == 1 || finds(client, device)) {
                continue;
            }
            ++pairs;
            SCOPED_TRACE(client.name + " on " + device.name);
            for (const Downmix downmix : {Downmix::scaled, Downmix::unscaled}) {
                PlaybackChannels channels = between(client, device);
                channels.downmix = downmix;
                const ChannelMatrix matrix(client.positions, device.positions, downmix);
                std::vector<float> expected(device.channels(), -1.0F);
                for (UInt32 output = 0; output < device.channels(); ++output) {
                    float sum = 0.0F;
                    bool isReached = false;
                    for (UInt32 input = 0; input < client.channels(); ++input) {
                        sum += matrix.gain(input, output) * static_cast<float>(input + 1);
                        isReached = isReached || matrix.gain(input, output) != 0.0F;
                    }
                    expected[output] = isReached ? sum : -1.0F;
                }
                EXPECT_THAT(heard(channels), ::testing::Pointwise(::testing::FloatNear(1e-5F), expected));
            }
        }
    }
    EXPECT_GT(pairs, 100);
}

TEST(Units_ChannelRouting, PlaysMonoOnThePreferredPairOfEveryLayout) {
    for (const Layout& device : usualLayouts()) {
        PlaybackChannels channels = between({"mono", {mono}}, device);
        std::vector<float> expected(device.channels(), -1.0F);
        expected[0] = 1.0F;
        if (device.channels() > 1) {
            expected[1] = 1.0F;
        }
        EXPECT_EQ(heard(channels), expected) << device.name;
    }
    EXPECT_THAT(heard({.client = 1, .device = 4, .stereo = {4, 2}}), ElementsAre(-1.0F, 1.0F, -1.0F, 1.0F));
}

TEST(Units_ChannelRouting, GuessesTheUsualLayoutOfAClientThatTellsNone) {
    EXPECT_THAT(heard({.client = 6, .device = 6, .devicePositions = surround51OfAlsa}), ElementsAre(1, 2, 5, 6, 3, 4));
    EXPECT_THAT(heard({.client = 8, .device = 8, .devicePositions = surround71OfAlsa}),
                ElementsAre(1, 2, 5, 6, 3, 4, 7, 8));
    EXPECT_THAT(heard({.client = 4, .device = 6, .devicePositions = surround51}), ElementsAre(1, 2, -1, -1, 3, 4));
    EXPECT_THAT(heard({.client = 2, .device = 3, .devicePositions = {frontCenter, frontRight, frontLeft}}),
                ElementsAre(-1, 2, 1));
}

TEST(Units_ChannelRouting, MixesNothingForTheSakeOfAGuessThatHasRoom) {
    EXPECT_THAT(heard({.client = 3, .device = 4, .devicePositions = usualPositions(4)}), ElementsAre(1, 2, 3, -1));
    EXPECT_THAT(heard({.client = 2, .device = 2, .devicePositions = {rearLeft, rearRight}}), ElementsAre(1, 2));
    EXPECT_THAT(
        heard(
            {.client = 5, .device = 5, .devicePositions = {frontLeft, frontRight, rearLeft, rearRight, lowFrequency}}),
        ElementsAre(1, 2, 3, 4, 5));
}

TEST(Units_ChannelRouting, GoesChannelToChannelWhereADeviceTellsNoPositions) {
    for (const Layout& client : usualLayouts()) {
        PlaybackChannels channels = between(client, {"", ChannelPositions(8, unknown)});
        channels.devicePositions.resize(3); // what is beyond is unknown too
        const ChannelRouting routing = ChannelRouting::forPlayback(channels);
        EXPECT_EQ(routing.isDirect(), client.channels() > 1) << client.name;
    }
    // What does not fit is mixed as if it were the usual layout.
    EXPECT_EQ(heard({.client = 6, .device = 2}),
              heard({.client = 6, .clientPositions = surround51, .device = 2, .devicePositions = stereo}));
}

TEST(Units_ChannelRouting, GoesChannelToChannelForPositionsThatAreUnknownOrOfAnotherCount) {
    EXPECT_THAT(heard({.client = 2, .clientPositions = {unknown, frontLeft}, .device = 2, .devicePositions = stereo}),
                ElementsAre(1, 2));
    EXPECT_THAT(heard({.client = 2, .clientPositions = {frontRight}, .device = 2, .devicePositions = stereo}),
                ElementsAre(1, 2));
    EXPECT_THAT(heard({.client = 9, .device = 16, .devicePositions = ChannelPositions(16, unknown)}),
                ElementsAre(1, 2, 3, 4, 5, 6, 7, 8, 9, -1, -1, -1, -1, -1, -1, -1));
}

TEST(Units_ChannelRouting, TellsWhereNothingIsMoved) {
    const auto isDirect = [](const ChannelPositions& client, const ChannelPositions& device) {
        return ChannelRouting::forPlayback(between({"", client}, {"", device})).isDirect();
    };
    EXPECT_TRUE(isDirect(surround51, surround51));
    EXPECT_TRUE(isDirect(surround51Side, surround51));
    EXPECT_TRUE(isDirect(stereo, surround71OfAlsa));
    EXPECT_FALSE(isDirect(surround51, surround51OfAlsa));
    EXPECT_FALSE(isDirect(surround51, stereo));
}

TEST(Units_ChannelRouting, RecordsChannelToChannel) {
    EXPECT_THAT(heard(ChannelRouting::forRecording(4, 6, std::nullopt), 6, 4), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(heard(ChannelRouting::forRecording(3, 2, std::nullopt), 2, 3), ElementsAre(1, 2, -1));
    EXPECT_THAT(heard(ChannelRouting::forRecording(2, 6, std::vector<SInt32>{4, 0}), 6, 2), ElementsAre(5, 1));
}

} // namespace
