#include "platform/files/writing/Encoder.h"

#include "platform/files/libav/EncoderOffers.h"
#include "platform/foundation/FailureReason.h"

extern "C" {
#include <libavutil/opt.h>
}

#include <algorithm>
#include <new>
#include <span>

namespace braq {
namespace {

void setBitRate(UInt32 bitRate, AVCodecContext& context) {
    constexpr std::int64_t lowest = 1000; // below about this, the encoder gives up
    const std::int64_t channels = context.ch_layout.nb_channels;
    const std::int64_t highest = std::int64_t{6} * context.sample_rate * channels; // the maximum of an AAC frame
    context.bit_rate = std::clamp<std::int64_t>(bitRate, lowest, highest);
    // At these rates and above, the simple search for quantisers is 3 to 7 dB better with music than the other one, and
    // far better with a tone.
    constexpr std::int64_t ratePerChannel = 32000;
    if (context.codec_id == AV_CODEC_ID_AAC && context.bit_rate >= ratePerChannel * channels) {
        av_opt_set(context.priv_data, "aac_coder", "fast", 0);
    }
}

AVSampleFormat formatFor(const AVCodec& encoder, const SampleLayout& sample) {
    for (const AVSampleFormat format : sampleFormatsOf(encoder)) {
        const AVSampleFormat packed = av_get_packed_sample_fmt(format);
        const bool isFloat = sample.sort == SampleLayout::Sort::floating;
        const AVSampleFormat integers = sample.bytes == 4 ? AV_SAMPLE_FMT_S32 : AV_SAMPLE_FMT_S16;
        if (packed == (isFloat ? AV_SAMPLE_FMT_FLT : integers)) {
            return format;
        }
    }
    return AV_SAMPLE_FMT_NONE;
}

/// The default layout of a channel count, or one that the encoder supports; channels keep their order in either.
bool chooseLayout(const AVCodec& encoder, int channels, AVChannelLayout& layout) {
    // The default of three channels has an LFE channel, of which AAC keeps the lowest frequencies only. FLAC has one
    // layout for each count, does not list them, and warns about others.
    if (channels == 3 || (encoder.id == AV_CODEC_ID_FLAC && channels == 4)) {
        return av_channel_layout_from_mask(&layout, channels == 3 ? AV_CH_LAYOUT_SURROUND : AV_CH_LAYOUT_QUAD) == 0;
    }
    av_channel_layout_default(&layout, channels);
    const std::span<const AVChannelLayout> offered = layoutsOf(encoder);
    const AVChannelLayout* other = nullptr;
    for (const AVChannelLayout& each : offered) {
        if (av_channel_layout_compare(&each, &layout) == 0) {
            return true;
        }
        other = each.nb_channels == channels ? &each : other;
    }
    return offered.empty() || (other != nullptr && av_channel_layout_copy(&layout, other) == 0);
}

bool takesRate(const AVCodec& encoder, UInt32 rate) {
    const std::span<const int> rates = sampleRatesOf(encoder);
    return rates.empty() || std::ranges::find(rates, static_cast<int>(rate)) != rates.end();
}

} // namespace

CodecContextPointer openEncoder(const FileCoding& coding, UInt32 rate, UInt32 bitRate) {
    const AVCodec* const encoder = avcodec_find_encoder(coding.codec);
    if (encoder == nullptr || !takesRate(*encoder, rate)) {
        noteOwnReason(encoder == nullptr ? "this system has no encoder for the coding" : rateReason);
        return nullptr;
    }
    CodecContextPointer context(avcodec_alloc_context3(encoder));
    if (context == nullptr) {
        throw std::bad_alloc();
    }
    const UInt32 channels = coding.description.mChannelsPerFrame;
    if (!chooseLayout(*encoder, static_cast<int>(channels), context->ch_layout)) {
        noteOwnReason(channelsReason);
        return nullptr;
    }
    context->sample_fmt = formatFor(*encoder, coding.sample);
    context->sample_rate = static_cast<int>(rate);
    context->time_base = {1, context->sample_rate};
    context->bits_per_raw_sample = static_cast<int>(coding.sample.bits);
    // The coding's description goes into the container's header. No program name is written.
    context->flags = AV_CODEC_FLAG_GLOBAL_HEADER | AV_CODEC_FLAG_BITEXACT;
    setBitRate(bitRate, *context);
    if (const int error = avcodec_open2(context.get(), encoder, nullptr); error < 0) {
        noteReason(libavErrorText(error));
        return nullptr;
    }
    return context;
}

} // namespace braq
