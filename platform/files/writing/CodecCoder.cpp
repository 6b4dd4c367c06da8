#include "platform/files/writing/Coder.h"
#include "platform/files/writing/Encoder.h"
#include "platform/files/writing/VerbatimALAC.h"

#include <algorithm>
#include <new>
#include <utility>

namespace braq {
namespace {

/// An encoder of libav.
class CodecCoder final : public Coder {
  public:
    CodecCoder(const FileCoding& coding, CodecContextPointer context)
        : mIsAAC(coding.codec == AV_CODEC_ID_AAC),
          mSample(coding.sample),
          mContext(std::move(context)),
          mParameters(avcodec_parameters_alloc()),
          mFrame(av_frame_alloc()),
          mPacket(av_packet_alloc()),
          mHeld(coding.description.mChannelsPerFrame),
          mClipped(mIsAAC ? framesAtOnce() : 0) {
        if (mParameters == nullptr || mFrame == nullptr || mPacket == nullptr ||
            avcodec_parameters_from_context(mParameters.get(), mContext.get()) < 0) {
            throw std::bad_alloc();
        }
    }

    const AVCodecParameters& parameters() const override { return *mParameters; }
    UInt32 framesPerPacket() const override { return static_cast<UInt32>(framesAtOnce()); }
    UInt32 primingFrames() const override { return static_cast<UInt32>(mContext->initial_padding); }

    UInt64 largestBytes(UInt64 frames) const override { return largestPackets(frames) * largestPacket(); }
    UInt64 largestPackets(UInt64 frames) const override {
        const UInt64 encoded = static_cast<UInt64>(mPosition) / framesAtOnce();
        return (mHeldFrames + frames) / framesAtOnce() + 1 + (encoded + heldPackets - mPackets);
    }

    int encode(const FramePlanes& planes, const Sink& sink) override {
        for (std::size_t first = 0; first < planes.frames();) {
            const std::size_t frames = std::min(planes.frames() - first, framesAtOnce() - mHeldFrames);
            hold(planes, first, frames);
            first += frames;
            const int error = mHeldFrames == framesAtOnce() ? encodeHeld(sink) : 0;
            if (error < 0) {
                return error;
            }
        }
        return 0;
    }

    int finish(const Sink& sink) override {
        int error = mHeldFrames > 0 ? encodeHeld(sink) : 0;
        // An AAC encoder without input has nothing to drain, and complains.
        if (error < 0 || (mIsAAC && mPosition == 0)) {
            return error;
        }
        error = avcodec_send_frame(mContext.get(), nullptr);
        return error < 0 ? error : deliver(sink);
    }

  private:
    // Maximum packets that an encoder holds back; they are included when space is reserved.
    static constexpr UInt64 heldPackets = 4;

    std::size_t framesAtOnce() const { return static_cast<std::size_t>(mContext->frame_size); }

    /// Incompressible frames are stored verbatim, slightly longer for the side channel of a pair. A frame of AAC has at
    /// most 6144 bits per channel.
    UInt64 largestPacket() const {
        const UInt64 channels = mHeld.channels();
        return mIsAAC ? 1024 * channels
                      : framesAtOnce() * channels * (mSample.bits / 8) + framesAtOnce() * channels / 8 + 512;
    }

    void hold(const FramePlanes& planes, std::size_t first, std::size_t frames) {
        mHeld.resize(framesAtOnce());
        for (UInt32 channel = 0; channel < planes.channels(); ++channel) {
            std::copy_n(planes.channel(channel) + first, frames, mHeld.channel(channel) + mHeldFrames);
        }
        mHeldFrames += frames;
    }

    /// Only a file's last packet may be this short.
    bool isTooShortForEncoder() const {
        constexpr std::size_t fewestFrames = 16;
        return mContext->codec_id == AV_CODEC_ID_ALAC && mHeld.channels() > 2 && mHeldFrames < fewestFrames;
    }

