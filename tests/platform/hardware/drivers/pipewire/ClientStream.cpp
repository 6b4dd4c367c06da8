#include "tests/platform/hardware/drivers/pipewire/ClientStream.h"

#include "BRAQAudio/platform/types.h"
#include "platform/hardware/drivers/pipewire/Headers.h"

#include <array>
#include <cstring>
#include <thread>

namespace braq::tests {

ClientStream::ClientStream(const Options& options) : mTimeInCycle(options.timeInCycle) {
    pw_init(nullptr, nullptr);
    mLoop = pw_thread_loop_new("other client", nullptr);
    pw_thread_loop_start(mLoop);
    pw_thread_loop_lock(mLoop);
    connect(options);
    pw_thread_loop_unlock(mLoop);
}

ClientStream::~ClientStream() {
    pw_thread_loop_lock(mLoop);
    pw_stream_destroy(mStream);
    pw_thread_loop_unlock(mLoop);
    pw_thread_loop_stop(mLoop);
    pw_thread_loop_destroy(mLoop);
}

void ClientStream::connect(const Options& options) {
    static const pw_stream_events events = {.version = PW_VERSION_STREAM_EVENTS,
                                            .destroy = nullptr,
                                            .state_changed = nullptr,
                                            .control_info = nullptr,
                                            .io_changed = nullptr,
                                            .param_changed = nullptr,
                                            .add_buffer = nullptr,
                                            .remove_buffer = nullptr,
                                            .process = [](void* self) { static_cast<ClientStream*>(self)->process(); },
                                            .drained = nullptr,
                                            .command = nullptr,
                                            .trigger_done = nullptr};
    pw_properties* const properties = pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", nullptr);
    for (const auto& [key, value] : options.properties) {
        pw_properties_set(properties, key.c_str(), value.c_str());
    }
    mStream = pw_stream_new_simple(pw_thread_loop_get_loop(mLoop), "other client", properties, &events, this);

    constexpr UInt32 memoryBytes = 1024;
    alignas(8) std::array<std::byte, memoryBytes> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), memoryBytes);
    spa_audio_info_raw info{};
    info.format = SPA_AUDIO_FORMAT_F32P;
    info.rate = 48000;
    info.channels = 2;
    info.position[0] = SPA_AUDIO_CHANNEL_FL;
    info.position[1] = SPA_AUDIO_CHANNEL_FR;
    const spa_pod* format = spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &info);
    pw_stream_connect(mStream, options.plays ? PW_DIRECTION_OUTPUT : PW_DIRECTION_INPUT, PW_ID_ANY,
                      static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS |
                                                   PW_STREAM_FLAG_RT_PROCESS),
                      &format, 1);
}

void ClientStream::process() {
    std::this_thread::sleep_for(mTimeInCycle);
    pw_buffer* const buffer = pw_stream_dequeue_buffer(mStream);
    if (buffer == nullptr) {
        return;
    }
    for (UInt32 channel = 0; channel < buffer->buffer->n_datas; ++channel) {
        const spa_data& data = buffer->buffer->datas[channel];
        const auto bytes = static_cast<UInt32>(buffer->requested * sizeof(float));
        if (bytes <= data.maxsize) {
            std::memset(data.data, 0, bytes);
            *data.chunk = {.offset = 0, .size = bytes, .stride = sizeof(float), .flags = 0};
        }
    }
    pw_stream_queue_buffer(mStream, buffer);
    ++mCycles;
}

} // namespace braq::tests
