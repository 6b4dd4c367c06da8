#pragma once

#include "BRAQAudio/platform/files.h"

namespace braq {

/// Most channels that a user of a file may ask for.
constexpr UInt32 mostClientChannels = 256;

/// @return 0 for a format in which frames can be delivered, else `kExtAudioFileError_NonPCMClientFormat` or
///         `kExtAudioFileError_InvalidDataFormat`
OSStatus checkClientFormat(const AudioStreamBasicDescription& format);

} // namespace braq
