#pragma once

#include "platform/files/libav/Libav.h"
#include "platform/files/reading/LocalFile.h"

#include <optional>

namespace braq {

/// The first decodable stream of an Ogg file.
struct OggStream {
    UInt32 number;
    CodecParametersPointer codec;
    SInt64 packetsOffset; ///< of the first page after the headers
    UInt32 primingFrames; ///< as stated by the headers
};

/// @return nothing if there is none, or if its headers are incomplete
std::optional<OggStream> oggStream(LocalFile& file, SInt64 begin);

} // namespace braq
