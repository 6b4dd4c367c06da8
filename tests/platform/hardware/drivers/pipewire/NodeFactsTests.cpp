#include "platform/hardware/drivers/pipewire/NodeFacts.h"

#include "platform/hardware/drivers/pipewire/Headers.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>

using namespace braq::pipewire;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

NodeFacts factsOf(const std::string& mediaClass) {
    NodeFacts facts;
    facts.properties.set(PW_KEY_MEDIA_CLASS, mediaClass);
    return facts;
}

/// Parameters as the server sends them.
class Parameters {
  public:
    Parameters() { spa_pod_builder_init(&mBuilder, mMemory.data(), kMemoryBytes); }

    spa_pod* format(UInt32 id, const ChannelLayout& layout, UInt32 flags = 0) {
        spa_audio_info_raw info{};
        info.format = SPA_AUDIO_FORMAT_F32P;
        info.flags = flags;
        info.channels = static_cast<UInt32>(layout.size());
        std::ranges::copy(layout, info.position);
        return spa_format_audio_raw_build(&mBuilder, id, &info);
    }

    spa_pod* portConfig(spa_direction direction, const ChannelLayout& layout) {
        spa_pod_frame frame{};
        spa_pod_builder_push_object(&mBuilder, &frame, SPA_TYPE_OBJECT_ParamPortConfig, SPA_PARAM_PortConfig);
        spa_pod_builder_prop(&mBuilder, SPA_PARAM_PORT_CONFIG_direction, 0);
        spa_pod_builder_id(&mBuilder, direction);
        if (!layout.empty()) {
            spa_pod_builder_prop(&mBuilder, SPA_PARAM_PORT_CONFIG_format, 0);
            format(SPA_PARAM_Format, layout);
        }
        return static_cast<spa_pod*>(spa_pod_builder_pop(&mBuilder, &frame));
    }

  private:
    static constexpr UInt32 kMemoryBytes = 4096;
    alignas(8) std::array<std::byte, kMemoryBytes> mMemory{};
    spa_pod_builder mBuilder{};
};

const ChannelLayout mono{SPA_AUDIO_CHANNEL_MONO};
const ChannelLayout stereo{SPA_AUDIO_CHANNEL_FL, SPA_AUDIO_CHANNEL_FR};
const ChannelLayout quad{SPA_AUDIO_CHANNEL_FL, SPA_AUDIO_CHANNEL_FR, SPA_AUDIO_CHANNEL_RL, SPA_AUDIO_CHANNEL_RR};

} // namespace

TEST(PipeWire_NodeFacts, TellDevicesFromOtherNodes) {
    for (const char* const device : {"Audio/Sink", "Audio/Source", "Audio/Source/Virtual", "Audio/Duplex"}) {
        EXPECT_TRUE(isDeviceClass(device)) << device;
    }
    for (const char* const other :
         {"", "Audio", "Stream/Output/Audio", "Video/Source", "Audio/Device", "Audio/Source/Internal", "Midi/Bridge"}) {
        EXPECT_FALSE(isDeviceClass(other)) << other;
    }
}

TEST(PipeWire_NodeFacts, TellSinksFromSources) {
    EXPECT_TRUE(factsOf("Audio/Sink").isSink());
    EXPECT_FALSE(factsOf("Audio/Sink").isSource());
    EXPECT_TRUE(factsOf("Audio/Source").isSource());
    EXPECT_TRUE(factsOf("Audio/Source/Virtual").isSource());
    EXPECT_FALSE(factsOf("Audio/Source").isSink());
    EXPECT_TRUE(factsOf("Audio/Duplex").isSink());
    EXPECT_FALSE(factsOf("Audio/Duplex").isSource());
}

