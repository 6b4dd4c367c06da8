#include "tests/support/SoftwareDriversOnly.h"

#include "platform/hardware/drivers/Drivers.h"
#include "platform/hardware/drivers/software/SoftwareDriver.h"

braq::tests::SoftwareDriversOnly::SoftwareDriversOnly() {
    braq::replaceDrivers([] {
        std::vector<std::unique_ptr<Driver>> drivers;
        drivers.push_back(makeSoftwareDriver());
        return drivers;
    });
}
