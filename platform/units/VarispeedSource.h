#pragma once

#include "BRAQAudio/platform/units.h"
#include "platform/samples/Planes.h"
#include "platform/samples/TempoConverter.h"
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
    /// @param keepsPitch likewise: whether the rate leaves the pitch as it is, which has to be prepared
    VarispeedSource(std::shared_ptr<FrameSource> from, const AudioStreamBasicDescription& input,
                    const AudioStreamBasicDescription& output, UInt32 sliceLimit, const std::atomic<float>& rate,
                    const std::atomic<bool>& keepsPitch);

    /// Makes what it takes to keep the pitch. Control thread; while it plays, too. @throw std::bad_alloc
    void prepareToKeepPitch();

    UInt32 sliceLimit() const noexcept override { return mSliceLimit; }
    UInt32 pull(UInt32 frames, float* const* planes, const AudioTimeStamp& time, Asking asking) noexcept override;
    bool holdsFrames() const noexcept override;
    std::exception_ptr takeThrown() noexcept override;
    void reset() noexcept override;

    /// Like `AudioUnitRender`. @realtime
    OSStatus render(const AudioTimeStamp& time, UInt32 frames, AudioBufferList* list) noexcept;

  private:
    static void pullInput(void* self, UInt32 frames, float* const* planes) noexcept;
    static void pullTempo(void* self, UInt32 frames, float* const* planes) noexcept;
    static void drainTempo(void* self, UInt32 frames, float* const* planes) noexcept;
    double heldByTempo() const noexcept;
    void passTime(Float64 inputFrames) noexcept;

    const std::shared_ptr<FrameSource> mFrom;
    const UInt32 mChannels;
    const UInt32 mSliceLimit;
    const Float64 mInputRate;      // frames per second
    const Float64 mOutputRate;     // likewise
    const Float64 mRatioAtRateOne; // input frames per output frame
    const UInt32 mLargestPull;
    const std::atomic<float>& mRate;
    const std::atomic<bool>& mKeepsPitch;
    std::unique_ptr<TempoConverter> mOwnTempo;    // control thread
    std::atomic<TempoConverter*> mTempo{nullptr}; // the same, for the thread that pulls
    VariableRateConverter mConverter;
    Planes mPlanes; // for render
    FormatBuffers mList;
    AudioTimeStamp mTime{}; // of the next frame to be pulled; its sample time counts input frames
    Float64 mRatio = 1.0;   // of what is pulled to what is rendered, in this slice
    Float64 mSpeed = 1.0;   // at which the pitch stays, in this slice
    Asking mAsking = Asking::procedures;
    bool mFromIsUsedUp = false; // since callbacks ended
};

} // namespace braq
