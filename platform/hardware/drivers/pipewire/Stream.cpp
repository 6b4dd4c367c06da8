#include "platform/hardware/drivers/pipewire/Stream.h"

#include "platform/foundation/ApplicationFacts.h"
#include "platform/hardware/drivers/pipewire/DataThread.h"
#include "platform/hardware/drivers/pipewire/Headers.h"

#include <spa/param/props.h>

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

namespace braq::pipewire {
namespace {

std::string latencyText(UInt32 frames, UInt32 rate) { return std::to_string(frames) + "/" + std::to_string(rate); }

// A stream with a target belongs to its device for good: it is not moved to another one, not mixed to other channels, and
// not put on a device remembered from an earlier stream of this application. Session managers up to 0.4 take the first of
// these properties for all of that; later ones let a mixer's word outrank the target unless the others are there too.
void keepToTarget(pw_properties* properties, const std::string& serial) {
    pw_properties_set(properties, PW_KEY_TARGET_OBJECT, serial.c_str());
    for (const char* const key :
         {PW_KEY_NODE_DONT_RECONNECT, "node.dont-fallback", "node.dont-move", PW_KEY_STREAM_DONT_REMIX}) {
        pw_properties_set(properties, key, "true");
    }
    pw_properties_set(properties, "state.restore-target", "false");
}

struct Entry {
    const char* key;
    std::string value;
};

// Session managers store the level that a user sets under the first of these properties that a stream has: role (not in
// the newest versions), ID and name of the application. All music players have the same role and would share each
// other's levels, so a stream has none unless the program asks for it.
std::vector<Entry> describing(const ApplicationFacts& program, bool plays) {
    const std::string use = plays ? "Playback" : "Capture";
    const std::string title = plays ? program.title : std::string();
    return {{PW_KEY_APP_NAME, program.name},
            {PW_KEY_NODE_DESCRIPTION, program.name},
            {PW_KEY_APP_ICON_NAME, program.iconName},
            {PW_KEY_MEDIA_ROLE, program.role},
            {PW_KEY_MEDIA_NAME, title.empty() ? use : title},
            {PW_KEY_MEDIA_TITLE, title}};
}

pw_properties* propertiesOf(pw_core* core, const DeviceKey& device, UInt32 rate, const GraphWish& wish,
                            const ApplicationFacts& program) {
    const bool plays = device.use == Use::playback;
    pw_properties* const properties =
        pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, plays ? "Playback" : "Capture",
                          PW_KEY_NODE_NAME, program.name.c_str(), "channelmix.upmix", "false", nullptr);
    for (const Entry& entry : describing(program, plays)) {
        if (!entry.value.empty()) {
            pw_properties_set(properties, entry.key, entry.value.c_str());
        }
    }
    if (!device.serial.empty()) {
        keepToTarget(properties, device.serial);
    }
    if (device.use == Use::monitor) {
        pw_properties_set(properties, PW_KEY_STREAM_CAPTURE_SINK, "true");
    }
    if (const char* const loop = DataThread::nameOfLoopOf(pw_core_get_context(core))) {
        pw_properties_set(properties, "node.loop.name", loop);
    }
    if (wish.quantum != 0) {
        pw_properties_set(properties, PW_KEY_NODE_LATENCY, latencyText(wish.quantum, rate).c_str());
    }
    if (wish.rate.rate() != 0) {
        pw_properties_setf(properties, PW_KEY_NODE_RATE, "1/%u", wish.rate.rate());
    }
    if (wish.rate.forced != 0) {
        pw_properties_setf(properties, PW_KEY_NODE_FORCE_RATE, "%u", wish.rate.forced);
    }
    return properties;
}

void update(pw_stream* stream, const std::vector<Entry>& changes) {
    std::vector<spa_dict_item> items;
    items.reserve(changes.size());
    for (const auto& [key, value] : changes) {
        items.push_back({.key = key, .value = value.c_str()});
    }
    const spa_dict dictionary{.flags = 0, .n_items = static_cast<UInt32>(items.size()), .items = items.data()};
    pw_stream_update_properties(stream, &dictionary);
}

using FormatMemory = std::array<std::byte, 1024>;

const spa_pod* formatOf(const ChannelLayout& layout, UInt32 rate, FormatMemory& memory) {
    spa_audio_info_raw info{};
    info.format = SPA_AUDIO_FORMAT_F32P;
    info.rate = rate;
    info.channels = static_cast<UInt32>(layout.size());
    std::ranges::copy(layout, info.position);
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), static_cast<UInt32>(memory.size()));
    return spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &info);
}

} // namespace

