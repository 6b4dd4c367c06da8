#pragma once

#include "BRAQAudio/BRAQDeviceChange.h"
#include "BRAQAudio/platform/units.h"
#include "library/src/BRAQUnitPropertyWatch.h"

#include <memory>

namespace braq {

/// Tells of the changes of an initialised unit's device, on the main thread. Any thread but an I/O thread.
class DeviceWatch {
  public:
    /// @param unit initialised; must be a device unit for anything to be told
    /// @param told not called any more when this object is gone, as far as the main thread is concerned
    DeviceWatch(AudioUnit unit, BRAQDeviceChangeBlock told);

  private:
    struct Seen;

    const std::shared_ptr<Seen> mSeen;
    const UnitPropertyWatch mWatch;
};

} // namespace braq
