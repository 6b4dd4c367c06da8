#pragma once

#include "platform/files/writing/FileWriter.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

// What tests of the writer write, and where.

namespace braq::tests {

using Signal = std::vector<std::vector<Float32>>; // by channel

/// Noise over a ramp, other in each channel, of integers of `bits` bits over their full scale; both extremes come first and
/// last.
Signal integerNoise(UInt32 channels, std::size_t frames, UInt32 bits);
/// Noise with all that a float can hold between -1 and 1, and a few samples beyond.
Signal floatNoise(UInt32 channels, std::size_t frames);
/// One tone a channel, the second being half as loud as the first, and so on.
Signal tones(UInt32 channels, std::size_t frames, Float64 rate, Float64 frequency);

AudioStreamBasicDescription fileFormat(UInt32 formatID, UInt32 flags, UInt32 bits, UInt32 channels, Float64 rate);
AudioStreamBasicDescription clientFormat(UInt32 channels, Float64 rate, bool isInterleaved = false);

/// Writes the frames from `first` on in one call.
OSStatus writeFrames(FileWriter& writer, const Signal& signal, std::size_t first, std::size_t frames);
/// Writes all of it in calls of odd sizes.
OSStatus writeSignal(FileWriter& writer, const Signal& signal);

/// The quality of `found` as a copy of `original`, in dB, from frame `first` to before `last`.
double signalToNoise(const std::vector<double>& found, const std::vector<Float32>& original, std::size_t first,
                     std::size_t last);

/// A folder for a test's files, which goes with this.
class FileFolder {
  public:
    FileFolder() {
        std::string name = ::testing::TempDir() + "/files-XXXXXX";
        if (::mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("no temporary folder");
        }
        mPath = name;
    }
    ~FileFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(mPath, ignored);
    }
    FileFolder(const FileFolder&) = delete;
    FileFolder& operator=(const FileFolder&) = delete;

    const std::filesystem::path& path() const { return mPath; }
    std::string file(const std::string& name) const { return (mPath / name).string(); }

  private:
    std::filesystem::path mPath;
};

} // namespace braq::tests
