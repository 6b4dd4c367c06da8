#include "platform/units/DeviceFacts.h"

#include "platform/hardware/Hardware.h"

std::optional<braq::DeviceFacts> braq::findDeviceFacts(AudioDeviceID device, bool records) {
    const Hardware& hardware = Hardware::instance();
    if (device == kAudioObjectUnknown) {
        device = hardware.defaultDevice(records ? Direction::record : Direction::playback);
    }
    const auto object = hardware.find(device);
    if (!object || object->device == nullptr || object->direction || !object->state->isAlive) {
        return std::nullopt;
    }
    const DeviceDescription& description = object->state->description;
    DeviceFacts facts;
    facts.id = device;
    facts.sampleRate = description.nominalRate;
    facts.bufferFrames = description.bufferFrames;
    facts.playbackChannels = description.playback.channels();
    facts.recordChannels = description.record.channels();
    const AudioObjectPropertyAddress stereo{kAudioDevicePropertyPreferredChannelsForStereo,
                                            kAudioDevicePropertyScopeOutput, kAudioObjectPropertyElementMain};
    UInt32 size = sizeof(facts.stereo);
    AudioObjectGetPropertyData(device, &stereo, 0, nullptr, &size, facts.stereo.data()); // else the first two
    return facts;
}
