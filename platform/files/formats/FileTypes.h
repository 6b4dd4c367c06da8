#pragma once

#include "BRAQAudio/platform/files.h"

#include <string_view>
#include <vector>

namespace braq {

// The supported file types. Any thread.

/// The types with a file name extension, given without its dot, in either case; the default type first. Empty for an
/// unknown extension.
std::vector<AudioFileTypeID> fileTypesOfExtension(std::string_view extension);

/// The formats that a type holds of a coding. Linear PCM: one entry for each combination of bit depth, sample type and
/// byte order. Other codings: one entry for each value of the flags that files have. Rate, channels and byte counts are
/// 0: any.
/// @return 0; 'typ?' for an unknown type; 'fmt?' for a coding that the type cannot hold
OSStatus streamDescriptions(AudioFileTypeID type, UInt32 formatID, std::vector<AudioStreamBasicDescription>& found);

/// How a coding is written into a file type.
struct FileMuxer {
    /// What libavformat's muxer states wrongly and is corrected when the file is complete.
    enum class Correction {
        none,
        packetTable, ///< the frames of a CAF file's packets; a file without packets is also refused on reading
        sampleCount, ///< the length of an RF64 file that has no frames, or to which writing has failed
    };

    const char* name;    ///< libavformat's name of the muxer
    const char* options; ///< of the muxer, as "key=value:key=value"
    UInt64 largestFile;  ///< bytes that the container's own size fields can state
    Correction correction = Correction::none;
};

/// @return null if such files cannot be written
const FileMuxer* fileMuxer(AudioFileTypeID type, UInt32 formatID);

/// Whether any coding can be written into a file type.
bool isWritableType(AudioFileTypeID type);

} // namespace braq
