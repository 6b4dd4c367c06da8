#pragma once

#include "BRAQAudio/platform/BRAQRealtimeSection.h"
#include "platform/hardware/DeviceIO.h"
#include "platform/samples/Planes.h"
#include "platform/samples/resampling/VariableRateConverter.h"
#include "platform/units/ChannelRouting.h"
#include "platform/units/DeviceFacts.h"
#include "platform/units/FrameSource.h"
#include "platform/units/VolumeRamp.h"

#include <atomic>
#include <memory>
#include <vector>

namespace braq {

/// The playback side of a running device unit: pulls, converts to the device's rate, routes, applies the volume.
/// Control threads create it for the device's current state; the device's I/O thread uses it.
class DevicePlayback {
  public:
    /// @param source null: silence
    /// @param sliceFrames maximum frames rendered at once
    DevicePlayback(std::shared_ptr<FrameSource> source, Float64 sampleRate, UInt32 channels, ChannelRouting routing,
                   const DeviceFacts& device, UInt32 sliceFrames, bool startsAtZero);
    DevicePlayback(const DevicePlayback&) = delete;
    DevicePlayback& operator=(const DevicePlayback&) = delete;

    /// Silence while the device has another rate than it was created for. Throws what a callback has thrown.
    /// @realtime The device's I/O thread.
    void render(const IOSlice& slice, float volume);

    /// Stops calling callbacks from the next slice on; waits for the current one, if there is one. Control thread.
    void endCallbacks() noexcept;
    /// Whether everything pulled has been rendered, as of the last slice. Control thread, after `endCallbacks`.
    bool isUsedUp() const noexcept { return !mHolds.load(std::memory_order_acquire); }
    /// Slices rendered so far. Control thread.
    UInt32 slices() const noexcept { return mSlices.load(std::memory_order_acquire); }

    /// Goes on where an instance for another state of the same device ended: in time, and with the frames that it has
    /// pulled and not rendered. Control thread, while the device does not call.
    void takeUp(DevicePlayback& before) noexcept;

    /// Resets everything. Control thread, while the device does not call.
    void reset() noexcept;

  private:
    static void pullInput(void* self, UInt32 frames, float* const* planes) noexcept;

    bool fits(const IOSlice& slice) const noexcept;
    void renderPart(const IOSlice& slice, UInt32 offset, UInt32 frames) noexcept;
    void setHostTime(const IOSlice& slice, UInt32 offset) noexcept;
    void passTime(Float64 frames) noexcept;
    void convert(float* const* planes, UInt32 frames) noexcept;
    void pull(UInt32 frames, float* const* planes) noexcept;
    bool holdsFrames() const noexcept;

    const std::shared_ptr<FrameSource> mSource;
    const Float64 mSampleRate;
    const UInt32 mChannels;
    const ChannelRouting mRouting;
    const Float64 mDeviceRate;
    const Float64 mLargestRatio; // of a converter
    const UInt32 mSliceFrames;
    const UInt32 mPullFrames; // maximum of one pull
    const bool mStartsAtZero;

    BRAQRealtimeSection mSlice{
        BRAQRealtimeSection::Threads::one}; // passed by the I/O thread, which looks at mIsAsking inside
    std::atomic<UInt32> mSlices{0};         // written by the I/O thread
    std::atomic<bool> mIsAsking{true};      // written by control threads
    std::atomic<bool> mHolds{false};        // written by the I/O thread

    // I/O thread
    std::unique_ptr<VariableRateConverter> mConverter; // if the rates differ, or have differed
    VolumeRamp mVolume{1.0F};
    bool mHasVolume = false;           // the first volume is not a change
    Planes mPlanes;                    // input of the routing; empty without routing
    std::vector<float*> mPartPlanes;   // the part of either that is pulled
    std::vector<float*> mDevicePlanes; // of the slice
    AudioTimeStamp mTime{};            // of the next frame to be pulled; the host time is when the device plays it
    bool mHasTime = false;
    Asking mAsking = Asking::procedures;
    bool mSourceIsUsedUp = false; // since callbacks ended
};

} // namespace braq
