#include "platform/hardware/drivers/pipewire/Describe.h"

#include "BRAQAudio/platform/hardware.h"
#include "platform/hardware/drivers/pipewire/Headers.h"

#include <gmock/gmock.h>

using namespace braq;
using namespace braq::pipewire;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

NodeFacts nodeOf(const std::string& mediaClass) {
    NodeFacts facts;
    facts.properties.set(PW_KEY_MEDIA_CLASS, mediaClass);
    facts.properties.set(PW_KEY_NODE_NAME, "node");
    facts.properties.set(PW_KEY_NODE_DESCRIPTION, "A node");
    facts.properties.set(PW_KEY_OBJECT_SERIAL, "77");
    facts.properties.set(SPA_KEY_AUDIO_POSITION, "FL,FR");
    return facts;
}

std::vector<FoundDevice> described(const NodeFacts& node, const Properties& card = {},
                                   const GraphSettings& settings = {}) {
    return describe(node, card, [&](const DeviceKey& /*device*/) { return settings; });
}

Properties propertiesOf(const std::vector<std::pair<std::string, std::string>>& entries) {
    Properties properties;
    for (const auto& [key, value] : entries) {
        properties.set(key, value);
    }
    return properties;
}

} // namespace

TEST(PipeWire_Describe, MakesASinkAndItsMonitorTwoDevices) {
    const auto devices = described(nodeOf("Audio/Sink"));
    ASSERT_THAT(devices, SizeIs(2));

    const DeviceDescription& sink = devices[0].description;
    EXPECT_EQ(devices[0].key, (DeviceKey{"77", Use::playback}));
    EXPECT_EQ(sink.uid, "node");
    EXPECT_EQ(sink.name, "A node");
    EXPECT_EQ(sink.playback.streams, (std::vector<DeviceStream>{{.channels = 2}}));
    EXPECT_THAT(sink.playback.positions, ElementsAre(ChannelPosition::frontLeft, ChannelPosition::frontRight));
    EXPECT_EQ(sink.record, DeviceDirection());

    const DeviceDescription& monitor = devices[1].description;
    EXPECT_EQ(devices[1].key, (DeviceKey{"77", Use::monitor}));
    EXPECT_EQ(monitor.uid, "node.monitor");
    EXPECT_EQ(monitor.name, "Monitor of A node");
    EXPECT_EQ(monitor.transportType, kAudioDeviceTransportTypeVirtual);
    EXPECT_EQ(monitor.record.channels(), 2U);
    EXPECT_EQ(monitor.playback, DeviceDirection());
}

TEST(PipeWire_Describe, MakesASourceOneDevice) {
    for (const char* const mediaClass : {"Audio/Source", "Audio/Source/Virtual"}) {
        const auto devices = described(nodeOf(mediaClass));
        ASSERT_THAT(devices, SizeIs(1));
        EXPECT_EQ(devices[0].key, (DeviceKey{"77", Use::record}));
        EXPECT_EQ(devices[0].description.uid, "node");
        EXPECT_EQ(devices[0].description.record.channels(), 2U);
        EXPECT_EQ(devices[0].description.playback, DeviceDirection());
    }
}

TEST(PipeWire_Describe, MakesADuplexNodeASinkWithAMonitor) {
    const auto devices = described(nodeOf("Audio/Duplex"));
    ASSERT_THAT(devices, SizeIs(2));
    EXPECT_EQ(devices[0].key.use, Use::playback);
    EXPECT_EQ(devices[1].key.use, Use::monitor);
}

TEST(PipeWire_Describe, LeavesOutNodesWithoutChannelsOrName) {
    NodeFacts nameless = nodeOf("Audio/Sink");
    nameless.properties.set(PW_KEY_NODE_NAME, "");
    EXPECT_THAT(described(nameless), IsEmpty());
    NodeFacts withoutChannels = nodeOf("Audio/Source");
    withoutChannels.properties.set(SPA_KEY_AUDIO_POSITION, "");
    EXPECT_THAT(described(withoutChannels), IsEmpty());
}

TEST(PipeWire_Describe, NamesANodeByWhatItHas) {
    NodeFacts node = nodeOf("Audio/Source");
    node.properties.set(PW_KEY_NODE_DESCRIPTION, "");
    EXPECT_EQ(described(node)[0].description.name, "node");
    node.properties.set(PW_KEY_NODE_NICK, "Nick");
    EXPECT_EQ(described(node)[0].description.name, "Nick");
}

TEST(PipeWire_Describe, TakesRateAndQuantumFromTheGraph) {
    GraphSettings settings;
    settings.rate = 44100;
    settings.allowedRates = {48000, 44100};
    settings.quantum = 256;
    settings.smallestQuantum = 32;
    settings.largestQuantum = 2048;
    DeviceDescription device = described(nodeOf("Audio/Source"), {}, settings)[0].description;
    EXPECT_EQ(device.nominalRate, 44100.0);
    ASSERT_THAT(device.rates, SizeIs(2));
    EXPECT_EQ(device.rates[0].mMinimum, 44100.0);
    EXPECT_EQ(device.rates[0].mMaximum, 44100.0);
    EXPECT_EQ(device.rates[1].mMinimum, 48000.0);
    EXPECT_EQ(device.bufferFrames, 256U);
    EXPECT_EQ(device.minimumBufferFrames, 32U);
    EXPECT_EQ(device.maximumBufferFrames, 2048U);

    settings.forcedQuantum = 8192;
    device = described(nodeOf("Audio/Source"), {}, settings)[0].description;
    EXPECT_EQ(device.bufferFrames, 8192U);
    EXPECT_EQ(device.maximumBufferFrames, 8192U) << "a cycle is never longer than the largest one";
}

