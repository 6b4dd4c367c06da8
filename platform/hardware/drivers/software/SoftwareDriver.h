#pragma once

#include "BRAQAudio/platform/BRAQSoftwareDevice.h"
#include "platform/hardware/drivers/Driver.h"
#include "platform/hardware/drivers/software/SoftwareDevice.h"

#include <memory>
#include <mutex>
#include <string>

namespace braq {

/// Devices that the process makes itself. Any thread but an I/O thread.
class SoftwareDriver final : public Driver {
  public:
    /// The one that was made; null before that, or where the system has no such driver.
    static SoftwareDriver* instance();

    SoftwareDriver();
    void start(DriverHost& host) override;

    /// Makes and publishes a device. @return null, with the reason in the log, when it cannot be
    std::shared_ptr<SoftwareDevice> makeDevice(const BRAQSoftwareDeviceOptions& options);

    void setDefaultPlayback(const std::string& uid);
    void setDefaultRecord(const std::string& uid);
    /// The device is no default any more, if it was one.
    void dropDefault(const std::string& uid);

  private:
    void publishDefaults();

    DriverHost* mHost = nullptr; // not changed once started
    std::mutex mMutex;
    std::string mOutputUID; // under the mutex
    std::string mInputUID;  // under the mutex
};

std::unique_ptr<Driver> makeSoftwareDriver();

} // namespace braq
