#include "platform/units/UnitFormat.h"

#include "platform/foundation/PropertyBytes.h"
#include "platform/samples/StreamFormat.h"

OSStatus braq::takeUnitFormat(AudioStreamBasicDescription& format, AudioUnitPropertyID property, const void* data,
                              UInt32 size) {
    constexpr OSStatus wrongSize = kAudioUnitErr_InvalidPropertyValue;
    constexpr UInt32 mostChannels = 1024;
    AudioStreamBasicDescription changed = format;
    const OSStatus status = property == kAudioUnitProperty_StreamFormat
                                ? take(changed, size, data, wrongSize)
                                : take(changed.mSampleRate, size, data, wrongSize);
    if (status != 0) {
        return status;
    }
    if (!isFloatFormat(changed, mostChannels) || !(changed.mSampleRate > 0)) {
        return kAudioUnitErr_FormatNotSupported;
    }
    format = changed;
    return 0;
}
