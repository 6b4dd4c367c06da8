#pragma once

#include "BRAQAudio/platform/BRAQSoftwareDevice.h"
#include "platform/hardware/drivers/DeviceDescription.h"

namespace braq {

/// What is wrong with the options of a device; null if nothing is.
const char* faultOf(const BRAQSoftwareDeviceOptions& options);

/// The description of a device with these options.
DeviceDescription descriptionOf(const BRAQSoftwareDeviceOptions& options);

} // namespace braq
