#include "BRAQAudio/BRAQAudioDevice.h"

#include "tests/platform/units/FakeDevice.h"
#include "tests/src/DeviceFixture.h"
#include "tests/src/HardwareHook.h"
#include "tests/support/CapturedLog.h"

#include <gmock/gmock.h>

namespace {

using braq::tests::CapturedLog;
using braq::tests::HardwareCall;
using braq::tests::HardwareHook;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

class DeviceProperties : public DeviceTest {
  protected:
    std::shared_ptr<BRAQAudioDevice> deviceOf(const std::shared_ptr<BRAQSoftwareDevice>& made) {
        return BRAQAudioDevice::initWithDeviceID(made->deviceID());
    }
    static void fail(const std::shared_ptr<BRAQSoftwareDevice>& made, UInt32 selector, UInt32 scope, OSStatus status) {
        made->failProperty(made->deviceID(), {selector, scope, kAudioObjectPropertyElementMain}, status);
    }

    // Each number is another one, so that no question can get the answer of its neighbour.
    const std::shared_ptr<BRAQSoftwareDevice> software = makeDeviceWith(
        {.uid = "numbers",
         .playback = {.streams = {{.channels = 2, .latencyFrames = 11}}, .latencyFrames = 12, .safetyOffsetFrames = 13},
         .record = {.streams = {{.channels = 1, .latencyFrames = 21}}, .latencyFrames = 22, .safetyOffsetFrames = 23},
         .sampleRate = 44100.0,
         .bufferFrames = 441});
    const std::shared_ptr<BRAQAudioDevice> device = deviceOf(software);
};

TEST_F(DeviceProperties, Direction1IsRecordingAndEveryOtherIsPlayback) {
    EXPECT_EQ(device->latencyForDirection(1), 22U);
    for (const SInt64 direction : {SInt64{0}, SInt64{2}, SInt64{-1}, SInt64{1} << 32, (SInt64{1} << 32) + 1}) {
        EXPECT_EQ(device->latencyForDirection(direction), 12U) << direction;
    }
}

TEST_F(DeviceProperties, AreThoseOfTheDirection) {
    EXPECT_EQ(device->latencyForDirection(playbackDirection), 12U);
    EXPECT_EQ(device->latencyForDirection(recordDirection), 22U);
    EXPECT_EQ(device->safetyOffsetForDirection(playbackDirection), 13U);
    EXPECT_EQ(device->safetyOffsetForDirection(recordDirection), 23U);
    EXPECT_EQ(device->numberOfChannelsForDirection(playbackDirection), 2U);
    EXPECT_EQ(device->numberOfChannelsForDirection(recordDirection), 1U);
    for (const SInt64 direction : {playbackDirection, recordDirection}) {
        EXPECT_EQ(device->bufferSizeForDirection(direction), 441U);
        EXPECT_EQ(device->sampleRateForDirection(direction), 44100.0);
        EXPECT_EQ(device->nominalSampleRateForDirection(direction), 44100.0);
    }
}

TEST_F(DeviceProperties, TellTheLevelThatTheMixerHasGivenThisProgram) {
    braq::tests::FakeDevice mixed("mixed", 2, 1);
    mixed.description().playback.mixerLevel = 0.25F;
    mixed.description().record.mixerLevel = 0.0F;
    mixed.publish();
    const auto of = BRAQAudioDevice::initWithDeviceID(mixed.deviceID());
    EXPECT_EQ(of->playbackMixerLevel(), 0.25F);
    EXPECT_EQ(of->mixerLevelForDirection(playbackDirection), 0.25F);
    EXPECT_EQ(of->recordingMixerLevel(), 0.0F);
    EXPECT_EQ(of->mixerLevelForDirection(recordDirection), 0.0F);
    EXPECT_EQ(device->playbackMixerLevel(), 1.0F) << "no mixer has a say in it";
    EXPECT_EQ(BRAQAudioDevice::initWithDeviceID(0)->playbackMixerLevel(), 1.0F) << "cannot be read";
}

TEST_F(DeviceProperties, HaveAShortcutForEachDirection) {
    EXPECT_EQ(device->playbackLatency(), 12U);
    EXPECT_EQ(device->recordingLatency(), 22U);
    EXPECT_EQ(device->playbackSafetyOffset(), 13U);
    EXPECT_EQ(device->recordingSafetyOffset(), 23U);
    EXPECT_EQ(device->numberOfPlaybackChannels(), 2U);
    EXPECT_EQ(device->numberOfRecordChannels(), 1U);
    EXPECT_EQ(device->playbackStreamLatencyForChannel(1), 11U);
    EXPECT_EQ(device->recordingStreamLatencyForChannel(1), 21U);
    EXPECT_EQ(device->playbackBufferSize(), 441U);
    EXPECT_EQ(device->recordingBufferSize(), 441U);
    EXPECT_EQ(device->playbackNominalSampleRate(), 44100.0);
    EXPECT_EQ(device->recordingNominalSampleRate(), 44100.0);
}

TEST_F(DeviceProperties, TellTheRatesThatCanBeSet) {
    const AudioValueRange first{44100.0, 44100.0};
    const AudioValueRange last{96000.0, 96000.0};
    for (const auto& rates : {device->availablePlaybackSampleRates(), device->availableRecordingSampleRates()}) {
        ASSERT_EQ(rates.size(), 4U);
        EXPECT_EQ(rates.front(), first);
        EXPECT_EQ(rates.back(), last);
    }
    const UInt32 selector = kAudioDevicePropertyAvailableNominalSampleRates;
    fail(software, selector, kAudioDevicePropertyScopeInput, kAudioHardwareUnspecifiedError);
    EXPECT_THAT(device->availableSampleRatesForDirection(recordDirection), IsEmpty());
    EXPECT_EQ(device->availableSampleRatesForDirection(playbackDirection).size(), 4U);
}

TEST_F(DeviceProperties, TellTheRangeOfTheBufferSize) {
    const AudioValueRange range{16.0, 8192.0};
    EXPECT_EQ(device->playbackBufferSizeRange(), range);
    EXPECT_EQ(device->recordingBufferSizeRange(), range);
    const UInt32 selector = kAudioDevicePropertyBufferFrameSizeRange;
    fail(software, selector, kAudioDevicePropertyScopeOutput, kAudioHardwareUnspecifiedError);
    EXPECT_EQ(device->bufferSizeRangeForDirection(playbackDirection), AudioValueRange{});
    EXPECT_EQ(device->bufferSizeRangeForDirection(recordDirection), range);
}

TEST_F(DeviceProperties, ABufferSizeWithinTheRangeIsTaken) {
    EXPECT_TRUE(device->setPlaybackBufferSize(64));
    settle();
    EXPECT_EQ(device->playbackBufferSize(), 64U);
    EXPECT_TRUE(device->setRecordingBufferSize(8192));
    settle();
    EXPECT_EQ(device->recordingBufferSize(), 8192U);
    EXPECT_FALSE(device->setPlaybackBufferSize(15));
    EXPECT_FALSE(device->setRecordingBufferSize(8193));
    settle();
    EXPECT_EQ(device->playbackBufferSize(), 8192U);
}

// Where a property fails in one scope, only what asks in that scope falls back.
TEST_F(DeviceProperties, FallBackQuietlyInTheDirectionThatFails) {
    const CapturedLog log;
    const struct {
        UInt32 selector;
        std::function<Float64(SInt64)> read;
    } rows[] = {
        {kAudioDevicePropertyNominalSampleRate, [&](SInt64 at) { return device->sampleRateForDirection(at); }},
        {kAudioDevicePropertyNominalSampleRate, [&](SInt64 at) { return device->nominalSampleRateForDirection(at); }},
        {kAudioDevicePropertyLatency, [&](SInt64 at) { return device->latencyForDirection(at); }},
        {kAudioDevicePropertySafetyOffset, [&](SInt64 at) { return device->safetyOffsetForDirection(at); }},
        {kAudioDevicePropertyBufferFrameSize, [&](SInt64 at) { return device->bufferSizeForDirection(at); }},
    };
    for (const auto& [selector, read] : rows) {
        fail(software, selector, kAudioDevicePropertyScopeInput, kAudioHardwareUnspecifiedError);
        EXPECT_EQ(read(recordDirection), 0.0);
        EXPECT_NE(read(playbackDirection), 0.0);
        fail(software, selector, kAudioDevicePropertyScopeInput, 0);
        fail(software, selector, kAudioDevicePropertyScopeOutput, kAudioHardwareUnspecifiedError);
        EXPECT_NE(read(recordDirection), 0.0);
        EXPECT_EQ(read(playbackDirection), 0.0);
        fail(software, selector, kAudioDevicePropertyScopeOutput, 0);
        EXPECT_NE(read(playbackDirection), 0.0);
    }
    EXPECT_THAT(log.errors(), IsEmpty());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(DeviceProperties, ChannelsAreThoseOfAllStreams) {
    const auto many = makeDeviceWith({.uid = "many",
                                      .playback = streams({{.channels = 2}, {.channels = 6}, {.channels = 1}}),
                                      .record = streams({{.channels = 64}})});
    EXPECT_EQ(deviceOf(many)->numberOfPlaybackChannels(), 9U);
    EXPECT_EQ(deviceOf(many)->numberOfRecordChannels(), 64U);
}

TEST_F(DeviceProperties, ADirectionWithoutStreamsHasNoChannelsAndSaysNothingOfIt) {
    const auto none = makeDeviceWith({.uid = "none", .playback = {}, .record = {}});
    const CapturedLog log;
    EXPECT_EQ(deviceOf(none)->numberOfPlaybackChannels(), 0U);
    EXPECT_EQ(deviceOf(none)->numberOfRecordChannels(), 0U);
    EXPECT_FALSE(deviceOf(none)->canPlayback());
    EXPECT_FALSE(deviceOf(none)->canRecord());
    EXPECT_FALSE(deviceOf(none)->canRecordStereo());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(DeviceProperties, ChannelsThatCannotBeCountedAreLogged) {
    const CapturedLog log;
    {
        const HardwareHook size(HardwareCall::getSize, software->deviceID(), kAudioDevicePropertyStreamConfiguration,
                                -7);
        EXPECT_EQ(device->numberOfPlaybackChannels(), 0U);
    }
    const HardwareHook data(HardwareCall::getData, software->deviceID(), kAudioDevicePropertyStreamConfiguration,
                            kAudioHardwareUnspecifiedError);
    EXPECT_EQ(device->numberOfRecordChannels(), 0U);
    EXPECT_THAT(log.lines(), ElementsAre("ERROR: Call to AudioObjectGetPropertyDataSize failed. Error=-7.",
                                         "ERROR: Call to AudioObjectGetPropertyData failed. Error=2003329396."));
}

TEST_F(DeviceProperties, CapabilitiesFollowTheChannels) {
    EXPECT_TRUE(device->canPlayback());
    EXPECT_TRUE(device->canRecord());
    EXPECT_FALSE(device->canRecordStereo()) << "one channel";
    const auto microphone = makeDeviceWith({.uid = "microphone", .playback = {}, .record = streams({{.channels = 2}})});
    EXPECT_FALSE(deviceOf(microphone)->canPlayback());
    EXPECT_TRUE(deviceOf(microphone)->canRecord());
    EXPECT_TRUE(deviceOf(microphone)->canRecordStereo());
    const auto pair = makeDeviceWith({.uid = "pair", .record = streams({{.channels = 1}, {.channels = 1}})});
    EXPECT_TRUE(deviceOf(pair)->canRecordStereo()) << "two streams of one channel";
}

TEST_F(DeviceProperties, PreferredStereoChannelsAreLeftAndRight) {
    const auto wide = makeDeviceWith({.uid = "wide", .playback = streams({{.channels = 8}})});
    EXPECT_THAT(deviceOf(wide)->preferredStereoPlaybackChannels(), Optional(ElementsAre(1U, 2U)));
    EXPECT_THAT(deviceOf(wide)->preferredStereoChannelsForDirection(playbackDirection), Optional(ElementsAre(1U, 2U)));
    EXPECT_THAT(device->preferredStereoChannelsForDirection(recordDirection), Optional(ElementsAre(1U, 1U)))
        << "one channel";
}

TEST_F(DeviceProperties, PreferredStereoChannelsThatCannotBeReadAreNothing) {
    const UInt32 selector = kAudioDevicePropertyPreferredChannelsForStereo;
    const CapturedLog log;
    const auto deaf = makeDeviceWith({.uid = "deaf", .record = {}});
    EXPECT_EQ(deviceOf(deaf)->preferredStereoChannelsForDirection(recordDirection), std::nullopt)
        << "no such direction";
    {
        const HardwareHook size(HardwareCall::getSize, software->deviceID(), selector, -7);
        EXPECT_EQ(device->preferredStereoPlaybackChannels(), std::nullopt);
    }
    const HardwareHook data(HardwareCall::getData, software->deviceID(), selector, -7);
    EXPECT_EQ(device->preferredStereoPlaybackChannels(), std::nullopt);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(DeviceProperties, OfADeviceThatIsGoneAllFallBack) {
    software->remove();
    const CapturedLog log;
    for (const SInt64 direction : {playbackDirection, recordDirection}) {
        EXPECT_EQ(device->sampleRateForDirection(direction), 0.0);
        EXPECT_EQ(device->latencyForDirection(direction), 0U);
        EXPECT_EQ(device->safetyOffsetForDirection(direction), 0U);
        EXPECT_EQ(device->bufferSizeForDirection(direction), 0U);
        EXPECT_EQ(device->bufferSizeRangeForDirection(direction), AudioValueRange{});
        EXPECT_FALSE(device->setBufferSize(512, direction));
        EXPECT_THAT(device->availableSampleRatesForDirection(direction), IsEmpty());
        EXPECT_EQ(device->preferredStereoChannelsForDirection(direction), std::nullopt);
        EXPECT_EQ(device->streamIDForChannel(1, direction), 0U);
    }
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_FALSE(device->canPlayback());
    EXPECT_EQ(log.lines().size(), 1U);
    device->setPlaybackNominalSampleRate(48000.0);
    EXPECT_EQ(log.lines().size(), 1U) << "nothing is reported";
}

TEST_F(DeviceProperties, TheNativeFormatHasTheChannelsAndTheRateOfTheDirection) {
    const auto playbackFormat = device->deviceNativePlaybackStreamDescription();
    EXPECT_TRUE(playbackFormat->isCanonicalFormat());
    EXPECT_FALSE(playbackFormat->isInterleaved());
    EXPECT_EQ(playbackFormat->channelsPerFrame(), 2U);
    EXPECT_EQ(playbackFormat->sampleRate(), 44100.0);
    EXPECT_EQ(playbackFormat->bytesPerFrame(), 4U);
    EXPECT_EQ(playbackFormat->bytesPerPacket(), 4U);
    EXPECT_EQ(device->deviceNativeRecordStreamDescription()->channelsPerFrame(), 1U);
    EXPECT_EQ(device->deviceNativeStreamDescriptionForDirection(recordDirection)->channelsPerFrame(), 1U);
    EXPECT_EQ(device->deviceNativeStreamDescriptionForDirection(7)->channelsPerFrame(), 2U);
}

} // namespace
