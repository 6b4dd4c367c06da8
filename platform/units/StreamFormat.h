#pragma once

#include "BRAQAudio/platform/types.h"

namespace braq {

/// Whether units can take in and deliver it: linear PCM in 32-bit float of this processor's byte order, planar or interleaved.
bool isUnitFormat(const AudioStreamBasicDescription& format);

inline bool isInterleaved(const AudioStreamBasicDescription& format) {
    return (format.mFormatFlags & kAudioFormatFlagIsNonInterleaved) == 0;
}

/// One buffer a channel.
AudioStreamBasicDescription planarFloatFormat(Float64 sampleRate, UInt32 channels);

} // namespace braq
