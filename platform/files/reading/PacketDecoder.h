#pragma once

#include "platform/files/libav/Libav.h"

#include "BRAQAudio/platform/types.h"

#include <memory>

namespace braq {

/// A decoder of packets that each hold the frames of one block.
class PacketDecoder {
  public:
    /// @return null when the coding, or what is particular about this stream of it, is not known
    static std::unique_ptr<PacketDecoder> make(const AVCodecParameters& parameters);

    /// Forgets all that came before.
    void restart();
    /// @return 0, or libav's reason. The block is empty when the packet was one that only prepares the next.
    int decode(const AVPacket& packet);

    /// The block that was decoded last.
    const AVFrame& block() const { return *mBlock; }
    UInt32 channels() const { return static_cast<UInt32>(mBlock->ch_layout.nb_channels); }
    UInt32 frames() const { return static_cast<UInt32>(mBlock->nb_samples); }
    /// Converts frames of the block. A plane that the block has no channel for gets its first one.
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
