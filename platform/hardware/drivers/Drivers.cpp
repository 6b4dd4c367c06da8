#include "platform/hardware/drivers/Drivers.h"

#include "platform/hardware/drivers/pipewire/PipeWireDriver.h"
#include "platform/hardware/drivers/software/SoftwareDriver.h"

// What an application has made the default device itself goes before what the desktop says.
std::vector<std::unique_ptr<braq::Driver>> braq::makeDrivers() {
    std::vector<std::unique_ptr<Driver>> drivers;
    drivers.push_back(makeSoftwareDriver());
    drivers.push_back(makePipeWireDriver());
    return drivers;
}
