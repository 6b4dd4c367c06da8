#pragma once

#include "platform/files/reading/LocalFile.h"

#include <optional>

namespace braq {

/// What the tables of an MPEG-4 or QuickTime file say about the times of one track. libav reads them, too, but keeps for
/// itself what is needed to count frames exactly.
struct MovieTimes {
    struct Edit {
        SInt64 mediaTime;   ///< first unit of the media that is presented
        Float64 mediaUnits; ///< how long, as exactly as the movie's coarser time scale can say
    };

    UInt32 unitsPerSecond = 0; ///< of the media
    SInt64 mediaUnits = 0;     ///< of all packets together; 0 where they are in fragments
    Float64 tolerance = 0;     ///< of an edit's length, in units of the media
    std::optional<Edit> edit;  ///< from the beginning of the first one to the end of the last one
    bool isFragmented = false; ///< the packets are not all in one table
};

/// @param track number of the track in the file, as libav has it
/// @return nothing when the tables are not there or contradict themselves
std::optional<MovieTimes> movieTimes(LocalFile& file, UInt32 track);

} // namespace braq