Stream::Stream(pw_core* core, const DeviceKey& device, const ChannelLayout& layout, UInt32 rate, const GraphWish& wish,
               StreamCycle& cycle, std::function<void()> changed)
    : mPlays(device.use == Use::playback),
      mIsMovable(device.serial.empty()),
      mRate(rate),
      mChannels(static_cast<UInt32>(layout.size())),
      mWish(wish),
      mCycle(cycle),
      mChanged(std::move(changed)),
      mDataLoop(DataThread::loopOf(pw_core_get_context(core))),
      mProgram(applicationFacts()),
      mStream(pw_stream_new(core, mProgram.name.c_str(), propertiesOf(core, device, rate, wish, mProgram))) {
    if (mStream == nullptr) {
        mHasFailed = true;
        return;
    }
    mCycle.prepare(rate);
    connect(rate, layout);
}

Stream::~Stream() {
    mIsEnding = true;
    if (mStream != nullptr) {
        pw_stream_destroy(mStream);
    }
}

void Stream::connect(UInt32 rate, const ChannelLayout& layout) {
    static const pw_stream_events events = {
        .version = PW_VERSION_STREAM_EVENTS,
        .destroy = nullptr,
        .state_changed = [](void* self, pw_stream_state /*before*/, pw_stream_state state,
                            const char* /*error*/) { static_cast<Stream*>(self)->stateChanged(state); },
        .control_info =
            [](void* self, uint32_t property, const pw_stream_control* control) {
                static_cast<Stream*>(self)->takeControl(property, control->values, control->n_values);
            },
        .io_changed =
            [](void* self, uint32_t id, void* area, uint32_t size) {
                if (id == SPA_IO_Position) {
                    const bool isWhole = area != nullptr && size >= sizeof(spa_io_position);
                    static_cast<Stream*>(self)->setPosition(isWhole ? static_cast<spa_io_position*>(area) : nullptr);
                }
            },
        .param_changed =
            [](void* self, uint32_t id, const spa_pod* parameter) {
                if (id == SPA_PARAM_Format && parameter != nullptr) {
                    static_cast<Stream*>(self)->takeFormat(parameter);
                }
            },
        .add_buffer = nullptr,
        .remove_buffer = nullptr,
        .process = [](void* self) { static_cast<Stream*>(self)->process(); },
        .drained = nullptr,
        .command = nullptr,
        .trigger_done = nullptr,
    };
    pw_stream_add_listener(mStream, &mListener, &events, this);

    FormatMemory memory;
    const spa_pod* format = formatOf(layout, rate, memory);
    auto flags =
        static_cast<UInt32>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS);
    if (!mIsMovable) {
        flags |= PW_STREAM_FLAG_DONT_RECONNECT;
    }
    const pw_direction direction = mPlays ? PW_DIRECTION_OUTPUT : PW_DIRECTION_INPUT;
    if (pw_stream_connect(mStream, direction, PW_ID_ANY, static_cast<pw_stream_flags>(flags), &format, 1) < 0) {
        mHasFailed = true;
    }
}

// A stream takes another format when it starts the next time.
void Stream::adopt(const ChannelLayout& layout, UInt32 rate) {
    mCycle.close();
    mIsAdopting = true;
    mRate = rate;
    mChannels = static_cast<UInt32>(layout.size());
    FormatMemory memory;
    const spa_pod* format = formatOf(layout, rate, memory);
    pw_stream_update_params(mStream, &format, 1);
    pw_stream_set_active(mStream, false);
    pw_stream_set_active(mStream, true);
}

