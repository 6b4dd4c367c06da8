#pragma once

#include <BRAQAudio/BRAQAudio.h>

#include <memory>
#include <string>
#include <vector>

/// The file type and the format of a recording.
struct RecordFormat {
    AudioFileTypeID fileType = 0;
    AudioStreamBasicDescription description{}; ///< without rate and channels
};

/// @param path its extension selects the type; a hyphen: the standard output, the format selects a type that can be
///        written forwards
/// @param name of the format; empty: the default of the type
/// Throws `WrongUsage` with the supported ones.
RecordFormat chooseRecordFormat(const std::string& path, const std::string& name);

/// The description for creating the file.
std::shared_ptr<BRAQAudioStreamBasicDescription> descriptionOf(const RecordFormat& format, UInt32 channels,
                                                               Float64 rate);

/// The extensions and the formats of each, the default first, one line each.
std::string recordFormatsHelp();

/// The same as a list of pairs.
struct EndingWithFormat {
    std::string ending; ///< with the dot
    std::string format;
};
std::vector<EndingWithFormat> recordFormats();
