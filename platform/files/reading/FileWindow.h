#pragma once

#include "platform/files/reading/LocalFile.h"

#include <cstddef>
#include <span>
#include <vector>

namespace braq {

/// A window into a file, kept in memory, so that small steps forward need no system call each.
class FileWindow {
  public:
    explicit FileWindow(LocalFile& file, std::size_t bytes = std::size_t{64} * 1024) : mFile(file), mBytes(bytes) {}

    /// The bytes at an offset: `wanted` of them, more if they are at hand, or fewer at the end of the file. Valid until
    /// the next call.
    std::span<const std::uint8_t> at(SInt64 offset, std::size_t wanted);

  private:
    LocalFile& mFile;
    const std::size_t mBytes; // bytes per read
    SInt64 mOffset = 0;
    std::vector<std::uint8_t> mData;
};

} // namespace braq
