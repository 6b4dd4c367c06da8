#include "platform/hardware/Properties.h"

#include "BRAQAudio/platform/foundation/NSLog.h"
#include "BRAQAudio/platform/foundation/NSString.h"

#include <algorithm>
#include <cstring>

namespace {

using braq::Device;
using braq::Hardware;
using braq::PropertyValue;

// The reader's data contain the input and say where the result goes.
OSStatus translateUID(UInt32 size, void* data) {
    AudioValueTranslation translation;
    if (size != sizeof(translation)) {
        return kAudioHardwareBadPropertySizeError;
    }
    std::memcpy(&translation, data, sizeof(translation));
    CFStringRef uid = nullptr;
    AudioDeviceID device = kAudioObjectUnknown;
    if (translation.mInputData == nullptr || translation.mInputDataSize != sizeof(uid) ||
        translation.mOutputData == nullptr || translation.mOutputDataSize != sizeof(device)) {
        return kAudioHardwareBadPropertySizeError;
    }
    std::memcpy(&uid, translation.mInputData, sizeof(uid));
    if (uid != nullptr) {
        device = Hardware::instance().deviceForUID(CFStringCopyUTF8(uid));
    }
    std::memcpy(translation.mOutputData, &device, sizeof(device));
    return kAudioHardwareNoError;
}

template <class T>
OSStatus scalarFrom(UInt32 size, const void* data, T& value) {
    if (size != sizeof(value) || data == nullptr) {
        return kAudioHardwareBadPropertySizeError;
    }
    std::memcpy(&value, data, sizeof(value));
    return kAudioHardwareNoError;
}

/// Makes the notification thread ask the device's driver for a change; the driver reports it afterwards.
template <class Change>
void changeLater(const std::shared_ptr<Device>& device, const char* what, Change change) {
    Hardware::instance().notifications().run([device, what, change] {
        const OSStatus status = device->procedures.callDriver(change);
        if (status != kAudioHardwareNoError) {
            NSLog(NSStringWithFormat("(ERROR) AudioObject : a device did not change its %s. Error=%d.", what, status));
        }
    });
}

OSStatus setNominalRate(const Hardware::Object& object, Float64 rate) {
    const auto offers = [rate](const AudioValueRange& range) {
        return rate >= range.mMinimum && rate <= range.mMaximum;
    };
    if (std::ranges::none_of(object.state->description.rates, offers)) {
        return kAudioDeviceUnsupportedFormatError;
    }
    changeLater(object.device, "rate", [rate](braq::DriverDevice& driver) { return driver.setNominalRate(rate); });
    return kAudioHardwareNoError;
}

OSStatus setBufferFrames(const Hardware::Object& object, UInt32 frames) {
    const auto& description = object.state->description;
    if (frames < description.minimumBufferFrames || frames > description.maximumBufferFrames) {
        return kAudioHardwareIllegalOperationError;
    }
    changeLater(object.device, "buffer size",
                [frames](braq::DriverDevice& driver) { return driver.setBufferFrames(frames); });
    return kAudioHardwareNoError;
}

} // namespace

bool AudioObjectHasProperty(AudioObjectID object, const AudioObjectPropertyAddress* address) {
    PropertyValue value;
    const OSStatus status = braq::readProperty(object, *address, value);
    return status != kAudioHardwareUnknownPropertyError && status != kAudioHardwareBadObjectError &&
           status != kAudioHardwareBadDeviceError;
}

OSStatus AudioObjectGetPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                        UInt32 /*qualifierSize*/, const void* /*qualifier*/, UInt32* size) {
    PropertyValue value;
    const OSStatus status = braq::readProperty(object, *address, value);
    if (status == kAudioHardwareNoError) {
        *size = value.byteSize();
    }
    return status;
}

OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                    UInt32 /*qualifierSize*/, const void* /*qualifier*/, UInt32* size, void* data) {
    PropertyValue value;
    const OSStatus status = braq::readProperty(object, *address, value);
    if (status != kAudioHardwareNoError) {
        return status;
    }
    if (object == kAudioObjectSystemObject && address->mSelector == kAudioHardwarePropertyDeviceForUID) {
        return translateUID(*size, data);
    }
    return value.copyTo(size, data);
}

OSStatus AudioObjectSetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                    UInt32 /*qualifierSize*/, const void* /*qualifier*/, UInt32 size,
                                    const void* data) {
    PropertyValue value;
    OSStatus status = braq::readProperty(object, *address, value);
    if (status != kAudioHardwareNoError) {
        return status;
    }
    const auto found = Hardware::instance().find(object);
    if (!found) {
        return kAudioHardwareBadObjectError;
    }
    if (found->device != nullptr && address->mSelector == kAudioDevicePropertyNominalSampleRate) {
        Float64 rate = 0.0;
        status = scalarFrom(size, data, rate);
        return status == kAudioHardwareNoError ? setNominalRate(*found, rate) : status;
    }
    if (found->device != nullptr && address->mSelector == kAudioDevicePropertyBufferFrameSize) {
        UInt32 frames = 0;
        status = scalarFrom(size, data, frames);
        return status == kAudioHardwareNoError ? setBufferFrames(*found, frames) : status;
    }
    return kAudioHardwareUnsupportedOperationError;
}

OSStatus AudioObjectAddPropertyListener(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                        AudioObjectPropertyListenerProc listener, void* clientData) {
    if (listener == nullptr) {
        return kAudioHardwareIllegalOperationError;
    }
    Hardware& hardware = Hardware::instance();
    if (!hardware.find(object)) {
        return kAudioHardwareBadObjectError;
    }
    hardware.notifications().addListener(object, *address, listener, clientData);
    return kAudioHardwareNoError;
}

OSStatus AudioObjectRemovePropertyListener(AudioObjectID object, const AudioObjectPropertyAddress* address,
                                           AudioObjectPropertyListenerProc listener, void* clientData) {
    Hardware& hardware = Hardware::instance();
    if (!hardware.wasThere(object)) {
        return kAudioHardwareBadObjectError;
    }
    hardware.notifications().removeListener(object, *address, listener, clientData);
    return kAudioHardwareNoError;
}

OSStatus AudioDeviceTranslateTime(AudioDeviceID device, const AudioTimeStamp* in, AudioTimeStamp* out) {
    if (Hardware::instance().findDevice(device) == nullptr) {
        return kAudioHardwareBadObjectError;
    }
    const auto found = Hardware::instance().findRunning(device);
    const auto view = found != nullptr ? found->procedures.clock().view() : std::nullopt;
    if (!view || !found->procedures.isRunning()) {
        return kAudioHardwareNotRunningError;
    }
    const bool hasSampleTime = (in->mFlags & kAudioTimeStampSampleTimeValid) != 0;
    const bool hasHostTime = (in->mFlags & kAudioTimeStampHostTimeValid) != 0;
    if (!hasSampleTime && !hasHostTime) {
        return kAudioHardwareIllegalOperationError;
    }
    const UInt32 wanted =
        out->mFlags & (kAudioTimeStampSampleTimeValid | kAudioTimeStampHostTimeValid | kAudioTimeStampRateScalarValid);
    const Float64 sampleTime = hasSampleTime ? in->mSampleTime : view->sampleTimeAt(in->mHostTime);
    const UInt64 hostTime = hasHostTime ? in->mHostTime : view->hostTimeAt(in->mSampleTime);
    out->mFlags = wanted;
    if ((wanted & kAudioTimeStampSampleTimeValid) != 0) {
        out->mSampleTime = sampleTime;
    }
    if ((wanted & kAudioTimeStampHostTimeValid) != 0) {
        out->mHostTime = hostTime;
    }
    if ((wanted & kAudioTimeStampRateScalarValid) != 0) {
        out->mRateScalar = view->now.rateScalar;
    }
    return kAudioHardwareNoError;
}
