#include "tests/platform/files/DecodedFile.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>

namespace braq::tests {
namespace {

void require(bool condition, const std::string& what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

template <class T>
T load(const std::uint8_t* bytes) {
    T value;
    std::memcpy(&value, bytes, sizeof(value));
    return value;
}

double sampleAt(const std::uint8_t* plane, int index, AVSampleFormat packed) {
    const std::uint8_t* const bytes = plane + std::ptrdiff_t{index} * av_get_bytes_per_sample(packed);
    switch (packed) {
    case AV_SAMPLE_FMT_U8: return (*bytes - 128.0) / 128;
    case AV_SAMPLE_FMT_S16: return load<std::int16_t>(bytes) / 32768.0;
    case AV_SAMPLE_FMT_S32: return load<std::int32_t>(bytes) / 2147483648.0;
    case AV_SAMPLE_FMT_FLT: return static_cast<double>(load<float>(bytes));
    case AV_SAMPLE_FMT_DBL: return load<double>(bytes);
    default: throw std::runtime_error("a sample format that no decoder of these tests has");
    }
}

void append(const AVFrame& frame, DecodedFile& file) {
    const auto format = static_cast<AVSampleFormat>(frame.format);
    const bool isPlanar = av_sample_fmt_is_planar(format) != 0;
    for (int channel = 0; channel < file.channels; ++channel) {
        for (int i = 0; i < frame.nb_samples; ++i) {
            const int index = isPlanar ? i : i * file.channels + channel;
            file.samples[static_cast<std::size_t>(channel)].push_back(
                sampleAt(frame.extended_data[isPlanar ? channel : 0], index, av_get_packed_sample_fmt(format)));
        }
    }
}

struct Deleter {
    void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};

void decodePacket(AVCodecContext& decoder, const AVPacket* packet, bool isDamaged, DecodedFile& file) {
    const std::unique_ptr<AVFrame, Deleter> frame(av_frame_alloc());
    require(avcodec_send_packet(&decoder, packet) == 0 || isDamaged, "a packet is damaged");
    int result = 0;
    while ((result = avcodec_receive_frame(&decoder, frame.get())) == 0) {
        append(*frame, file);
    }
    require(result == AVERROR(EAGAIN) || result == AVERROR_EOF || isDamaged, "a frame is damaged");
}

// From version 7 on, libav takes an AU file without frames for one only when it is told.
const AVInputFormat* formatOf(const std::string& path) {
    std::string beginning(4, ' ');
    std::ifstream(path, std::ios::binary).read(beginning.data(), 4);
    return beginning == ".snd" ? av_find_input_format("au") : nullptr;
}

} // namespace

DecodedFile decodeFile(const std::string& path, bool isDamaged) {
    AVFormatContext* opened = nullptr;
    require(avformat_open_input(&opened, path.c_str(), formatOf(path), nullptr) == 0,
            "no file that can be read: " + path);
    const std::unique_ptr<AVFormatContext, Deleter> input(opened);
    require(avformat_find_stream_info(opened, nullptr) >= 0, "no track that can be read: " + path);
    require(input->nb_streams == 1, "not one track: " + path);
    const AVStream& stream = *input->streams[0];
    const AVCodec* const codec = avcodec_find_decoder(stream.codecpar->codec_id);
    require(codec != nullptr, "no decoder: " + path);
    const std::unique_ptr<AVCodecContext, Deleter> decoder(avcodec_alloc_context3(codec));
    decoder->pkt_timebase = stream.time_base;
    decoder->err_recognition = AV_EF_CRCCHECK | AV_EF_EXPLODE;
    require(avcodec_parameters_to_context(decoder.get(), stream.codecpar) >= 0, "no decoder: " + path);
    require(avcodec_open2(decoder.get(), codec, nullptr) == 0, "no decoder: " + path);

    DecodedFile file;
    file.container = input->iformat->name;
    file.codec = codec->name;
    file.rate = stream.codecpar->sample_rate;
    file.channels = stream.codecpar->ch_layout.nb_channels;
    file.samples.resize(static_cast<std::size_t>(file.channels));
    if (stream.duration != AV_NOPTS_VALUE) {
        file.statedFrames = av_rescale_q(stream.duration, stream.time_base, {1, file.rate});
    }
    const std::unique_ptr<AVPacket, Deleter> packet(av_packet_alloc());
    while (av_read_frame(input.get(), packet.get()) == 0) {
        ++file.packets;
        decodePacket(*decoder, packet.get(), isDamaged, file);
        av_packet_unref(packet.get());
    }
    decodePacket(*decoder, nullptr, isDamaged, file);
    return file;
}

} // namespace braq::tests
