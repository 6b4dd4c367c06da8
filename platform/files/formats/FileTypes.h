#pragma once

#include "BRAQAudio/platform/BRAQAudioFileFormats.h"
#include "BRAQAudio/platform/files.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace braq {

// The supported file types. Any thread.

/// The types with a file name extension, given without its dot, in either case; the default type first. Empty for an
/// unknown extension.
std::vector<AudioFileTypeID> fileTypesOfExtension(std::string_view extension);

/// The extensions that select a type, in lower case.
std::vector<std::string> extensionsOfFileType(AudioFileTypeID type);

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
    bool writesForwards = false; ///< what it writes without going back is a whole file: into a pipe, for instance
};

/// A coding in a file type: a row of the one table of formats.
struct FileHolding {
    struct Sample {
        const char* name; ///< as in `BRAQAudioFileSample`
        UInt32 flags;
        UInt32 bits;

        AudioStreamBasicDescription description(UInt32 coding) const;
    };
    struct Channels {
        UInt32 fewest;
        UInt32 most;
    };
    /// What is left of a file whose process is killed, as in `BRAQAudioFileFormat`.
    struct Killed {
        BRAQAudioFileSurvival survival = BRAQAudioFileSurvival::nothing;
        UInt32 mostPacketsLost = 0;
        bool forOthers = false;
    };
    struct Writing {
        FileMuxer muxer{nullptr, "", 0}; ///< without a name if such files cannot be written
        std::span<const BRAQAudioFileRates> rates{};
        std::span<const Channels> channels{};
        Killed killed{};
    };

    AudioFileTypeID type;
    UInt32 formatID;
    std::span<const Sample> samples;
    Writing writing;

    bool canBeWritten() const { return writing.muxer.name != nullptr; }
};

/// The table.
std::span<const FileHolding> fileHoldings();

/// The row for programs; null if there is none.
const BRAQAudioFileFormat* audioFileFormat(AudioFileTypeID type, UInt32 formatID);

/// @return null if such files cannot be written
const FileMuxer* fileMuxer(AudioFileTypeID type, UInt32 formatID);

/// Whether any coding can be written into a file type.
bool isWritableType(AudioFileTypeID type);

} // namespace braq
