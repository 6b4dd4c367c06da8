#include "platform/hardware/LoopbackFallback.h"

#include "platform/hardware/drivers/software/SoftwareDriver.h"

namespace braq {

void LoopbackFallback::setIsNeeded(bool isNeeded) {
    if (!isNeeded && mDevice != nullptr) {
        mDevice->vanish();
        mDevice.reset();
    } else if (isNeeded && mDevice == nullptr) {
        BRAQSoftwareDeviceOptions options;
        options.uid = uid;
        options.name = "Loopback (no sound server)";
        options.loopback = true;
        mDevice = SoftwareDriver::instance()->makeDevice(options);
    }
}

} // namespace braq
