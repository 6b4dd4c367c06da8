#pragma once

#include "BRAQAudio/platform/units.h"
#include "platform/units/FrameSource.h"
#include "platform/units/Unit.h"

#include <atomic>
#include <memory>

namespace braq {

/// Where a unit's input is to come from: a callback or another unit, whichever was set last.
class SourceSettings {
  public:
    /// @return 0, or `kAudioUnitErr_InvalidPropertyValue` for a wrong size
    OSStatus setCallback(const void* data, UInt32 size);
    /// @return the same, also for a unit that is not there or the unit itself; `kAudioUnitErr_InvalidElement`
    OSStatus setConnection(const void* data, UInt32 size, const Unit& of);

    const AURenderCallbackStruct& callback() const { return mCallback; }

    /// What to pull from.
    /// @param format of the input: what a unit delivers has to have its rate and channels
    /// @param[out] status `kAudioUnitErr_NoConnection`, or `kAudioUnitErr_FormatNotSupported`
    /// @return null with a status; with a status of 0 if there is neither a callback nor a unit
    std::shared_ptr<FrameSource> make(const AudioStreamBasicDescription& format, UInt32 sliceLimit,
                                      std::atomic<OSStatus>& lastError, OSStatus& status) const;

  private:
    AURenderCallbackStruct mCallback{};
    std::weak_ptr<Unit> mUnit;
    bool mIsConnected = false;
};

} // namespace braq
