#pragma once

#include "BRAQAudio/platform/types.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

// Audio files whose every sample tells which frame and channel it belongs to, written and read byte by byte, without the
// code that is tested.

namespace braq::tests {

/// Writes a 32-bit float WAVE file.
/// @param speakers a bit for each loudspeaker, as WAVE files have them; 0: the file does not say
void writeFile(const std::filesystem::path& path, UInt64 frames, UInt32 channels, UInt32 rate,
               const std::function<Float32(UInt64 frame, UInt32 channel)>& sample, UInt32 speakers = 0);

/// Writes a 32-bit float WAVE file whose samples are `sampleOf` (FrameLists.h).
/// @param speakers as for `writeFile`
void writeNumberedFile(const std::filesystem::path& path, UInt64 frames, UInt32 channels = 2, UInt32 rate = 48000,
                       UInt32 speakers = 0);

/// The samples of a 32-bit float WAVE file, interleaved, as they stand in it. Throws for what is no such file.
std::vector<Float32> samplesOfFile(const std::filesystem::path& path);

/// The numbers of the frames of a numbered stereo file. Reports a frame whose channels do not go together.
std::vector<UInt64> framesOfFile(const std::filesystem::path& path);

/// The file of that name among those of the project.
std::filesystem::path audioFile(const std::string& name);

} // namespace braq::tests
