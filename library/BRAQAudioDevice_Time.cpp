#include "BRAQAudio/BRAQAudioDevice.h"

#include "BRAQAudio/platform/foundation.h"

#include <string_view>

const char BRAQAudioDeviceErrorDomain[] = "BRAQAudioDeviceErrorDomain";

namespace {

// From the application's own string table, so that it can translate the text.
std::string localized(const char* text) { return NSBundle::mainBundle()->localizedString(text); }

std::string failureReason(OSStatus status) {
    if (status == kAudioHardwareNotRunningError) {
        return localized("Device not running");
    }
    std::string reason = localized("An unknown error occurred with code %@. Please contact support.");
    constexpr std::string_view place = "%@";
    if (const auto found = reason.find(place); found != std::string::npos) {
        reason.replace(found, place.size(), std::to_string(status));
    }
    return reason;
}

AudioTimeStamp translate(AudioDeviceID device, const AudioTimeStamp& time, UInt32 wanted, const char* failure,
                         std::shared_ptr<NSError>* error) {
    AudioTimeStamp translated{};
    translated.mFlags = wanted;
    const OSStatus status = AudioDeviceTranslateTime(device, &time, &translated);
    if (status != 0) {
        translated.mFlags = 0;
        if (error != nullptr) {
            *error = NSError::errorWithDomain(BRAQAudioDeviceErrorDomain, -1,
                                              {{NSLocalizedDescriptionKey, localized(failure)},
                                               {NSLocalizedFailureReasonErrorKey, failureReason(status)}});
        }
    }
    return translated;
}

} // namespace

AudioTimeStamp BRAQAudioDevice::translateTimeHostToSample(const AudioTimeStamp& time,
                                                          std::shared_ptr<NSError>* error) const {
    return translate(mDeviceID, time, kAudioTimeStampSampleTimeValid,
                     "Failed to translate device's host to sample timestamp", error);
}

AudioTimeStamp BRAQAudioDevice::translateTimeSampleToHost(const AudioTimeStamp& time,
                                                          std::shared_ptr<NSError>* error) const {
    return translate(mDeviceID, time, kAudioTimeStampHostTimeValid | kAudioTimeStampRateScalarValid,
                     "Failed to translate device's sample to host timestamp", error);
}
