#pragma once

#include "BRAQAudio/platform/types.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace braq {

/// Frames in the layout of a format, beside the same frames as planes. Created on control threads; then used by one
/// thread.
class FormatBuffers {
  public:
    /// @param frames maximum
    FormatBuffers(const AudioStreamBasicDescription& format, UInt32 frames);
    FormatBuffers(const FormatBuffers&) = delete;
    FormatBuffers& operator=(const FormatBuffers&) = delete;

    /// A list of silent buffers of this many frames: the planes themselves if the format is planar, else its own
    /// memory.
    /// @realtime
    AudioBufferList* silentList(float* const* planes, UInt32 frames) noexcept;

    /// Copies what the list from `silentList` now refers to into the planes, wherever it is.
    /// @realtime
    void takeFromList(float* const* planes, UInt32 frames) noexcept;

    /// Copies planes into a list of the format's shape, see `AudioUnitRender`.
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
    std::vector<float> mOwnPlanes; // for lists without memory
    UInt32 mFrames;
    std::unique_ptr<std::byte[]> mListBytes;
};

} // namespace braq
