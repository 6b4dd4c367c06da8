#include "platform/hardware/drivers/software/SoftwareDriver.h"

#include <atomic>

namespace {

std::atomic<braq::SoftwareDriver*> made{nullptr};

} // namespace

std::unique_ptr<braq::Driver> braq::makeSoftwareDriver() { return std::make_unique<SoftwareDriver>(); }

braq::SoftwareDriver* braq::SoftwareDriver::instance() { return made.load(); }

braq::SoftwareDriver::SoftwareDriver() { made.store(this); }

void braq::SoftwareDriver::start(DriverHost& host) { mHost = &host; }

std::shared_ptr<braq::SoftwareDevice> braq::SoftwareDriver::makeDevice(const BRAQSoftwareDeviceOptions& options) {
    return SoftwareDevice::make(options, *mHost, *this);
}

void braq::SoftwareDriver::setDefaultPlayback(const std::string& uid) {
    const std::lock_guard lock(mMutex);
    mOutputUID = uid;
    publishDefaults();
}

void braq::SoftwareDriver::setDefaultRecord(const std::string& uid) {
    const std::lock_guard lock(mMutex);
    mInputUID = uid;
    publishDefaults();
}

void braq::SoftwareDriver::dropDefault(const std::string& uid) {
    const std::lock_guard lock(mMutex);
    if (mOutputUID == uid) {
        mOutputUID.clear();
    }
    if (mInputUID == uid) {
        mInputUID.clear();
    }
    publishDefaults();
}

void braq::SoftwareDriver::publishDefaults() { mHost->defaultsChanged(*this, mOutputUID, mInputUID); }
