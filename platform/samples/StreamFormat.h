#pragma once

#include "BRAQAudio/platform/types.h"

namespace braq {

// Linear PCM as native 32-bit float, planar or interleaved: the format of units and of files' clients.

inline bool isInterleaved(const AudioStreamBasicDescription& format) {
    return (format.mFormatFlags & kAudioFormatFlagIsNonInterleaved) == 0;
}

/// Whether this is such a format, with 1 to `mostChannels` channels. The rate is only checked to be finite; packets are
/// not checked.
bool isFloatFormat(const AudioStreamBasicDescription& format, UInt32 mostChannels);

/// One buffer per channel.
AudioStreamBasicDescription planarFloatFormat(Float64 sampleRate, UInt32 channels);

/// Whether a list has the buffers of a format, with room for that many frames.
bool fits(const AudioBufferList& list, const AudioStreamBasicDescription& format, UInt32 frames);

} // namespace braq