    int deliverVerbatim(const Sink& sink) {
        std::vector<std::uint8_t> bytes = verbatimALAC(mHeld, mHeldFrames, mSample.bits);
        mPacket->data = bytes.data();
        mPacket->size = static_cast<int>(bytes.size());
        mPacket->pts = mPacket->dts = mPosition;
        mPacket->duration = static_cast<std::int64_t>(mHeldFrames);
        mPacket->flags = AV_PKT_FLAG_KEY;
        mPosition += mPacket->duration;
        mHeldFrames = 0;
        ++mPackets;
        const int error = sink(*mPacket);
        av_packet_unref(mPacket.get());
        return error;
    }

    int encodeHeld(const Sink& sink) {
        if (isTooShortForEncoder()) {
            return deliverVerbatim(sink);
        }
        av_frame_unref(mFrame.get());
        mFrame->format = mContext->sample_fmt;
        mFrame->sample_rate = mContext->sample_rate;
        mFrame->nb_samples = static_cast<int>(mHeldFrames);
        mFrame->pts = mPosition;
        int error = av_channel_layout_copy(&mFrame->ch_layout, &mContext->ch_layout);
        error = error < 0 ? error : av_frame_get_buffer(mFrame.get(), 0);
        if (error < 0) {
            return error;
        }
        fillFrame();
        mPosition += static_cast<std::int64_t>(mHeldFrames);
        mHeldFrames = 0;
        error = avcodec_send_frame(mContext.get(), mFrame.get());
        return error < 0 ? error : deliver(sink);
    }

    void fillFrame() {
        const bool isPlanar = av_sample_fmt_is_planar(mContext->sample_fmt) != 0;
        for (UInt32 channel = 0; channel < mHeld.channels(); ++channel) {
            const std::size_t offset = isPlanar ? 0 : channel * mSample.bytes;
            std::uint8_t* const plane = mFrame->extended_data[isPlanar ? channel : 0];
            convertSamples(samplesOf(channel), mHeldFrames, mSample, reinterpret_cast<std::byte*>(plane) + offset,
                           isPlanar ? mSample.bytes : mSample.bytes * mHeld.channels());
        }
    }

    /// An AAC encoder gives up on infinities and NaN, and wastes its bits on samples that no player can play.
    const Float32* samplesOf(UInt32 channel) {
        const Float32* const held = mHeld.channel(channel);
        if (!mIsAAC) {
            return held;
        }
        std::transform(held, held + mHeldFrames, mClipped.begin(),
                       [](Float32 sample) { return sample == sample ? std::clamp(sample, -1.0F, 1.0F) : 0.0F; });
        return mClipped.data();
    }

    int deliver(const Sink& sink) {
        for (;;) {
            int error = avcodec_receive_packet(mContext.get(), mPacket.get());
            if (error == AVERROR(EAGAIN) || error == AVERROR_EOF) {
                return 0;
            }
            ++mPackets;
            error = error < 0 ? error : sink(*mPacket);
            av_packet_unref(mPacket.get());
            if (error < 0) {
                return error;
            }
        }
    }

    const bool mIsAAC;
    const SampleLayout mSample;
    const CodecContextPointer mContext;
    const CodecParametersPointer mParameters;
    const FramePointer mFrame;
    const PacketPointer mPacket;
    FramePlanes mHeld;
    std::size_t mHeldFrames = 0;
    std::vector<Float32> mClipped;
    std::int64_t mPosition = 0; // of the first frame held
    UInt64 mPackets = 0;
};

} // namespace

std::unique_ptr<Coder> makeCodecCoder(const FileCoding& coding, UInt32 rate, UInt32 bitRate) {
    CodecContextPointer encoder = openEncoder(coding, rate, bitRate);
    return encoder == nullptr ? nullptr : std::make_unique<CodecCoder>(coding, std::move(encoder));
}

OSStatus makeCoder(const FileCoding& coding, UInt32 rate, UInt32 bitRate, std::unique_ptr<Coder>& coder) {
    coder = coding.isLinearPCM() ? makeLinearPCMCoder(coding, rate) : makeCodecCoder(coding, rate, bitRate);
    return coder == nullptr ? kAudioFileUnsupportedDataFormatError : 0;
}

} // namespace braq
