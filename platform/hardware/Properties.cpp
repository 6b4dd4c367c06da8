#include "platform/hardware/Properties.h"

namespace braq {
namespace {

OSStatus found(std::optional<PropertyValue> answer, PropertyValue& value) {
    if (!answer) {
        return kAudioHardwareUnknownPropertyError;
    }
    value = std::move(*answer);
    return kAudioHardwareNoError;
}

} // namespace

OSStatus readProperty(AudioObjectID id, const AudioObjectPropertyAddress& address, PropertyValue& value) {
    const Hardware& hardware = Hardware::instance();
    const auto object = hardware.find(id);
    if (!object) {
        return kAudioHardwareBadObjectError;
    }
    if (address.mElement != kAudioObjectPropertyElementMain) {
        return kAudioHardwareUnknownPropertyError;
    }
    if (object->device == nullptr) {
        return found(systemProperty(hardware, address), value);
    }
    const DeviceState& state = *object->state;
    if (!state.isAlive && address.mSelector != kAudioDevicePropertyDeviceIsAlive) {
        return kAudioHardwareBadDeviceError;
    }
    const OSStatus status = object->device->driverDevice->propertyStatus(id, address);
    if (status != kAudioHardwareNoError) {
        return status;
    }
    return found(object->direction
                     ? streamProperty(state.direction(*object->direction).streams[object->stream], address)
                     : deviceProperty(*object->device, state, address),
                 value);
}

std::optional<PropertyValue> systemProperty(const Hardware& hardware, const AudioObjectPropertyAddress& address) {
    if (address.mScope != kAudioObjectPropertyScopeGlobal) {
        return std::nullopt;
    }
    switch (address.mSelector) {
    case kAudioHardwarePropertyDevices: return PropertyValue::list(hardware.devices());
    case kAudioHardwarePropertyDefaultInputDevice:
        return PropertyValue::scalar(hardware.defaultDevice(Direction::record));
    case kAudioHardwarePropertyDefaultOutputDevice:
    case kAudioHardwarePropertyDefaultSystemOutputDevice:
        return PropertyValue::scalar(hardware.defaultDevice(Direction::playback));
    case kAudioHardwarePropertyDeviceForUID: return PropertyValue::scalar(AudioValueTranslation{});
    default: return std::nullopt;
    }
}

std::optional<PropertyValue> streamProperty(const DeviceStream& stream, const AudioObjectPropertyAddress& address) {
    if (address.mScope != kAudioObjectPropertyScopeGlobal) {
        return std::nullopt;
    }
    switch (address.mSelector) {
    case kAudioStreamPropertyStartingChannel: return PropertyValue::scalar(stream.startingChannel);
    case kAudioStreamPropertyLatency: return PropertyValue::scalar(stream.latencyFrames);
    default: return std::nullopt;
    }
}

} // namespace braq
