#pragma once

#include "platform/files/reading/FileReader.h"

#include <filesystem>
#include <string>
#include <vector>

// Files as the reader delivers them, and files to read, which the ffmpeg command makes.

namespace braq::tests {

/// Samples by channel.
using Sound = std::vector<std::vector<Float32>>;

/// An open file that delivers planar float.
class ReadFile {
  public:
    /// Throws `std::runtime_error` for what cannot be opened.
    explicit ReadFile(const std::filesystem::path& path);

    FileReader& reader() { return *mReader; }
    SInt64 length() const { return mReader->lengthFrames(); }
    UInt32 channels() const { return mReader->clientFormat().mChannelsPerFrame; }
    void setClient(Float64 rate, UInt32 channels);

    /// Reads once, behind and before samples that must stay as they are. Throws when they do not, or for a status.
    Sound read(UInt32 frames);
    Sound readAt(SInt64 frame, UInt32 frames);
    /// Reads to the end in calls of a size.
    Sound readRest(UInt32 framesAtOnce = 4096);

  private:
    std::unique_ptr<FileReader> mReader;
};

/// The status of opening; the reader is dropped.
OSStatus statusOfOpening(const std::filesystem::path& path);

/// Frames `first` to before `first + frames`, as many of them as there are.
Sound part(const Sound& sound, SInt64 first, SInt64 frames);
SInt64 frames(const Sound& sound);
/// The largest difference between two sounds of the same size; infinite for others.
double largestDifference(const Sound& one, const Sound& other);

/// Makes a file with the ffmpeg command.
/// @param arguments between the input and the name of the new file, separated by spaces
/// Throws `std::runtime_error` when it fails.
void encode(const std::filesystem::path& input, const std::string& arguments, const std::filesystem::path& output);
/// The same for several files in one go.
struct Encoding {
    std::string arguments;
    std::filesystem::path output;
};
void encode(const std::filesystem::path& input, const std::vector<Encoding>& encodings);
/// The samples that the ffmpeg command decodes from a file, as interleaved float.
std::vector<Float32> decodedByCommand(const std::filesystem::path& input, const std::filesystem::path& folder);

/// How far what is read may be from that: nothing, but where the command is that of another processor, whose decoders round
/// otherwise.
#ifdef BRAQ_COMMANDS_OF_ANOTHER_PROCESSOR
constexpr Float32 commandTolerance = 1e-5F;
#else
constexpr Float32 commandTolerance = 0.0F;
#endif

std::string bytesOf(const std::filesystem::path& path);
void writeBytes(const std::filesystem::path& path, const std::string& bytes);

} // namespace braq::tests
