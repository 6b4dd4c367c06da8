#pragma once

#include "platform/files/reading/LocalFile.h"

#include <optional>

namespace braq {

/// The timing tables of one track of an MPEG-4 or QuickTime file. libav reads them, too, but does not expose what is
/// needed to count frames exactly.
struct MovieTimes {
    struct Edit {
        SInt64 mediaTime;   ///< first unit of the media that is presented
        Float64 mediaUnits; ///< duration, as exact as the movie's coarser time scale
    };

    UInt32 unitsPerSecond = 0; ///< of the media
    SInt64 mediaUnits = 0;     ///< of all packets together; 0 if they are in fragments
    Float64 tolerance = 0;     ///< of an edit's length, in units of the media
    std::optional<Edit> edit;  ///< from the beginning of the first one to the end of the last one
    bool isFragmented = false; ///< the packets are not all in one table
};

/// @param track number of the track in the file, as in libav
/// @return nothing if the tables are missing or contradict each other
std::optional<MovieTimes> movieTimes(LocalFile& file, UInt32 track);

} // namespace braq
