#include "platform/files/reading/PacketDecoder.h"

#include <algorithm>

// The loops below benefit from SIMD; this compiler vectorises them at this level only.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC optimize("O3")
#endif

namespace braq {
namespace {

// The samples of a channel in a block: the first one, and the distance to the next, in samples.
template <class Sample>
struct Channel {
    const Sample* first;
    std::size_t stride;
};

template <class Sample>
Channel<Sample> channelOf(const AVFrame& block, UInt32 channel, UInt32 firstFrame) {
    const auto channels = static_cast<std::size_t>(block.ch_layout.nb_channels);
    if (av_sample_fmt_is_planar(static_cast<AVSampleFormat>(block.format)) != 0) {
        return {reinterpret_cast<const Sample*>(block.extended_data[channel]) + firstFrame, 1};
    }
    return {reinterpret_cast<const Sample*>(block.extended_data[0]) + channel + firstFrame * channels, channels};
}

template <class Sample>
void convert(const AVFrame& block, UInt32 channel, UInt32 firstFrame, UInt32 frames, float scale, float* plane) {
    const auto [first, stride] = channelOf<Sample>(block, channel, firstFrame);
    if (stride == 1) {
        for (std::size_t i = 0; i < frames; ++i) {
            plane[i] = static_cast<float>(first[i]) * scale;
        }
        return;
    }
    for (std::size_t i = 0; i < frames; ++i) {
        plane[i] = static_cast<float>(first[i * stride]) * scale;
    }
}

void convert(const AVFrame& block, UInt32 channel, UInt32 firstFrame, UInt32 frames, float* plane) {
    switch (block.format) {
    case AV_SAMPLE_FMT_FLTP: {
        const float* const first = channelOf<float>(block, channel, firstFrame).first;
        std::copy_n(first, frames, plane);
        break;
    }
    case AV_SAMPLE_FMT_FLT: convert<float>(block, channel, firstFrame, frames, 1, plane); break;
    case AV_SAMPLE_FMT_S16:
    case AV_SAMPLE_FMT_S16P: convert<SInt16>(block, channel, firstFrame, frames, 1.0F / 32768.0F, plane); break;
    case AV_SAMPLE_FMT_S32:
    case AV_SAMPLE_FMT_S32P: convert<SInt32>(block, channel, firstFrame, frames, 1.0F / 2147483648.0F, plane); break;
    default: std::fill_n(plane, frames, 0.0F); break;
    }
}

} // namespace

std::unique_ptr<PacketDecoder> PacketDecoder::make(const AVCodecParameters& parameters) {
    CodecParametersPointer copy(avcodec_parameters_alloc());
    if (!copy || avcodec_parameters_copy(copy.get(), &parameters) < 0) {
        return nullptr;
    }
    std::unique_ptr<PacketDecoder> decoder(new PacketDecoder(std::move(copy)));
    return decoder->open() ? std::move(decoder) : nullptr;
}

bool PacketDecoder::open() {
    const AVCodec* const codec = avcodec_find_decoder(mParameters->codec_id);
    mContext.reset(codec == nullptr ? nullptr : avcodec_alloc_context3(codec));
    if (!mContext || avcodec_parameters_to_context(mContext.get(), mParameters.get()) < 0) {
        return false;
    }
    // A packet's block must be output before the next packet is input, which frame threading would not do.
    mContext->thread_count = 1;
    // Priming is skipped here, not in the decoder.
    mContext->flags2 |= AV_CODEC_FLAG2_SKIP_MANUAL;
    return avcodec_open2(mContext.get(), codec, nullptr) >= 0;
}

void PacketDecoder::restart() {
    // When flushed, libav's AAC decoder keeps its noise generator and the overlap with the next block.
    if (mParameters->codec_id == AV_CODEC_ID_AAC) {
        open(); // if it fails, so does decoding
        return;
    }
    avcodec_flush_buffers(mContext.get());
}

int PacketDecoder::decode(const AVPacket& packet) {
    av_frame_unref(mBlock.get());
    if (!mContext || avcodec_is_open(mContext.get()) == 0) {
        return AVERROR(ENOMEM);
    }
    int error = avcodec_send_packet(mContext.get(), &packet);
    if (error >= 0) {
        error = avcodec_receive_frame(mContext.get(), mBlock.get());
    }
    return error == AVERROR(EAGAIN) ? 0 : std::min(error, 0);
}

void PacketDecoder::copy(UInt32 first, UInt32 frames, UInt32 channels, float* const* planes) const {
    for (UInt32 channel = 0; channel < channels; ++channel) {
        convert(*mBlock, channel < this->channels() ? channel : 0, first, frames, planes[channel]);
    }
}

} // namespace braq
