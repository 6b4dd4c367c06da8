#pragma once

#include "platform/hardware/Hardware.h"
#include "platform/hardware/PropertyValue.h"

namespace braq {

/// Reads any property of any object but those that need the reader's data.
/// @return 0, or why there is no value
OSStatus readProperty(AudioObjectID id, const AudioObjectPropertyAddress& address, PropertyValue& value);

/// What properties the objects have and what they answer. The property is in the scope or it is not there.
std::optional<PropertyValue> systemProperty(const Hardware& hardware, const AudioObjectPropertyAddress& address);
std::optional<PropertyValue> deviceProperty(const Device& device, const DeviceState& state,
                                            const AudioObjectPropertyAddress& address);
std::optional<PropertyValue> streamProperty(const DeviceStream& stream, const AudioObjectPropertyAddress& address);

} // namespace braq
