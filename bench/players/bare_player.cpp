// Plays a file on a device until it is interrupted, with libsndfile and a stream of libpipewire and nothing between them: the
// least that a program can do.
#include <pipewire/pipewire.h>
#include <sndfile.h>
#include <spa/param/audio/format-utils.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace {

constexpr int channels = 2;
constexpr int rate = 48000;

struct Player {
    SNDFILE* file = nullptr;
    pw_stream* stream = nullptr;
};

void fill(void* data) {
    const auto* const player = static_cast<Player*>(data);
    pw_buffer* const queued = pw_stream_dequeue_buffer(player->stream);
    if (queued == nullptr) {
        return;
    }
    spa_data& samples = queued->buffer->datas[0];
    constexpr std::uint32_t frameBytes = channels * sizeof(float);
    const std::uint64_t room = samples.maxsize / frameBytes;
    const std::uint64_t wanted = queued->requested != 0 ? std::min<std::uint64_t>(queued->requested, room) : room;
    const sf_count_t frames =
        sf_readf_float(player->file, static_cast<float*>(samples.data), static_cast<sf_count_t>(wanted));
    samples.chunk->offset = 0;
    samples.chunk->stride = frameBytes;
    samples.chunk->size = static_cast<std::uint32_t>(frames) * frameBytes;
    pw_stream_queue_buffer(player->stream, queued);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    Player player;
    SF_INFO info{};
    player.file = sf_open(argv[1], SFM_READ, &info);
    if (player.file == nullptr || info.channels != channels || info.samplerate != rate) {
        return 1;
    }
    pw_init(nullptr, nullptr);
    pw_main_loop* const loop = pw_main_loop_new(nullptr);
    pw_stream_events events{};
    events.version = PW_VERSION_STREAM_EVENTS;
    events.process = fill;
    player.stream = pw_stream_new_simple(pw_main_loop_get_loop(loop), "bare player",
                                         pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY,
                                                           "Playback", PW_KEY_TARGET_OBJECT, argv[2], nullptr),
                                         &events, &player);
    std::array<std::uint8_t, 1024> memory{};
    spa_pod_builder builder{};
    builder.data = memory.data();
    builder.size = static_cast<std::uint32_t>(memory.size());
    spa_audio_info_raw format{};
    format.format = SPA_AUDIO_FORMAT_F32;
    format.channels = channels;
    format.rate = rate;
    const spa_pod* parameters[]{spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &format)};
    constexpr auto flags = static_cast<pw_stream_flags>(PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_MAP_BUFFERS |
                                                        PW_STREAM_FLAG_RT_PROCESS);
    pw_stream_connect(player.stream, PW_DIRECTION_OUTPUT, PW_ID_ANY, flags, parameters, 1);
    pw_main_loop_run(loop);
}
