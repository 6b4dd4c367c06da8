#pragma once

#include "platform/hardware/Hardware.h"
#include "platform/hardware/PropertyValue.h"

namespace braq {

/// Reads any property of any object, except those that take input from the reader.
/// @return 0, or why there is no value
OSStatus readProperty(AudioObjectID id, const AudioObjectPropertyAddress& address, PropertyValue& value);

/// The properties of the objects and their values. Nothing if the object does not have the property in this scope.
std::optional<PropertyValue> systemProperty(const Hardware& hardware, const AudioObjectPropertyAddress& address);
std::optional<PropertyValue> deviceProperty(const Device& device, const DeviceState& state,
                                            const AudioObjectPropertyAddress& address);
std::optional<PropertyValue> streamProperty(const DeviceStream& stream, const AudioObjectPropertyAddress& address);

} // namespace braq
