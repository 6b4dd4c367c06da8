#pragma once

#include "BRAQAudio/platform/types.h"

namespace braq {

// Linear PCM in 32-bit float of this processor's byte order, planar or interleaved: what units and users of files have.

inline bool isInterleaved(const AudioStreamBasicDescription& format) {
    return (format.mFormatFlags & kAudioFormatFlagIsNonInterleaved) == 0;
}

/// Whether a description is one of such a format, of 1 to `mostChannels` channels. Says nothing about its rate but that it is
/// finite, nor about packets.
bool isFloatFormat(const AudioStreamBasicDescription& format, UInt32 mostChannels);

/// One buffer a channel.
AudioStreamBasicDescription planarFloatFormat(Float64 sampleRate, UInt32 channels);

/// Whether a list has the buffers of a format, large enough for so many frames.
bool fits(const AudioBufferList& list, const AudioStreamBasicDescription& format, UInt32 frames);

} // namespace braq
