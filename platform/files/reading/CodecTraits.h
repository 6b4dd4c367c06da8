#pragma once

#include "BRAQAudio/platform/types.h"

extern "C" {
#include <libavcodec/codec_id.h>
}

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
};

/// Null for a coding that is not offered.
const CodecTraits* codecTraits(AVCodecID codec);

} // namespace braq
