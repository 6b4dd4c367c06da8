#include "BRAQAudio/BRAQAudioDevice.h"

#include "tests/src/DeviceFixture.h"
#include "tests/src/HardwareHook.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>

namespace {

using braq::tests::CapturedLog;
using braq::tests::HardwareCall;
using braq::tests::HardwareHook;
using testing::ElementsAre;

class DeviceStreams : public DeviceTest {
  protected:
    /// A device whose playback streams start at these channels.
    void makeDeviceWithStreamsAt(const std::vector<UInt32>& starts) {
        BRAQSoftwareDirection direction;
        UInt32 latency = 100;
        for (const UInt32 start : starts) {
            direction.streams.push_back({.channels = 1, .latencyFrames = latency++, .startingChannel = start});
        }
        software.reset(); // one that had the UID
        software = makeDeviceWith({.uid = "streams", .playback = direction, .record = {}});
        device = BRAQAudioDevice::initWithDeviceID(software->deviceID());
        ids = streamIDs(kAudioDevicePropertyScopeOutput);
        ASSERT_EQ(ids.size(), starts.size());
    }

    std::vector<AudioObjectID> streamIDs(UInt32 scope) const {
        const AudioObjectPropertyAddress address{kAudioDevicePropertyStreams, scope, kAudioObjectPropertyElementMain};
        std::vector<AudioObjectID> found(16);
        auto size = static_cast<UInt32>(found.size() * sizeof(AudioObjectID));
        EXPECT_EQ(AudioObjectGetPropertyData(software->deviceID(), &address, 0, nullptr, &size, found.data()), 0);
        found.resize(size / sizeof(AudioObjectID));
        return found;
    }

    /// The number in the list, from 0, of the stream that each channel is said to belong to.
    std::vector<long> streamsOf(const std::vector<UInt32>& channels) const {
        std::vector<long> numbers;
        for (const UInt32 channel : channels) {
            const auto found = std::ranges::find(ids, device->streamIDForChannel(channel, playbackDirection));
            numbers.push_back(found == ids.end() ? -1 : found - ids.begin());
        }
        return numbers;
    }

    std::shared_ptr<BRAQSoftwareDevice> software;
    std::shared_ptr<BRAQAudioDevice> device;
    std::vector<AudioObjectID> ids;
};

TEST_F(DeviceStreams, OneStreamHasEveryChannel) {
    makeDeviceWithStreamsAt({1});
    EXPECT_THAT(streamsOf({0, 1, 2, 0xFFFFFFFF}), ElementsAre(0, 0, 0, 0));
}

TEST_F(DeviceStreams, TheOneBeforeTheLastThatStartsAboveTheChannelIsTakenElseTheFirst) {
    makeDeviceWithStreamsAt({1, 3, 5});
    EXPECT_THAT(streamsOf({0, 1, 2, 3, 4}), ElementsAre(1, 1, 1, 1, 1));
    EXPECT_THAT(streamsOf({5, 6, 0x80000000, 0xFFFFFFFF}), ElementsAre(0, 0, 0, 0)) << "none starts above";
}

TEST_F(DeviceStreams, TheLastThatStartsAboveDecidesInAnyOrderOfTheList) {
    makeDeviceWithStreamsAt({5, 1, 3});
    EXPECT_THAT(streamsOf({0, 1, 2}), ElementsAre(1, 1, 1));
    EXPECT_THAT(streamsOf({3, 4}), ElementsAre(0, 0)) << "only the first starts above";
    EXPECT_THAT(streamsOf({5}), ElementsAre(0));
}

TEST_F(DeviceStreams, StartingChannelsAreComparedWithoutSigns) {
    makeDeviceWithStreamsAt({1, 0x90000000});
    EXPECT_THAT(streamsOf({1, 0x80000000, 0x8FFFFFFF, 0x90000000}), ElementsAre(0, 0, 0, 0));
    makeDeviceWithStreamsAt({1, 2, 0x90000000});
    EXPECT_THAT(streamsOf({1, 0x80000000, 0x8FFFFFFF, 0x90000000}), ElementsAre(1, 1, 1, 0));
}

TEST_F(DeviceStreams, ADirectionWithoutStreamsHasNone) {
    makeDeviceWithStreamsAt({1});
    EXPECT_EQ(device->streamIDForChannel(1, recordDirection), 0U);
}

TEST_F(DeviceStreams, AListThatCannotBeReadHasNone) {
    makeDeviceWithStreamsAt({1});
    {
        const HardwareHook size(HardwareCall::getSize, software->deviceID(), kAudioDevicePropertyStreams, -7);
        EXPECT_EQ(device->streamIDForChannel(1, playbackDirection), 0U);
    }
    {
        const HardwareHook data(HardwareCall::getData, software->deviceID(), kAudioDevicePropertyStreams, -7);
        EXPECT_EQ(device->streamIDForChannel(1, playbackDirection), 0U);
    }
    EXPECT_EQ(device->streamIDForChannel(1, playbackDirection), ids[0]);
}

TEST_F(DeviceStreams, OneThatDoesNotSayWhereItStartsSpoilsTheWholeList) {
    makeDeviceWithStreamsAt({1, 3, 5});
    for (const AudioObjectID mute : ids) {
        const HardwareHook fails(HardwareCall::getData, mute, kAudioStreamPropertyStartingChannel, -7);
        EXPECT_EQ(device->streamIDForChannel(1, playbackDirection), 0U);
    }
    EXPECT_EQ(device->streamIDForChannel(1, playbackDirection), ids[1]);
}

TEST_F(DeviceStreams, LatencyIsThatOfTheChosenStream) {
    makeDeviceWithStreamsAt({1, 3, 5});
    EXPECT_EQ(device->streamLatencyForChannel(1, playbackDirection), 101U);
    EXPECT_EQ(device->streamLatencyForChannel(5, playbackDirection), 100U);
    EXPECT_EQ(device->playbackStreamLatencyForChannel(4), 101U);
}

TEST_F(DeviceStreams, WithoutALatencyPropertyTheLogSaysSo) {
    makeDeviceWithStreamsAt({1});
    software->failProperty(ids[0], {kAudioStreamPropertyLatency, kAudioObjectPropertyScopeGlobal, 0},
                           kAudioHardwareUnknownPropertyError);
    const CapturedLog log;
    EXPECT_EQ(device->streamLatencyForChannel(1, playbackDirection), 0U);
    EXPECT_EQ(device->recordingStreamLatencyForChannel(1), 0U) << "no stream at all";
    EXPECT_THAT(log.lines(), ElementsAre("Does not have latency property!", "Does not have latency property!"));
}

TEST_F(DeviceStreams, ALatencyThatCannotBeReadIsLogged) {
    makeDeviceWithStreamsAt({1});
    software->failProperty(ids[0], {kAudioStreamPropertyLatency, kAudioObjectPropertyScopeGlobal, 0},
                           kAudioHardwareUnspecifiedError);
    const CapturedLog log;
    EXPECT_EQ(device->streamLatencyForChannel(1, playbackDirection), 0U);
    EXPECT_THAT(log.lines(), ElementsAre("Could not query latency property!"));
    software->failProperty(ids[0], {kAudioStreamPropertyLatency, kAudioObjectPropertyScopeGlobal, 0}, 0);
    EXPECT_EQ(device->streamLatencyForChannel(1, playbackDirection), 100U);
    EXPECT_EQ(log.lines().size(), 1U);
}

} // namespace