void Stream::takeFormat(const spa_pod* format) {
    spa_audio_info_raw info{};
    if (!mIsMovable || spa_format_audio_raw_parse(format, &info) < 0) {
        return;
    }
    struct Change {
        StreamCycle& cycle;
        spa_audio_info_raw info;
    };
    Change change{mCycle, info};
    onDataThread(
        [](void* context) noexcept {
            const auto& wanted = *static_cast<const Change*>(context);
            wanted.cycle.reshape(wanted.info.rate, wanted.info.channels);
        },
        &change);
    mIsAdopting = mIsAdopting && (info.rate != mRate || info.channels != mChannels);
    mChanged();
}

UInt32 Stream::node() const { return mStream != nullptr ? pw_stream_get_node_id(mStream) : SPA_ID_INVALID; }

// A stream that is moved is connected to nothing for a moment. It may then be connected to some channels of the new
// device before the others.
void Stream::stateChanged(int state) {
    mHasFailed = mHasFailed || state == PW_STREAM_STATE_ERROR || state == PW_STREAM_STATE_UNCONNECTED;
    mIsStreaming = state == PW_STREAM_STATE_STREAMING;
    if (mIsMovable && !mIsStreaming) {
        mCycle.close();
    }
    if (!mIsEnding) {
        mChanged();
    }
}

// The server removes the memory when it says so: the data thread must have released it by then.
void Stream::setPosition(spa_io_position* position) {
    struct Change {
        Stream* stream;
        spa_io_position* position;
    };
    Change change{this, position};
    onDataThread(
        [](void* context) noexcept {
            const auto& wanted = *static_cast<const Change*>(context);
            wanted.stream->mPosition = wanted.position;
        },
        &change);
}

// Returns when it is done.
void Stream::onDataThread(void (*what)(void* context) noexcept, void* context) {
    struct Call {
        void (*what)(void* context) noexcept;
        void* context;
    };
    Call call{what, context};
    pw_data_loop_invoke(
        mDataLoop,
        [](spa_loop* /*loop*/, bool /*async*/, uint32_t /*sequence*/, const void* /*data*/, size_t /*size*/,
           void* reference) {
            const auto& wanted = *static_cast<const Call*>(reference);
            wanted.what(wanted.context);
            return 0;
        },
        0, nullptr, 0, true, &call);
}

void Stream::setWish(const GraphWish& wish) {
    if (wish == mWish || mStream == nullptr) {
        return;
    }
    // A request can be replaced by another one, but not withdrawn while the stream exists.
    std::vector<Entry> changes;
    if (wish.quantum != mWish.quantum) {
        changes.push_back({PW_KEY_NODE_LATENCY, latencyText(wish.quantum, mRate)});
    }
    if (wish.rate.forced != mWish.rate.forced) {
        changes.push_back({PW_KEY_NODE_RATE, "1/" + std::to_string(wish.rate.forced)});
        changes.push_back({PW_KEY_NODE_FORCE_RATE, std::to_string(wish.rate.forced)});
    }
    mWish = wish;
    update(mStream, changes);
}

void Stream::describeProgram() {
    ApplicationFacts program = applicationFacts();
    if (mStream == nullptr || program == mProgram) {
        return;
    }
    mProgram = std::move(program);
    update(mStream, describing(mProgram, mPlays));
}

Float32 Stream::mixerLevel() const { return mIsMuted ? 0.0F : mVolume * mChannelVolume; }

void Stream::takeControl(UInt32 property, const float* values, UInt32 count) {
    if (count == 0) {
        return;
    }
    const Float32 before = mixerLevel();
    switch (property) {
    case SPA_PROP_volume: mVolume = values[0]; break;
    case SPA_PROP_channelVolumes: mChannelVolume = *std::max_element(values, values + count); break;
    case SPA_PROP_mute: mIsMuted = values[0] != 0.0F; break;
    default: return;
    }
    if (mixerLevel() != before) {
        mChanged();
    }
}

void Stream::process() noexcept {
    pw_buffer* const buffer = pw_stream_dequeue_buffer(mStream);
    if (buffer == nullptr) {
        return;
    }
    if (mPlays) {
        mCycle.play(*buffer->buffer, buffer->requested, mPosition);
    } else {
        mCycle.record(*buffer->buffer, mPosition);
    }
    pw_stream_queue_buffer(mStream, buffer);
}

} // namespace braq::pipewire
