#include "platform/files/libav/LibavChannels.h"
#include "platform/files/writing/Coder.h"

#include <algorithm>
#include <new>

namespace braq {
namespace {

/// A container with an index entry per packet gets large packets; otherwise the index would grow with the calls.
constexpr std::size_t framesOfIndexedPacket = 8192;

class LinearPCMCoder final : public Coder {
  public:
    LinearPCMCoder(const FileCoding& coding, UInt32 rate)
        : mSample(coding.sample),
          mBytesPerFrame(coding.description.mBytesPerFrame),
          mHeldFrames(coding.type == kAudioFileMPEG4Type ? framesOfIndexedPacket : 0),
          mParameters(avcodec_parameters_alloc()),
          mPacket(av_packet_alloc()) {
        if (mParameters == nullptr || mPacket == nullptr) {
            throw std::bad_alloc();
        }
        mParameters->codec_type = AVMEDIA_TYPE_AUDIO;
        mParameters->codec_id = coding.codec;
        mParameters->codec_tag = coding.codecTag;
        mParameters->sample_rate = static_cast<int>(rate);
        mParameters->bits_per_coded_sample = static_cast<int>(coding.sample.bits);
        mParameters->block_align = static_cast<int>(mBytesPerFrame);
        mParameters->bit_rate = static_cast<std::int64_t>(rate * mBytesPerFrame * 8);
        setUsualLayout(coding.description.mChannelsPerFrame, mParameters->ch_layout);
    }

    const AVCodecParameters& parameters() const override { return *mParameters; }
    UInt32 framesPerPacket() const override { return 1; }
    UInt32 primingFrames() const override { return 0; }
    UInt64 largestBytes(UInt64 frames) const override { return mBytes.size() + frames * mBytesPerFrame; }
    UInt64 largestPackets(UInt64 frames) const override { return mHeldFrames == 0 ? 0 : frames / mHeldFrames + 2; }

    int encode(const FramePlanes& planes, const Sink& sink) override {
        for (std::size_t first = 0; first < planes.frames();) {
            const std::size_t room = mHeldFrames == 0 ? planes.frames() : mHeldFrames - mBytes.size() / mBytesPerFrame;
            const std::size_t frames = std::min(planes.frames() - first, room);
            append(planes, first, frames);
            first += frames;
            const int error = frames == room ? emit(sink) : 0;
            if (error < 0) {
                return error;
            }
        }
        return 0;
    }

    int finish(const Sink& sink) override { return mBytes.empty() ? 0 : emit(sink); }

  private:
    void append(const FramePlanes& planes, std::size_t first, std::size_t frames) {
        const std::size_t before = mBytes.size();
        mBytes.resize(before + frames * mBytesPerFrame);
        for (UInt32 channel = 0; channel < planes.channels(); ++channel) {
            convertSamples(planes.channel(channel) + first, frames, mSample,
                           &mBytes[before + std::size_t{channel} * mSample.bytes], mBytesPerFrame);
        }
    }

    int emit(const Sink& sink) {
        const auto frames = static_cast<std::int64_t>(mBytes.size() / mBytesPerFrame);
        mPacket->data = reinterpret_cast<std::uint8_t*>(mBytes.data());
        mPacket->size = static_cast<int>(mBytes.size());
        mPacket->pts = mPacket->dts = mPosition;
        mPacket->duration = frames;
        mPacket->flags = AV_PKT_FLAG_KEY;
        const int error = sink(*mPacket);
        mPosition += frames;
        mBytes.clear();
        return error;
    }

    const SampleLayout mSample;
    const std::size_t mBytesPerFrame;
    const std::size_t mHeldFrames; // of a full packet; 0: each call makes a packet
    const CodecParametersPointer mParameters;
    const PacketPointer mPacket;
    std::vector<std::byte> mBytes;
    std::int64_t mPosition = 0;
};

} // namespace

std::unique_ptr<Coder> makeLinearPCMCoder(const FileCoding& coding, UInt32 rate) {
    return std::make_unique<LinearPCMCoder>(coding, rate);
}

} // namespace braq
