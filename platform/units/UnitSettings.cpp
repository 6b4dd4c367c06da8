#include "platform/units/UnitSettings.h"

#include "platform/foundation/PropertyBytes.h"
#include "platform/samples/StreamFormat.h"

namespace braq {

OSStatus takeUnitFormat(AudioStreamBasicDescription& format, AudioUnitPropertyID property, const void* data,
                        UInt32 size) {
    constexpr UInt32 mostChannels = 1024;
    AudioStreamBasicDescription changed = format;
    const OSStatus status = property == kAudioUnitProperty_StreamFormat
                                ? take(changed, size, data, wrongUnitPropertySize)
                                : take(changed.mSampleRate, size, data, wrongUnitPropertySize);
    if (status != 0) {
        return status;
    }
    if (!isFloatFormat(changed, mostChannels) || !(changed.mSampleRate > 0)) {
        return kAudioUnitErr_FormatNotSupported;
    }
    format = changed;
    return 0;
}

OSStatus takeSliceLimit(UInt32& limit, const void* data, UInt32 size) {
    constexpr UInt32 largest = 1U << 20;
    UInt32 wanted = 0;
    if (const OSStatus status = take(wanted, size, data, wrongUnitPropertySize)) {
        return status;
    }
    if (wanted == 0 || wanted > largest) {
        return kAudioUnitErr_InvalidPropertyValue;
    }
    limit = wanted;
    return 0;
}

} // namespace braq
