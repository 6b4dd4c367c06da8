#pragma once

#include "BRAQAudio/platform/files.h"

namespace braq {

/// Most channels that a user of a file may ask for.
constexpr UInt32 mostClientChannels = 256;

/// Planar float with that rate and those channels.
AudioStreamBasicDescription planarFloat(Float64 sampleRate, UInt32 channels);

/// @return 0 for a format in which frames can be delivered, else `kExtAudioFileError_NonPCMClientFormat` or
///         `kExtAudioFileError_InvalidDataFormat`
OSStatus checkClientFormat(const AudioStreamBasicDescription& format);

/// Whether a list has the buffers of a format, large enough for so many frames.
bool fits(const AudioBufferList& list, const AudioStreamBasicDescription& format, UInt32 frames);

} // namespace braq
