#include "tests/platform/hardware/drivers/pipewire/LatentDevice.h"

#include "platform/hardware/drivers/pipewire/Headers.h"

#include <pipewire/filter.h>

#include <array>
#include <cstddef>

namespace braq::tests {

LatentDevice::LatentDevice(const std::string& name, const spa_latency_info& latency) {
    static const pw_filter_events events = {.version = PW_VERSION_FILTER_EVENTS,
                                            .destroy = nullptr,
                                            .state_changed = nullptr,
                                            .io_changed = nullptr,
                                            .param_changed = nullptr,
                                            .add_buffer = nullptr,
                                            .remove_buffer = nullptr,
                                            .process = [](void* /*self*/, spa_io_position* /*position*/) {},
                                            .drained = nullptr,
                                            .command = nullptr};
    const bool isSink = latency.direction == SPA_DIRECTION_INPUT;
    pw_init(nullptr, nullptr);
    mLoop = pw_thread_loop_new("latent device", nullptr);
    pw_thread_loop_start(mLoop);
    pw_thread_loop_lock(mLoop);
    mFilter = pw_filter_new_simple(pw_thread_loop_get_loop(mLoop), name.c_str(),
                                   pw_properties_new(PW_KEY_NODE_NAME, name.c_str(), PW_KEY_MEDIA_CLASS,
                                                     isSink ? "Audio/Sink" : "Audio/Source", SPA_KEY_AUDIO_POSITION,
                                                     "MONO", PW_KEY_AUDIO_CHANNELS, "1", nullptr),
                                   &events, this);
    alignas(8) std::array<std::byte, 512> memory{};
    spa_pod_builder builder{};
    spa_pod_builder_init(&builder, memory.data(), static_cast<uint32_t>(memory.size()));
    const spa_pod* parameter = spa_latency_build(&builder, SPA_PARAM_Latency, &latency);
    pw_filter_add_port(
        mFilter, isSink ? PW_DIRECTION_INPUT : PW_DIRECTION_OUTPUT, PW_FILTER_PORT_FLAG_MAP_BUFFERS, 0,
        pw_properties_new(PW_KEY_FORMAT_DSP, "32 bit float mono audio", PW_KEY_PORT_NAME, "mono", nullptr), &parameter,
        1);
    pw_filter_connect(mFilter, PW_FILTER_FLAG_RT_PROCESS, nullptr, 0);
    pw_thread_loop_unlock(mLoop);
}

LatentDevice::~LatentDevice() {
    pw_thread_loop_lock(mLoop);
    pw_filter_destroy(mFilter);
    pw_thread_loop_unlock(mLoop);
    pw_thread_loop_stop(mLoop);
    pw_thread_loop_destroy(mLoop);
}

} // namespace braq::tests
