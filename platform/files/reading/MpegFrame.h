#pragma once

#include "BRAQAudio/platform/types.h"

#include <optional>
#include <span>

namespace braq {

/// The header of a self-framed packet: an MPEG audio layer III frame or an ADTS frame.
struct MpegFrame {
    UInt32 bytes;  ///< of the packet, including its header
    UInt32 frames; ///< of audio in it
    UInt32 sampleRate;
    UInt32 channels;
    UInt32 stream;      ///< the part that is the same in all packets of a stream
    UInt32 sideBytes;   ///< before the coded samples; layer III only
    bool isLowSampling; ///< MPEG-2 or 2.5; layer III only
};

/// Nothing unless the bytes begin with a valid header.
std::optional<MpegFrame> layerIIIFrame(std::span<const std::uint8_t> bytes);
std::optional<MpegFrame> adtsFrame(std::span<const std::uint8_t> bytes);

/// Bytes that either parser needs.
constexpr std::size_t mpegHeaderBytes = 7;

} // namespace braq