TEST(PipeWire_NodeFacts, PreferConfiguredChannelsToCurrentToPossibleOnes) {
    NodeFacts facts = factsOf("Audio/Sink");
    Parameters parameters;
    facts.take(SPA_PARAM_EnumFormat, 0, parameters.format(SPA_PARAM_EnumFormat, quad));
    EXPECT_EQ(facts.sinkLayout(), quad);
    facts.take(SPA_PARAM_EnumFormat, 1, parameters.format(SPA_PARAM_EnumFormat, stereo));
    EXPECT_EQ(facts.sinkLayout(), quad) << "the first of the formats counts";
    facts.take(SPA_PARAM_Format, 0, parameters.format(SPA_PARAM_Format, mono));
    EXPECT_EQ(facts.sinkLayout(), mono);
    facts.take(SPA_PARAM_PortConfig, 0, parameters.portConfig(SPA_DIRECTION_INPUT, stereo));
    EXPECT_EQ(facts.sinkLayout(), stereo);
    facts.take(SPA_PARAM_PortConfig, 0, parameters.portConfig(SPA_DIRECTION_INPUT, {}));
    EXPECT_EQ(facts.sinkLayout(), mono) << "ports that are no longer configured do not count";
}

TEST(PipeWire_NodeFacts, KeepTheDirectionsApart) {
    NodeFacts facts = factsOf("Audio/Source");
    Parameters parameters;
    facts.take(SPA_PARAM_PortConfig, 0, parameters.portConfig(SPA_DIRECTION_INPUT, quad));
    EXPECT_THAT(facts.sourceLayout(), IsEmpty());
    facts.take(SPA_PARAM_PortConfig, 1, parameters.portConfig(SPA_DIRECTION_OUTPUT, stereo));
    EXPECT_EQ(facts.sourceLayout(), stereo);
    EXPECT_EQ(facts.sinkLayout(), quad);
}

TEST(PipeWire_NodeFacts, KnowTheCountOfChannelsWithoutPositions) {
    NodeFacts facts = factsOf("Audio/Sink");
    Parameters parameters;
    facts.take(SPA_PARAM_Format, 0, parameters.format(SPA_PARAM_Format, quad, SPA_AUDIO_FLAG_UNPOSITIONED));
    EXPECT_EQ(facts.sinkLayout(), ChannelLayout(4, SPA_AUDIO_CHANNEL_UNKNOWN));
}

TEST(PipeWire_NodeFacts, FallBackOnProperties) {
    NodeFacts facts = factsOf("Audio/Source");
    EXPECT_THAT(facts.sourceLayout(), IsEmpty());
    facts.properties.set(SPA_KEY_AUDIO_POSITION, "[ FL, FR, RL, RR ]");
    EXPECT_EQ(facts.sourceLayout(), quad);
    facts.properties.set(SPA_KEY_AUDIO_POSITION, "FL,FR");
    EXPECT_EQ(facts.sourceLayout(), stereo);
    facts.properties.set(PW_KEY_AUDIO_CHANNELS, "3");
    EXPECT_THAT(facts.sourceLayout(),
                ElementsAre(SPA_AUDIO_CHANNEL_FL, SPA_AUDIO_CHANNEL_FR, SPA_AUDIO_CHANNEL_UNKNOWN));
    facts.properties.set(SPA_KEY_AUDIO_POSITION, "NOWHERE");
    facts.properties.set(PW_KEY_AUDIO_CHANNELS, "1");
    EXPECT_THAT(facts.sourceLayout(), ElementsAre(SPA_AUDIO_CHANNEL_UNKNOWN));
    facts.properties.set(PW_KEY_AUDIO_CHANNELS, "4000000000");
    EXPECT_THAT(facts.sourceLayout(), ElementsAre(SPA_AUDIO_CHANNEL_UNKNOWN)) << "more channels than there can be";
}

TEST(PipeWire_NodeFacts, PassOverParametersThatAreNoFormats) {
    NodeFacts facts = factsOf("Audio/Sink");
    Parameters parameters;
    facts.take(SPA_PARAM_Format, 0, nullptr);
    facts.take(SPA_PARAM_PortConfig, 0, nullptr);
    facts.take(SPA_PARAM_PortConfig, 0, parameters.format(SPA_PARAM_Format, stereo));
    facts.take(SPA_PARAM_Props, 0, parameters.format(SPA_PARAM_Format, stereo));
    EXPECT_THAT(facts.sinkLayout(), IsEmpty());
}
