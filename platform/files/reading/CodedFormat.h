#pragma once

#include "platform/files/reading/CodecTraits.h"
#include "platform/files/reading/CodedSource.h"

namespace braq {

/// The properties of the first packet that can be decoded.
struct FirstBlock {
    Float64 sampleRate;
    UInt32 channels;
    UInt32 frames;
    UInt32 bitsPerSample;         ///< of lossless codings; 0 for others
    ChannelPositions positions{}; ///< empty: not known
};

/// Decodes from the first packet on until it gets frames; some codings only then state their sample rate.
/// @return nothing if none of the first packets can be decoded
std::optional<FirstBlock> decodeFirstBlock(LocalFile& file, PacketSource& packets, PacketDecoder& decoder);

/// The description of a file in this coding.
AudioStreamBasicDescription codedFormat(const CodecTraits& coding, const FirstBlock& block, UInt32 framesPerPacket);

} // namespace braq
