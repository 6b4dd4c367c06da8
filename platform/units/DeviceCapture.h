#pragma once

#include "BRAQAudio/platform/units.h"
#include "platform/hardware/DeviceIO.h"
#include "platform/samples/Planes.h"
#include "platform/units/CaptureConverter.h"
#include "platform/units/ChannelRouting.h"
#include "platform/units/DeviceFacts.h"
#include "platform/units/FormatBuffers.h"

#include <atomic>
#include <exception>
#include <memory>
#include <optional>
#include <vector>

namespace braq {

/// The recording side of a running device unit: routes channels, converts to the client's rate, and calls back for each
/// slice, which the callback then fetches. Control threads create it for the device's current state; the device's I/O
/// thread uses it.
class DeviceCapture {
  public:
    /// @param sliceFrames largest slice of a callback
    DeviceCapture(const AURenderCallbackStruct& callback, const AudioStreamBasicDescription& format,
                  ChannelRouting routing, const DeviceFacts& device, UInt32 sliceFrames, bool startsAtZero);
    DeviceCapture(const DeviceCapture&) = delete;
    DeviceCapture& operator=(const DeviceCapture&) = delete;

    /// Processes a slice. Does nothing while the device has another rate than it was created for. Throws what the
    /// callback throws.
    /// @param lastError receives the callback's result if not 0
    /// @realtime The device's I/O thread.
    void capture(const IOSlice& slice, std::atomic<OSStatus>& lastError);

    /// Like `AudioUnitRender`, inside the callback. @realtime
    OSStatus fetch(UInt32 frames, AudioBufferList* list) noexcept;

    /// Goes on where an earlier instance was: its time goes on, and the frames that its converter holds come first. Control
    /// thread, while the device does not call.
    void takeUp(DeviceCapture& before);

    /// Resets everything. Control thread, while the device does not call.
    void reset();

  private:
    void keepRest(DeviceCapture& before);
    void deliverRest(std::atomic<OSStatus>& lastError) noexcept;
    bool collect(const IOSlice& slice, UInt32 offset, UInt32 frames) noexcept;
    void deliver(const float* const* planes, UInt32 frames, std::atomic<OSStatus>& lastError) noexcept;
    OSStatus call(UInt32 frames) noexcept;

    const AURenderCallbackStruct mCallback;
    const UInt32 mChannels;
    const Float64 mSampleRate;
    const ChannelRouting mRouting;
    const Float64 mDeviceRate;
    const UInt32 mSliceFrames;
    const bool mStartsAtZero;

    // I/O thread
    std::unique_ptr<CaptureConverter> mConverter; // if the rates differ
    FormatBuffers mBuffers;
    std::vector<const float*> mDevicePlanes; // of the slice
    Planes mRouted;
    UInt32 mRoutedFrames = 0;
    std::vector<std::vector<float>> mRest; // of the instance before, at the client's rate
    UInt32 mRestFrames = 0;                // that are still to be delivered
    UInt64 mEnd = 0;                       // host time of the frame behind the last slice
    std::optional<Planes> mConverted;      // if the rates differ
    std::vector<const float*> mRestPlanes;
    std::vector<const float*> mCurrent; // what the callback is about
    UInt32 mCurrentFrames = 0;
    std::exception_ptr mThrown; // by the callback in this slice
    AudioTimeStamp mTime{};     // of the next slice
    bool mHasTime = false;
};

} // namespace braq
