#pragma once

#include "BRAQAudio/platform/units.h"
#include "library/src/BRAQUnitPropertyWatch.h"

#include <functional>
#include <memory>

namespace braq {

/// The value of `kBRAQOutputUnitProperty_LostFrames`; 0 if the unit does not have it. Any thread.
UInt64 lostFramesOf(AudioUnit unit) noexcept;

/// Tells of frames that a unit loses, on the main thread. Any thread but an I/O thread.
class LossWatch {
  public:
    /// @param unit a device unit
    /// @param told with the frames lost since the last call; not called any more when this object is gone, as far as the
    ///        main thread is concerned
    LossWatch(AudioUnit unit, std::function<void(UInt64 frames)> told);

  private:
    struct Seen;

    const std::shared_ptr<Seen> mSeen;
    const UnitPropertyWatch mWatch;
};

} // namespace braq
