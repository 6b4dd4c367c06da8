#pragma once

#include "BRAQAudio/platform/units.h"
#include "platform/samples/Planes.h"
#include "platform/samples/resampling/VariableRateConverter.h"
#include "platform/units/FormatBuffers.h"
#include "platform/units/FrameSource.h"

#include <atomic>
#include <memory>

namespace braq {

/// The output of an initialised varispeed unit.
class VarispeedSource final : public FrameSource {
  public:
    /// @param from null: silence
    /// @param rate read before each slice; must outlive this object
    VarispeedSource(std::shared_ptr<FrameSource> from, const AudioStreamBasicDescription& input,
                    const AudioStreamBasicDescription& output, UInt32 sliceLimit, const std::atomic<float>& rate);

    UInt32 sliceLimit() const noexcept override { return mSliceLimit; }
    UInt32 pull(UInt32 frames, float* const* planes, const AudioTimeStamp& time, Asking asking) noexcept override;
    bool holdsFrames() const noexcept override;
    std::exception_ptr takeThrown() noexcept override;
    void reset() noexcept override;

    /// Like `AudioUnitRender`. @realtime
    OSStatus render(const AudioTimeStamp& time, UInt32 frames, AudioBufferList* list) noexcept;

  private:
    static void pullInput(void* self, UInt32 frames, float* const* planes) noexcept;
    void passTime(Float64 inputFrames) noexcept;

    const std::shared_ptr<FrameSource> mFrom;
    const UInt32 mChannels;
    const UInt32 mSliceLimit;
    const Float64 mOutputRate;     // frames per second
    const Float64 mRatioAtRateOne; // input frames per output frame
    const std::atomic<float>& mRate;
    VariableRateConverter mConverter;
    Planes mPlanes; // for render
    FormatBuffers mList;
    AudioTimeStamp mTime{}; // of the next frame to be pulled; its sample time counts input frames
    Float64 mRatio = 1.0;   // in this slice
    Asking mAsking = Asking::procedures;
    bool mFromIsUsedUp = false; // since callbacks ended
};

} // namespace braq
