#pragma once

#include "BRAQAudio/platform/files.h"

#include <string_view>
#include <vector>

namespace braq {

// What types of file there are. Any thread.

/// The types that claim a file name extension, given without its dot, in either case; the canonical one first. Empty for
/// an extension that no type claims.
std::vector<AudioFileTypeID> fileTypesOfExtension(std::string_view extension);

/// What a type holds of a coding: linear PCM in an entry for each combination of depth, sort and byte order; other
/// codings in an entry for each value of the flags that files have. Rate, channels and byte counts are 0: any.
/// @return 0; 'typ?' for a type that is unknown; 'fmt?' for a coding that the type cannot hold
OSStatus streamDescriptions(AudioFileTypeID type, UInt32 formatID, std::vector<AudioStreamBasicDescription>& found);

/// How a coding is written into a type of file.
struct FileMuxer {
    /// What libavformat's writer states wrongly, to be set right when the file is complete.
    enum class Correction {
        none,
        packetTable, ///< the frames of a CAF file's packets; one without a packet is also refused when read
        sampleCount, ///< the length of an RF64 file that has no frames, or to which writing has failed
    };

    const char* name;    ///< libavformat's name of what writes the container
    const char* options; ///< for it, as "key=value:key=value"
    UInt64 largestFile;  ///< bytes that the container's own sizes can state
    Correction correction = Correction::none;
};

/// @return null when such files cannot be written
const FileMuxer* fileMuxer(AudioFileTypeID type, UInt32 formatID);

/// Whether any coding can be written into a type of file.
bool isWritableType(AudioFileTypeID type);

} // namespace braq
