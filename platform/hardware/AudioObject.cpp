#include "BRAQAudio/platform/hardware.h"

#include <cstring>

// No driver publishes devices yet, so the system object is the only one and its defaults are no device.
OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                    UInt32 /*qualifierSize*/, const void* /*qualifier*/, UInt32* size, void* data) {
    if (object != kAudioObjectSystemObject) {
        return kAudioHardwareBadObjectError;
    }
    if (address->mSelector != kAudioHardwarePropertyDefaultInputDevice &&
        address->mSelector != kAudioHardwarePropertyDefaultOutputDevice) {
        return kAudioHardwareUnknownPropertyError;
    }
    constexpr AudioDeviceID noDevice = kAudioObjectUnknown;
    if (*size != sizeof(noDevice)) {
        return kAudioHardwareBadPropertySizeError;
    }
    std::memcpy(data, &noDevice, sizeof(noDevice));
    return 0;
}