TEST(PipeWire_Describe, GivesASinkThatDrivesTheGraphACycleOfLatencyAtLeast) {
    GraphSettings settings;
    settings.forcedQuantum = 512;
    NodeFacts node = nodeOf("Audio/Sink");
    const auto latency = [&](std::size_t device) {
        const DeviceDescription description = described(node, {}, settings)[device].description;
        return (device == 0 ? description.playback : description.record).latencyFrames;
    };
    node.sinkLatency.max_rate = 100;
    EXPECT_EQ(latency(0), 100U) << "it takes frames in the cycle that they are rendered in";
    node.properties.set(PW_KEY_NODE_DRIVER, "true");
    EXPECT_EQ(latency(0), 512U + 100U);
    EXPECT_EQ(latency(1), 0U) << "its monitor";
    node.sinkLatency.max_quantum = 1.0F;
    EXPECT_EQ(latency(0), 512U + 100U) << "which the ports tell of";
    node.sinkLatency.max_quantum = 2.0F;
    EXPECT_EQ(latency(0), 1024U + 100U);
}

TEST(PipeWire_Describe, AddsUpTheKindsOfLatency) {
    spa_latency_info latency{};
    latency.max_quantum = 1.5F;
    latency.max_rate = 100;
    latency.max_ns = 10'000'000;
    EXPECT_EQ(framesOf(latency, 48000, 1024), 1536U + 100U + 480U);
    EXPECT_EQ(framesOf({}, 48000, 1024), 0U);
    latency.max_quantum = -10.0F;
    EXPECT_EQ(framesOf(latency, 48000, 1024), 0U) << "no latency is negative";

    NodeFacts node = nodeOf("Audio/Sink");
    node.sinkLatency.max_rate = 11;
    node.monitorLatency.max_rate = 12;
    EXPECT_EQ(described(node)[0].description.playback.latencyFrames, 11U);
    EXPECT_EQ(described(node)[1].description.record.latencyFrames, 12U);
    NodeFacts source = nodeOf("Audio/Source");
    source.sourceLatency.max_rate = 13;
    EXPECT_EQ(described(source)[0].description.record.latencyFrames, 13U);
}

TEST(PipeWire_Describe, SaysWhetherAnyProcessUsesTheNode) {
    NodeFacts node = nodeOf("Audio/Source");
    EXPECT_FALSE(described(node)[0].description.isRunningSomewhere);
    node.isRunning = true;
    EXPECT_TRUE(described(node)[0].description.isRunningSomewhere);
}

TEST(PipeWire_Describe, KnowsTheMakerFromTheCard) {
    const Properties card = propertiesOf({{"device.vendor.name", "Maker"}});
    EXPECT_EQ(described(nodeOf("Audio/Source"), card)[0].description.manufacturer, "Maker");
    EXPECT_EQ(described(nodeOf("Audio/Source"))[0].description.manufacturer, "");
}

TEST(PipeWire_Describe, FindsTheTransportType) {
    const auto typeOf = [](const std::vector<std::pair<std::string, std::string>>& node,
                           const std::vector<std::pair<std::string, std::string>>& card) {
        return transportTypeOf(propertiesOf(node), propertiesOf(card));
    };
    EXPECT_EQ(typeOf({{"factory.name", "support.null-audio-sink"}}, {}), kAudioDeviceTransportTypeVirtual);
    EXPECT_EQ(typeOf({}, {}), kAudioDeviceTransportTypeVirtual);
    EXPECT_EQ(typeOf({{"device.api", "bluez5"}}, {}), kAudioDeviceTransportTypeBluetooth);
    EXPECT_EQ(typeOf({}, {{"device.api", "bluez5"}, {"device.bus", "bluetooth"}}), kAudioDeviceTransportTypeBluetooth);
    EXPECT_EQ(typeOf({{"device.api", "alsa"}}, {{"device.bus", "usb"}}), kAudioDeviceTransportTypeUSB);
    EXPECT_EQ(typeOf({{"device.api", "alsa"}}, {{"device.bus", "pci"}}), kAudioDeviceTransportTypePCI);
    EXPECT_EQ(typeOf({{"device.api", "alsa"}}, {{"device.bus", "pci"}, {"device.form-factor", "internal"}}),
              kAudioDeviceTransportTypeBuiltIn);
    EXPECT_EQ(typeOf({{"device.api", "alsa"}, {"device.profile.name", "hdmi-stereo-extra1"}}, {{"device.bus", "pci"}}),
              kAudioDeviceTransportTypeHDMI);
    EXPECT_EQ(typeOf({{"device.api", "alsa"}, {"api.alsa.path", "hdmi:0,1"}}, {}), kAudioDeviceTransportTypeHDMI);
    EXPECT_EQ(typeOf({{"device.api", "alsa"}, {"node.name", "out.displayport-1"}}, {}),
              kAudioDeviceTransportTypeDisplayPort);
    EXPECT_EQ(typeOf({{"device.api", "alsa"}}, {}), kAudioDeviceTransportTypeUnknown);
}
