#include "tools/braq/shared/DeviceFacts.h"

#include <charconv>
#include <utility>

std::vector<DeviceFacts> lookAtDevices() {
    const AudioDeviceID defaultPlayback = BRAQAudioHardware::defaultOutputDeviceID();
    const AudioDeviceID defaultRecording = BRAQAudioHardware::defaultInputDeviceID();
    std::vector<DeviceFacts> found;
    for (const auto& device : BRAQAudioHardware::allDevices()) {
        const auto uid = device->deviceUID();
        if (!uid) {
            continue; // removed since the list was read
        }
        DeviceFacts facts{.id = device->deviceID(), .uid = *uid, .name = device->deviceName().value_or("")};
        facts.transportType = device->transportType();
        facts.rate = device->playbackNominalSampleRate();
        facts.bufferFrames = device->playbackBufferSize();
        facts.playback = {device->numberOfPlaybackChannels(), device->playbackLatency(), device->playbackSafetyOffset(),
                          facts.id == defaultPlayback};
        facts.recording = {device->numberOfRecordChannels(), device->recordingLatency(),
                           device->recordingSafetyOffset(), facts.id == defaultRecording};
        found.push_back(std::move(facts));
    }
    return found;
}

std::string connectionName(UInt32 transportType) {
    switch (transportType) {
    case kAudioDeviceTransportTypeBuiltIn: return "built-in";
    case kAudioDeviceTransportTypeVirtual: return "virtual";
    case kAudioDeviceTransportTypePCI: return "PCI";
    case kAudioDeviceTransportTypeUSB: return "USB";
    case kAudioDeviceTransportTypeBluetooth: return "Bluetooth";
    case kAudioDeviceTransportTypeHDMI: return "HDMI";
    case kAudioDeviceTransportTypeDisplayPort: return "DisplayPort";
    case kAudioDeviceTransportTypeAggregate: return "aggregate";
    default: return "unknown";
    }
}

std::string rateText(Float64 rate) {
    char text[32];
    const auto end = std::to_chars(std::begin(text), std::end(text), rate).ptr;
    return {text, end};
}
