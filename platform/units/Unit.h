#pragma once

#include "BRAQAudio/platform/units.h"
#include "platform/units/FrameSource.h"
#include "platform/units/UnitListeners.h"

#include <atomic>
#include <memory>

namespace braq {

/// What units answer to a property of a wrong size.
constexpr OSStatus wrongUnitPropertySize = kAudioUnitErr_InvalidPropertyValue;

/// Which property of a unit: what, on which side, of which element.
struct UnitPropertyAddress {
    AudioUnitPropertyID property;
    AudioUnitScope scope;
    AudioUnitElement element;
};

/// What every kind of unit is behind its reference. The answers are those of the C functions. Any thread but an I/O thread,
/// unless something else is said.
class Unit : public std::enable_shared_from_this<Unit> {
  public:
    virtual ~Unit() = default;
    Unit() = default;
    Unit(const Unit&) = delete;
    Unit& operator=(const Unit&) = delete;

    virtual OSStatus initialize() = 0;
    virtual OSStatus uninitialize() = 0;
    virtual OSStatus property(const UnitPropertyAddress& address, void* data, UInt32* size) = 0;
    virtual OSStatus setProperty(const UnitPropertyAddress& address, const void* data, UInt32 size) = 0;

    /// @realtime Any thread.
    virtual OSStatus parameter(AudioUnitParameterID parameter, AudioUnitScope scope, AudioUnitElement element,
                               AudioUnitParameterValue* value) const noexcept = 0;
    /// @realtime Any thread.
    virtual OSStatus setParameter(AudioUnitParameterID parameter, AudioUnitScope scope, AudioUnitElement element,
                                  AudioUnitParameterValue value) noexcept = 0;
    /// @realtime One thread at a time.
    virtual OSStatus render(const AudioTimeStamp& time, AudioUnitElement element, UInt32 frames,
                            AudioBufferList* list) noexcept = 0;

    /// What another unit pulls from; null while the unit is not initialised, and of one that has no output to pull from.
    virtual std::shared_ptr<FrameSource> output() { return nullptr; }

    virtual OSStatus start() { return kAudio_ParamError; }
    virtual OSStatus stop() { return kAudio_ParamError; }

    /// Whether it is one that a graph is started through.
    virtual bool isOutputUnit() const noexcept { return false; }

    UnitListeners& listeners() noexcept { return mListeners; }

    /// Under which it is known outside. Set once, before anyone else knows the unit.
    AudioUnit reference() const noexcept { return mReference; }
    void setReference(AudioUnit reference) noexcept { mReference = reference; }

  protected:
    /// The one that was kept last; 0 from then on.
    OSStatus takeLastRenderError() noexcept { return mLastRenderError.exchange(0, std::memory_order_relaxed); }
    std::atomic<OSStatus>& lastRenderError() noexcept { return mLastRenderError; }

  private:
    AudioUnit mReference = nullptr;
    UnitListeners mListeners;
    std::atomic<OSStatus> mLastRenderError{0}; // all: atomic
};

/// The status of a parameter that is global and of element 0.
OSStatus checkParameter(AudioUnitParameterID parameter, AudioUnitParameterID expected, AudioUnitScope scope,
                        AudioUnitElement element) noexcept;

} // namespace braq
