#include "platform/hardware/DeviceIO.h"

#include "platform/hardware/Hardware.h"

namespace braq {
namespace {

// A removed device has no running procedures, which is the purpose of stopping and removing.
OSStatus onDevice(AudioDeviceID id, OSStatus statusWhenGone, const std::function<OSStatus(DeviceProcedures&)>& work) {
    if (DeviceProcedures::isOnIOThread()) {
        return kAudioHardwareIllegalOperationError;
    }
    const Hardware& hardware = Hardware::instance();
    if (const auto device = hardware.findDevice(id)) {
        return work(device->procedures);
    }
    return hardware.wasThere(id) ? statusWhenGone : kAudioHardwareBadObjectError;
}

} // namespace

OSStatus addIOProcedure(AudioDeviceID device, IODirections directions, IOProcedure procedure, void* context,
                        IOProcedureID* id) {
    return onDevice(device, kAudioHardwareBadObjectError,
                    [&](DeviceProcedures& procedures) { return procedures.add(directions, procedure, context, id); });
}

void preferRate(AudioDeviceID device, Float64 rate) {
    onDevice(device, kAudioHardwareNoError, [&](DeviceProcedures& procedures) {
        procedures.preferRate(rate);
        return kAudioHardwareNoError;
    });
}

OSStatus startIOProcedure(AudioDeviceID device, IOProcedureID id) {
    return onDevice(device, kAudioHardwareBadObjectError,
                    [&](DeviceProcedures& procedures) { return procedures.start(id); });
}

OSStatus stopIOProcedure(AudioDeviceID device, IOProcedureID id) {
    return onDevice(device, kAudioHardwareNoError, [&](DeviceProcedures& procedures) { return procedures.stop(id); });
}

OSStatus suspendIOProcedure(AudioDeviceID device, IOProcedureID id) {
    return onDevice(device, kAudioHardwareNoError,
                    [&](DeviceProcedures& procedures) { return procedures.suspend(id); });
}

bool isIOProcedureStarted(AudioDeviceID device, IOProcedureID id) {
    bool isStarted = false;
    onDevice(device, kAudioHardwareNoError, [&](DeviceProcedures& procedures) {
        isStarted = procedures.isStarted(id);
        return kAudioHardwareNoError;
    });
    return isStarted;
}

OSStatus removeIOProcedure(AudioDeviceID device, IOProcedureID id) {
    return onDevice(device, kAudioHardwareNoError, [&](DeviceProcedures& procedures) { return procedures.remove(id); });
}

} // namespace braq

bool BRAQThreadIsInDeviceCycle() noexcept { return braq::DeviceProcedures::isOnIOThread(); }
