#pragma once

#include "BRAQAudio/platform/units.h"
#include "platform/units/FormatBuffers.h"
#include "platform/units/FrameSource.h"

#include <atomic>
#include <utility>

namespace braq {

/// Frames from a render callback.
class CallbackSource final : public FrameSource {
  public:
    /// @param lastError receives the callback's result if not 0; must outlive this object
    CallbackSource(const AURenderCallbackStruct& callback, const AudioStreamBasicDescription& format, UInt32 sliceLimit,
                   std::atomic<OSStatus>& lastError);

    UInt32 sliceLimit() const noexcept override { return mSliceLimit; }
    UInt32 pull(UInt32 frames, float* const* planes, const AudioTimeStamp& time, Asking asking) noexcept override;
    bool holdsFrames() const noexcept override { return false; }
    std::exception_ptr takeThrown() noexcept override { return std::exchange(mThrown, nullptr); }
    void reset() noexcept override {}

  private:
    OSStatus call(const AudioTimeStamp& time, UInt32 frames, AudioBufferList* list) noexcept;

    const AURenderCallbackStruct mCallback;
    const UInt32 mChannels;
    const UInt32 mSliceLimit;
    std::atomic<OSStatus>& mLastError;
    FormatBuffers mBuffers;
    std::exception_ptr mThrown;
};

} // namespace braq
