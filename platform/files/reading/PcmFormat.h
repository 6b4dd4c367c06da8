#pragma once

#include "BRAQAudio/platform/types.h"

extern "C" {
#include <libavcodec/codec_id.h>
}

#include <cstdint>

namespace braq {

/// How a file holds linear samples.
struct PcmFormat {
    AVCodecID codec;
    UInt32 bytesPerSample;
    UInt32 formatFlags; ///< of `AudioStreamBasicDescription`
    /// Takes `frames` interleaved frames apart into one plane of floats a channel, full scale being 1. Up to 3 bytes
    /// before `samples` are looked at, too.
    void (*split)(const std::uint8_t* samples, UInt32 frames, UInt32 channels, float* const* planes);
};

/// Null for what is no linear coding that can be read.
const PcmFormat* pcmFormat(AVCodecID codec);

/// How a file with such samples, interleaved, describes itself.
AudioStreamBasicDescription linearFormat(const PcmFormat& pcm, Float64 sampleRate, UInt32 channels);

} // namespace braq
