#pragma once

#include "platform/files/reading/LocalFile.h"
#include "platform/files/reading/SampleSource.h"

#include <memory>
#include <string>

namespace braq {

/// Detects the format of a file by its content, and opens it.
/// @return null if it cannot be read; the reason is noted
std::unique_ptr<SampleSource> openSource(std::unique_ptr<LocalFile> file);

// One function per kind, each in its own file. `begin` and `end` are the bounds of the audio; `format` is libav's name
// of the content.
std::unique_ptr<SampleSource> openLayerIII(std::unique_ptr<LocalFile> file, SInt64 begin, SInt64 end);
std::unique_ptr<SampleSource> openAdts(std::unique_ptr<LocalFile> file, SInt64 begin, SInt64 end);
std::unique_ptr<SampleSource> openFlac(std::unique_ptr<LocalFile> file, SInt64 begin, SInt64 end);
std::unique_ptr<SampleSource> openOgg(std::unique_ptr<LocalFile> file, SInt64 begin);
std::unique_ptr<SampleSource> openMovie(std::unique_ptr<LocalFile> file, const std::string& format);
/// Chunk formats with a single run of samples: WAV, AIFF, AU, and CAF, which may also hold packets.
std::unique_ptr<SampleSource> openChunks(std::unique_ptr<LocalFile> file, const std::string& format);

} // namespace braq
