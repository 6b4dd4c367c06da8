#pragma once

#include "bench/OpenServiceFile.h"

#include <filesystem>
#include <memory>

namespace braq::bench {

/// A file being read from its beginning to its end, as floats.
class FrameReader {
  public:
    virtual ~FrameReader() = default;
    FrameReader(const FrameReader&) = delete;
    FrameReader& operator=(const FrameReader&) = delete;

    /// Goes on by 4,096 frames, or by what a packet holds.
    /// @return frames, 0 at the end
    virtual UInt32 read() = 0;

  protected:
    FrameReader() = default;
};

/// Each of them throws std::runtime_error for what cannot be opened.
/// This library, through its file service.
std::unique_ptr<FrameReader> makeServiceReader(const std::filesystem::path& path, Layout layout);
/// A loop over libav, on one thread. Floats that its decoder makes are left where it leaves them; of anything else planes are
/// made with a plain loop.
std::unique_ptr<FrameReader> makeLibavReader(const std::filesystem::path& path);
/// libsndfile; it delivers interleaved, so a plain loop takes its frames apart where planes are asked for.
std::unique_ptr<FrameReader> makeSndfileReader(const std::filesystem::path& path, Layout layout);

} // namespace braq::bench
