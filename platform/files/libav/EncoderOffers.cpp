#include "platform/files/libav/EncoderOffers.h"

#include <cstddef>

namespace braq {
namespace {

#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(61, 13, 100)

template <class Value>
std::span<const Value> offers(const AVCodec& encoder, AVCodecConfig config) {
    const void* values = nullptr;
    int count = 0;
    if (avcodec_get_supported_config(nullptr, &encoder, config, 0, &values, &count) < 0 || values == nullptr) {
        return {};
    }
    return {static_cast<const Value*>(values), static_cast<std::size_t>(count)};
}

#else

template <class Value, class IsEnd>
std::span<const Value> upTo(const Value* values, IsEnd isEnd) {
    std::size_t count = 0;
    while (values != nullptr && !isEnd(values[count])) {
        ++count;
    }
    return {values, count};
}

#endif

} // namespace

#if LIBAVCODEC_VERSION_INT >= AV_VERSION_INT(61, 13, 100)

std::span<const AVSampleFormat> sampleFormatsOf(const AVCodec& encoder) {
    return offers<AVSampleFormat>(encoder, AV_CODEC_CONFIG_SAMPLE_FORMAT);
}

std::span<const int> sampleRatesOf(const AVCodec& encoder) { return offers<int>(encoder, AV_CODEC_CONFIG_SAMPLE_RATE); }

std::span<const AVChannelLayout> layoutsOf(const AVCodec& encoder) {
    return offers<AVChannelLayout>(encoder, AV_CODEC_CONFIG_CHANNEL_LAYOUT);
}

#else

std::span<const AVSampleFormat> sampleFormatsOf(const AVCodec& encoder) {
    return upTo(encoder.sample_fmts, [](AVSampleFormat format) { return format == AV_SAMPLE_FMT_NONE; });
}

std::span<const int> sampleRatesOf(const AVCodec& encoder) {
    return upTo(encoder.supported_samplerates, [](int rate) { return rate == 0; });
}

std::span<const AVChannelLayout> layoutsOf(const AVCodec& encoder) {
    return upTo(encoder.ch_layouts, [](const AVChannelLayout& layout) { return layout.nb_channels == 0; });
}

#endif

} // namespace braq
