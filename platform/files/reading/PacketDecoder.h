#pragma once

#include "platform/files/libav/Libav.h"

#include "BRAQAudio/platform/types.h"

#include <memory>

namespace braq {

/// A decoder of packets that each hold one block of frames.
class PacketDecoder {
  public:
    /// @return null if the coding, or this variant of it, is not supported
    static std::unique_ptr<PacketDecoder> make(const AVCodecParameters& parameters);

    /// Resets the decoder.
    void restart();
    /// @return 0 or libav's error. The block is empty if the packet only prepares the next one.
    int decode(const AVPacket& packet);

    /// The block decoded last.
    const AVFrame& block() const { return *mBlock; }
    UInt32 channels() const { return static_cast<UInt32>(mBlock->ch_layout.nb_channels); }
    UInt32 frames() const { return static_cast<UInt32>(mBlock->nb_samples); }
    /// Converts frames of the block. A plane for a channel that the block lacks gets its first channel.
    void copy(UInt32 first, UInt32 frames, UInt32 channels, float* const* planes) const;

    const AVCodecContext& context() const { return *mContext; }

  private:
    explicit PacketDecoder(CodecParametersPointer parameters)
        : mParameters(std::move(parameters)), mBlock(av_frame_alloc()) {}
    bool open();

    const CodecParametersPointer mParameters;
    CodecContextPointer mContext;
    const FramePointer mBlock;
};

} // namespace braq
