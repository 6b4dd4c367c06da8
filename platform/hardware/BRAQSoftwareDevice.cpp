#include "BRAQAudio/platform/BRAQSoftwareDevice.h"

#include "BRAQAudio/platform/foundation/NSLog.h"
#include "platform/hardware/Hardware.h"
#include "platform/hardware/drivers/software/SoftwareDriver.h"

std::shared_ptr<BRAQSoftwareDevice> BRAQSoftwareDevice::deviceWithOptions(const BRAQSoftwareDeviceOptions& options) {
    braq::Hardware::instance(); // starts the driver
    auto* const driver = braq::SoftwareDriver::instance();
    if (driver == nullptr) {
        NSLog("(ERROR) BRAQSoftwareDevice : this system has no software devices");
        return nullptr;
    }
    auto device = driver->makeDevice(options);
    return device == nullptr ? nullptr : std::shared_ptr<BRAQSoftwareDevice>(new BRAQSoftwareDevice(std::move(device)));
}

BRAQSoftwareDevice::BRAQSoftwareDevice(std::shared_ptr<braq::SoftwareDevice> device) : mDevice(std::move(device)) {}

BRAQSoftwareDevice::~BRAQSoftwareDevice() { remove(); }

AudioDeviceID BRAQSoftwareDevice::deviceID() const noexcept { return mDevice->id(); }

void BRAQSoftwareDevice::remove() { mDevice->vanish(); }

void BRAQSoftwareDevice::makeDefaultPlaybackDevice() { mDevice->driver().setDefaultPlayback(mDevice->uid()); }

void BRAQSoftwareDevice::makeDefaultRecordDevice() { mDevice->driver().setDefaultRecord(mDevice->uid()); }

bool BRAQSoftwareDevice::step(UInt32 frames, const Float32* const* input, Float32* const* output) {
    return mDevice->step(frames, input, output);
}

UInt64 BRAQSoftwareDevice::hostTimeOfStep() const { return mDevice->hostTimeOfStep(); }

void BRAQSoftwareDevice::failStarts(UInt32 count, OSStatus status) { mDevice->failStarts(count, status); }

void BRAQSoftwareDevice::vanishAfterCycles(UInt32 cycles) { mDevice->vanishAfterCycles(cycles); }

void BRAQSoftwareDevice::loseFrames(UInt32 frames) { mDevice->loseFrames(frames); }

void BRAQSoftwareDevice::changeSampleRate(Float64 rate) { mDevice->changeRate(rate); }

void BRAQSoftwareDevice::failProperty(AudioObjectID object, const AudioObjectPropertyAddress& address,
                                      OSStatus status) {
    mDevice->failProperty(object, address, status);
}

void BRAQSoftwareDevice::notifyProperties(const std::vector<AudioObjectPropertyAddress>& addresses) {
    mDevice->notifyProperties(addresses);
}
