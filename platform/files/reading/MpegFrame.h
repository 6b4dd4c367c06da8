#pragma once

#include "BRAQAudio/platform/types.h"

#include <optional>
#include <span>

namespace braq {

/// The header of a self-framed packet: an MPEG audio layer III frame or an ADTS one.
struct MpegFrame {
    UInt32 bytes;  ///< of the packet, its header included
    UInt32 frames; ///< of sound in it
    UInt32 sampleRate;
    UInt32 channels;
    UInt32 stream;      ///< what is the same in all packets of a stream
    UInt32 sideBytes;   ///< before the coded samples; layer III only
    bool isLowSampling; ///< MPEG-2 or 2.5; layer III only
};

/// Nothing when the bytes do not begin with a valid header.
std::optional<MpegFrame> layerIIIFrame(std::span<const std::uint8_t> bytes);
std::optional<MpegFrame> adtsFrame(std::span<const std::uint8_t> bytes);

/// Bytes that either needs to see.
constexpr std::size_t mpegHeaderBytes = 7;

} // namespace braq
