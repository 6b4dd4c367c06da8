#pragma once

#include "BRAQAudio/platform/units.h"

#include <functional>

namespace braq {

/// Listens to a property of a unit. Any thread but an I/O thread.
class UnitPropertyWatch {
  public:
    /// @param changed called on the thread that delivers hardware notifications
    UnitPropertyWatch(AudioUnit unit, AudioUnitPropertyID property, std::function<void()> changed);
    /// When this returns, `changed` is not running.
    ~UnitPropertyWatch();
    UnitPropertyWatch(const UnitPropertyWatch&) = delete;
    UnitPropertyWatch& operator=(const UnitPropertyWatch&) = delete;

  private:
    static void listener(void* self, AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                         AudioUnitElement element);

    const AudioUnit mUnit;
    const AudioUnitPropertyID mProperty;
    const std::function<void()> mChanged;
};

} // namespace braq
