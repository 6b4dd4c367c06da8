#pragma once

#include "platform/files/reading/LocalFile.h"

namespace braq {

/// The bounds of the audio in a file between tags, which hold text and pictures and can look like audio.
struct SoundBounds {
    SInt64 begin; ///< after ID3v2 tags
    SInt64 end;   ///< before APE and ID3v1 tags
};
SoundBounds soundBounds(LocalFile& file);

} // namespace braq
