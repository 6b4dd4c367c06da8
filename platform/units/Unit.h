#pragma once

#include "BRAQAudio/platform/units.h"
#include "platform/units/FrameSource.h"
#include "platform/units/UnitListeners.h"

#include <atomic>
#include <memory>

namespace braq {

/// The result of units for a property of a wrong size.
constexpr OSStatus wrongUnitPropertySize = kAudioUnitErr_InvalidPropertyValue;

/// The address of a property of a unit: property, scope and element.
struct UnitPropertyAddress {
    AudioUnitPropertyID property;
    AudioUnitScope scope;
    AudioUnitElement element;
};

/// The implementation behind a reference to a unit, for every kind of unit. The results are those of the C functions.
/// Any thread but an I/O thread, unless stated otherwise.
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

    /// What another unit pulls from; null while the unit is not initialised, and for a unit without an output.
    virtual std::shared_ptr<FrameSource> output() { return nullptr; }

    virtual OSStatus start() { return kAudio_ParamError; }
    virtual OSStatus stop() { return kAudio_ParamError; }

    /// Whether a graph is started through this unit.
    virtual bool isOutputUnit() const noexcept { return false; }

    UnitListeners& listeners() noexcept { return mListeners; }

    /// The reference known outside. Set once, before anybody else has the unit.
    AudioUnit reference() const noexcept { return mReference; }
    void setReference(AudioUnit reference) noexcept { mReference = reference; }

  protected:
    /// The error kept last; 0 from then on.
    OSStatus takeLastRenderError() noexcept { return mLastRenderError.exchange(0, std::memory_order_relaxed); }
    std::atomic<OSStatus>& lastRenderError() noexcept { return mLastRenderError; }

  private:
    AudioUnit mReference = nullptr;
    UnitListeners mListeners;
    std::atomic<OSStatus> mLastRenderError{0}; // all: atomic
};

/// Checks a parameter that has global scope and element 0.
OSStatus checkParameter(AudioUnitParameterID parameter, AudioUnitParameterID expected, AudioUnitScope scope,
                        AudioUnitElement element) noexcept;

} // namespace braq
