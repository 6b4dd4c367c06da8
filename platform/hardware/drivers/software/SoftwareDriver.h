#pragma once

#include "BRAQAudio/platform/BRAQSoftwareDevice.h"
#include "platform/hardware/drivers/Driver.h"
#include "platform/hardware/drivers/software/SoftwareDevice.h"

#include <memory>
#include <mutex>
#include <string>

namespace braq {

/// Devices created by the process itself. Any thread but an I/O thread.
class SoftwareDriver final : public Driver {
  public:
    /// The driver's instance; null before it was created, or if the system has no such driver.
    static SoftwareDriver* instance();

    SoftwareDriver();
    void start(DriverHost& host) override;

    /// Creates and publishes a device. @return null, with the reason in the log, if that fails
    std::shared_ptr<SoftwareDevice> makeDevice(const BRAQSoftwareDeviceOptions& options);

    void setDefaultPlayback(const std::string& uid);
    void setDefaultRecord(const std::string& uid);
    /// Clears the default if it is this device.
    void dropDefault(const std::string& uid);

  private:
    void publishDefaults();

    DriverHost* mHost = nullptr; // constant once started
    std::mutex mMutex;
    std::string mOutputUID; // under mMutex
    std::string mInputUID;  // under mMutex
};

std::unique_ptr<Driver> makeSoftwareDriver();

} // namespace braq
