#include "platform/hardware/drivers/Drivers.h"

#include "platform/hardware/drivers/pipewire/PipeWireDriver.h"
#include "platform/hardware/drivers/software/SoftwareDriver.h"

namespace braq {

// A default device set by the application takes precedence over the desktop's.
std::vector<std::unique_ptr<Driver>> makeDrivers() {
    std::vector<std::unique_ptr<Driver>> drivers;
    drivers.push_back(makeSoftwareDriver());
    drivers.push_back(makePipeWireDriver());
    return drivers;
}

} // namespace braq
