#pragma once

#include "BRAQAudio/platform/files.h"

namespace braq {

/// Most channels of a client format.
constexpr UInt32 mostClientChannels = 256;

/// @return 0 for a supported client format, else `kExtAudioFileError_NonPCMClientFormat` or
///        `kExtAudioFileError_InvalidDataFormat`
OSStatus checkClientFormat(const AudioStreamBasicDescription& format);

} // namespace braq
