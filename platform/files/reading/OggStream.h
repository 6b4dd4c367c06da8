#pragma once

#include "platform/files/libav/Libav.h"
#include "platform/files/reading/LocalFile.h"

#include <optional>

namespace braq {

/// The first stream of an Ogg file that can be decoded.
struct OggStream {
    UInt32 number;
    CodecParametersPointer codec;
    SInt64 packetsOffset; ///< of the first page after the headers
    UInt32 primingFrames; ///< that the headers tell
};

/// @return nothing when there is none, or when its headers are not whole
std::optional<OggStream> oggStream(LocalFile& file, SInt64 begin);

} // namespace braq
