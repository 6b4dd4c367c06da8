#pragma once

#include "BRAQAudio/platform/types.h"

extern "C" {
#include <libavcodec/codec_id.h>
}

#include <cstdint>

namespace braq {

/// What is particular about a coding.
struct CodecTraits {
    AVCodecID codec;
    UInt32 formatID;
    // Both are to be decoded before the first packet whose frames are wanted.
    UInt32 prerollPackets;
    UInt32 prerollFrames;
    /// Where it is not 0, decoding starts anew at every so many frames, also while reading on: a decoder that keeps a state
    /// for ever would otherwise deliver what depends on where reading began.
    UInt32 restartFrames;
    /// Whether a packet, by its first byte, is one of those of which `forgettingFrames` in a row leave nothing in the decoder
    /// of what came before them: then a new start would change nothing, and there is none. Null where no packet is.
    bool (*isForgetful)(std::uint8_t firstByte);
    UInt32 forgettingFrames;
};

/// Null for a coding that is not offered.
const CodecTraits* codecTraits(AVCodecID codec);

} // namespace braq
