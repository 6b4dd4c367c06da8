#pragma once

#include "platform/files/reading/CodecTraits.h"
#include "platform/files/reading/CodedSource.h"

namespace braq {

/// What comes out of the first packet that can be decoded.
struct FirstBlock {
    Float64 sampleRate;
    UInt32 channels;
    UInt32 frames;
    UInt32 bitsPerSample;         ///< of lossless codings; 0 for others
    ChannelPositions positions{}; ///< none: not known
};

/// Decodes from the first packet on until something comes out; some codings tell only then at what rate they play.
/// @return nothing when none of the first packets can be decoded
std::optional<FirstBlock> decodeFirstBlock(LocalFile& file, PacketSource& packets, PacketDecoder& decoder);

/// How a file in that coding describes itself.
AudioStreamBasicDescription codedFormat(const CodecTraits& coding, const FirstBlock& block, UInt32 framesPerPacket);

} // namespace braq
