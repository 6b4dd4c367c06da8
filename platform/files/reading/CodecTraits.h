#pragma once

#include "BRAQAudio/platform/types.h"

extern "C" {
#include <libavcodec/codec_id.h>
}

#include <cstdint>

namespace braq {

/// The properties of a coding that reading depends on.
struct CodecTraits {
    AVCodecID codec;
    UInt32 formatID;
    // Preroll: both are decoded before the first packet whose frames are wanted.
    UInt32 prerollPackets;
    UInt32 prerollFrames;
    /// If not 0, decoding restarts at every multiple of this number of frames, also while reading on. A decoder that
    /// keeps its state forever would otherwise deliver frames that depend on where reading began.
    UInt32 restartFrames;
    /// Whether a packet, judged by its first byte, is one of those of which `forgettingFrames` in a row leave no trace
    /// of earlier packets in the decoder. After them a restart would change nothing, so none is made. Null if no packet
    /// is.
    bool (*isForgetful)(std::uint8_t firstByte);
    UInt32 forgettingFrames;
};

/// Null for an unsupported coding.
const CodecTraits* codecTraits(AVCodecID codec);

} // namespace braq
