#pragma once

#include <BRAQAudio/BRAQAudio.h>

#include <memory>
#include <string>
#include <vector>

/// How a recording is kept: the type of its file and the format in it.
struct RecordFormat {
    AudioFileTypeID fileType = 0;
    UInt32 formatID = 0;
    UInt32 bits = 0;
    UInt32 flags = 0;
};

/// @param path whose ending chooses the type
/// @param name of the format; empty: the usual one of the type
/// Throws `WrongUsage` that says what there is instead.
RecordFormat chooseRecordFormat(const std::string& path, const std::string& name);

/// What a file holds that is made for it.
std::shared_ptr<BRAQAudioStreamBasicDescription> descriptionOf(const RecordFormat& format, UInt32 channels,
                                                               Float64 rate);

/// Which endings there are and which formats each can have, the usual one first, a line each.
std::string recordFormatsHelp();

/// The same as a list of pairs.
struct EndingWithFormat {
    std::string ending; ///< with its dot
    std::string format;
};
std::vector<EndingWithFormat> recordFormats();
