#pragma once

#include "BRAQAudio/platform/units.h"
#include "platform/units/FrameSource.h"
#include "platform/units/Unit.h"

#include <atomic>
#include <memory>

namespace braq {

/// The source of a unit's input: a callback or another unit, whichever was set last.
class SourceSettings {
  public:
    /// @return 0, or `kAudioUnitErr_InvalidPropertyValue` for a wrong size
    OSStatus setCallback(const void* data, UInt32 size);
    /// @return the same, also if the other unit does not exist or is this unit; `kAudioUnitErr_InvalidElement`
    OSStatus setConnection(const void* data, UInt32 size, const Unit& of);

    const AURenderCallbackStruct& callback() const { return mCallback; }

    /// The source to pull from.
    /// @param format of the input: a connected unit must deliver its rate and channels
    /// @param[out] status `kAudioUnitErr_NoConnection`, or `kAudioUnitErr_FormatNotSupported`
    /// @return null with a status; null with status 0 if there is neither a callback nor a unit
    std::shared_ptr<FrameSource> make(const AudioStreamBasicDescription& format, UInt32 sliceLimit,
                                      std::atomic<OSStatus>& lastError, OSStatus& status) const;

  private:
    AURenderCallbackStruct mCallback{};
    std::weak_ptr<Unit> mUnit;
    bool mIsConnected = false;
};

} // namespace braq
