#pragma once

#include "BRAQAudio/platform/types.h"

extern "C" {
#include <libavcodec/codec_id.h>
}

#include <cstdint>

namespace braq {

/// The format of linear samples in a file.
struct PcmFormat {
    AVCodecID codec;
    UInt32 bytesPerSample;
    UInt32 formatFlags; ///< of `AudioStreamBasicDescription`
    /// Deinterleaves `frames` frames into one plane of floats per channel, full scale being 1. May read up to 3 bytes
    /// before `samples`.
    void (*split)(const std::uint8_t* samples, UInt32 frames, UInt32 channels, float* const* planes);
};

/// Null if it is not a supported linear coding.
const PcmFormat* pcmFormat(AVCodecID codec);

/// The description of a file with such samples, interleaved.
AudioStreamBasicDescription linearFormat(const PcmFormat& pcm, Float64 sampleRate, UInt32 channels);

} // namespace braq
