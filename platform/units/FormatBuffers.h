#pragma once

#include "BRAQAudio/platform/types.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace braq {

/// Frames in the layout of a format, beside the same frames as planes. Made on control threads; then used by one thread.
class FormatBuffers {
  public:
    /// @param frames that it has room for
    FormatBuffers(const AudioStreamBasicDescription& format, UInt32 frames);
    FormatBuffers(const FormatBuffers&) = delete;
    FormatBuffers& operator=(const FormatBuffers&) = delete;

    /// A list of silent buffers of so many frames: the planes themselves where the format is planar, else memory of its own.
    /// @realtime
    AudioBufferList* silentList(float* const* planes, UInt32 frames) noexcept;

    /// Leaves in the planes what the list from `silentList` now refers to, wherever that is.
    /// @realtime
    void takeFromList(float* const* planes, UInt32 frames) noexcept;

    /// Puts planes into a list of the format's shape, see `AudioUnitRender`.
    /// @return 0, or `kAudio_ParamError` for another shape
    /// @realtime
    OSStatus putIntoList(const float* const* planes, UInt32 frames, AudioBufferList* list) noexcept;

    /// Whether it has the format's buffers and channels.
    /// @realtime
    bool isOfShape(const AudioBufferList& list) const noexcept;

  private:
    const UInt32 mChannels;
    const bool mIsInterleaved;
    std::vector<float> mInterleaved;
    std::vector<float> mOwnPlanes; // handed out where a list brings no memory
    UInt32 mFrames;
    std::unique_ptr<std::byte[]> mListBytes;
};

} // namespace braq
