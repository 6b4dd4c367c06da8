#pragma once

#include "platform/files/reading/LocalFile.h"
#include "platform/files/reading/SampleSource.h"

#include <memory>
#include <string>

namespace braq {

/// Finds out what a file holds, by its content, and how to read it.
/// @return null for what cannot be read
std::unique_ptr<SampleSource> openSource(std::unique_ptr<LocalFile> file);

// The kinds, each in a file of its own. `begin` and `end` are where the sound is; `format` is libav's name of the content.
std::unique_ptr<SampleSource> openLayerIII(std::unique_ptr<LocalFile> file, SInt64 begin, SInt64 end);
std::unique_ptr<SampleSource> openAdts(std::unique_ptr<LocalFile> file, SInt64 begin, SInt64 end);
std::unique_ptr<SampleSource> openFlac(std::unique_ptr<LocalFile> file, SInt64 begin, SInt64 end);
std::unique_ptr<SampleSource> openOgg(std::unique_ptr<LocalFile> file, SInt64 begin);
std::unique_ptr<SampleSource> openMovie(std::unique_ptr<LocalFile> file, const std::string& format);
/// Chunks with one run of samples: WAV, AIFF, AU, and CAF, which also holds packets.
std::unique_ptr<SampleSource> openChunks(std::unique_ptr<LocalFile> file, const std::string& format);

} // namespace braq
