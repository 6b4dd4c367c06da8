#pragma once

#include "BRAQAudio/platform/BRAQSoftwareDevice.h"
#include "platform/hardware/drivers/DeviceDescription.h"

namespace braq {

/// What is wrong with the options of a device; null when nothing is.
const char* faultOf(const BRAQSoftwareDeviceOptions& options);

/// What a device with these options is.
DeviceDescription descriptionOf(const BRAQSoftwareDeviceOptions& options);

} // namespace braq
