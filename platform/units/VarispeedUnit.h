#pragma once

#include "platform/units/SourceSettings.h"
#include "platform/units/Unit.h"

#include <mutex>

namespace braq {

class VarispeedSource;

/// Plays its input at a rate that may change at any time: at another pitch, or at its own.
class VarispeedUnit final : public Unit {
  public:
    VarispeedUnit();
    ~VarispeedUnit() override;

    OSStatus initialize() override;
    OSStatus uninitialize() override;
    OSStatus property(const UnitPropertyAddress& address, void* data, UInt32* size) override;
    OSStatus setProperty(const UnitPropertyAddress& address, const void* data, UInt32 size) override;
    OSStatus parameter(AudioUnitParameterID parameter, AudioUnitScope scope, AudioUnitElement element,
                       AudioUnitParameterValue* value) const noexcept override;
    OSStatus setParameter(AudioUnitParameterID parameter, AudioUnitScope scope, AudioUnitElement element,
                          AudioUnitParameterValue value) noexcept override;
    OSStatus render(const AudioTimeStamp& time, AudioUnitElement element, UInt32 frames,
                    AudioBufferList* list) noexcept override;
    std::shared_ptr<FrameSource> output() override;

  private:
    // Under mMutex.
    OSStatus setFormat(const UnitPropertyAddress& address, const void* data, UInt32 size);
    OSStatus setKeepsPitch(const void* data, UInt32 size);
    AudioStreamBasicDescription& format(AudioUnitScope scope);

    std::mutex mMutex;                   // all that follows, except the atomics
    AudioStreamBasicDescription mInput;  // what is pulled
    AudioStreamBasicDescription mOutput; // what is delivered
    UInt32 mSliceLimit;                  // frames
    SourceSettings mSettings;
    std::shared_ptr<VarispeedSource> mSource;         // while initialised
    std::atomic<VarispeedSource*> mRendered{nullptr}; // the same, for the threads that render
    std::atomic<float> mRate{1.0F};                   // any thread
    std::atomic<bool> mKeepsPitch{false};             // likewise
};

} // namespace braq
