#include "platform/hardware/drivers/software/SoftwareDriver.h"

#include <atomic>

namespace braq {
namespace {

std::atomic<SoftwareDriver*> made{nullptr};

} // namespace

std::unique_ptr<Driver> makeSoftwareDriver() { return std::make_unique<SoftwareDriver>(); }

SoftwareDriver* SoftwareDriver::instance() { return made.load(); }

SoftwareDriver::SoftwareDriver() { made.store(this); }

void SoftwareDriver::start(DriverHost& host) { mHost = &host; }

std::shared_ptr<SoftwareDevice> SoftwareDriver::makeDevice(const BRAQSoftwareDeviceOptions& options) {
    return SoftwareDevice::make(options, *mHost, *this);
}

void SoftwareDriver::setDefaultPlayback(const std::string& uid) {
    const std::lock_guard lock(mMutex);
    mOutputUID = uid;
    publishDefaults();
}

void SoftwareDriver::setDefaultRecord(const std::string& uid) {
    const std::lock_guard lock(mMutex);
    mInputUID = uid;
    publishDefaults();
}

void SoftwareDriver::dropDefault(const std::string& uid) {
    const std::lock_guard lock(mMutex);
    if (mOutputUID == uid) {
        mOutputUID.clear();
    }
    if (mInputUID == uid) {
        mInputUID.clear();
    }
    publishDefaults();
}

void SoftwareDriver::publishDefaults() { mHost->defaultsChanged(*this, mOutputUID, mInputUID); }

} // namespace braq
