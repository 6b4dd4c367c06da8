#include "platform/hardware/drivers/pipewire/NodeFacts.h"

#include "platform/hardware/drivers/pipewire/Headers.h"

#include <spa/debug/types.h>
#include <spa/param/audio/type-info.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace braq::pipewire {
namespace {

constexpr std::string_view sink = "Audio/Sink";
constexpr std::string_view source = "Audio/Source";
constexpr std::string_view virtualSource = "Audio/Source/Virtual";
constexpr std::string_view duplex = "Audio/Duplex";

ChannelLayout layoutOf(const spa_pod* format) {
    spa_audio_info_raw info{};
    if (format == nullptr || spa_format_audio_raw_parse(format, &info) < 0 || info.channels > SPA_AUDIO_MAX_CHANNELS) {
        return {};
    }
    if ((info.flags & SPA_AUDIO_FLAG_UNPOSITIONED) != 0) {
        return ChannelLayout(info.channels, SPA_AUDIO_CHANNEL_UNKNOWN);
    }
    return {info.position, info.position + info.channels};
}

UInt32 positionNamed(std::string_view name) {
    for (const spa_type_info* type = spa_type_audio_channel; type->name != nullptr; ++type) {
        if (name == spa_debug_type_short_name(type->name)) {
            return type->type;
        }
    }
    return SPA_AUDIO_CHANNEL_UNKNOWN;
}

// `FL,FR` or `[ FL, FR ]`.
ChannelLayout layoutNamed(const std::string& names) {
    constexpr const char* separators = " ,[]";
    ChannelLayout layout;
    std::size_t end = 0;
    for (std::size_t begin = names.find_first_not_of(separators); begin != std::string::npos;
         begin = names.find_first_not_of(separators, end)) {
        end = std::min(names.find_first_of(separators, begin), names.size());
        layout.push_back(positionNamed(std::string_view(names).substr(begin, end - begin)));
    }
    return layout;
}

} // namespace

void Properties::assign(const spa_dict* dictionary) {
    mEntries.clear();
    for (UInt32 index = 0; dictionary != nullptr && index < dictionary->n_items; ++index) {
        const spa_dict_item& item = dictionary->items[index];
        if (item.key != nullptr && item.value != nullptr) {
            mEntries[item.key] = item.value;
        }
    }
}

std::string Properties::get(const std::string& key) const {
    const auto found = mEntries.find(key);
    return found != mEntries.end() ? found->second : std::string();
}

bool isDeviceClass(const std::string& mediaClass) {
    constexpr std::array classes{sink, source, virtualSource, duplex};
    return std::ranges::find(classes, mediaClass) != classes.end();
}

bool NodeFacts::isDuplex() const { return properties.get(PW_KEY_MEDIA_CLASS) == duplex; }

bool NodeFacts::isSink() const { return properties.get(PW_KEY_MEDIA_CLASS) == sink || isDuplex(); }

bool NodeFacts::isSource() const {
    const std::string mediaClass = properties.get(PW_KEY_MEDIA_CLASS);
    return mediaClass == source || mediaClass == virtualSource;
}

ChannelLayout NodeFacts::layout(const ChannelSources& sources) const {
    for (const ChannelLayout* known : {&sources.configured, &sources.current, &sources.possible}) {
        if (!known->empty()) {
            return *known;
        }
    }
    ChannelLayout named = layoutNamed(properties.get(SPA_KEY_AUDIO_POSITION));
    const std::string count = properties.get(PW_KEY_AUDIO_CHANNELS);
    UInt32 channels = 0;
    std::from_chars(count.data(), count.data() + count.size(), channels);
    if (channels > 0 && channels <= SPA_AUDIO_MAX_CHANNELS) {
        named.resize(channels, SPA_AUDIO_CHANNEL_UNKNOWN);
    }
    return named;
}

void NodeFacts::take(UInt32 id, UInt32 index, const spa_pod* parameter) {
    const auto own = [this]() -> ChannelSources& { return isSource() ? sourceChannels : sinkChannels; };
    if (id == SPA_PARAM_Format) {
        own().current = layoutOf(parameter);
    } else if (id == SPA_PARAM_EnumFormat && index == 0) {
        own().possible = layoutOf(parameter);
    } else if (id == SPA_PARAM_PortConfig && parameter != nullptr) {
        UInt32 direction = SPA_DIRECTION_INPUT;
        spa_pod* format = nullptr;
        if (spa_pod_parse_object(parameter, SPA_TYPE_OBJECT_ParamPortConfig, nullptr, SPA_PARAM_PORT_CONFIG_direction,
                                 SPA_POD_Id(&direction), SPA_PARAM_PORT_CONFIG_format, SPA_POD_OPT_Pod(&format)) >= 0) {
            (direction == SPA_DIRECTION_INPUT ? sinkChannels : sourceChannels).configured = layoutOf(format);
        }
    }
}

} // namespace braq::pipewire
