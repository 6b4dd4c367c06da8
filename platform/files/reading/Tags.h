#pragma once

#include "platform/files/reading/LocalFile.h"

namespace braq {

/// Where in a file the sound lies between tags, which hold text and pictures and can look like sound.
struct SoundBounds {
    SInt64 begin; ///< after ID3v2 tags
    SInt64 end;   ///< before APE and ID3v1 tags
};
SoundBounds soundBounds(LocalFile& file);

} // namespace braq
