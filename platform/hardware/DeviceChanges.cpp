#include "platform/hardware/Device.h"
#include "platform/hardware/drivers/PropertyAddress.h"

#include <algorithm>

namespace braq {
namespace {

void appendChanges(const DeviceDirection& before, const DeviceDirection& after, UInt32 scope,
                   std::vector<AudioObjectPropertyAddress>& changes) {
    const auto append = [&](UInt32 selector) { changes.push_back({selector, scope, kAudioObjectPropertyElementMain}); };
    const auto layout = [](const DeviceStream& stream) { return stream.channels; };
    if (!std::ranges::equal(before.streams, after.streams, {}, layout, layout)) {
        append(kAudioDevicePropertyStreamConfiguration);
    }
    if (before.streams.size() != after.streams.size()) {
        append(kAudioDevicePropertyStreams);
    }
    if (before.positions != after.positions || before.channels() != after.channels()) {
        append(kAudioDevicePropertyPreferredChannelsForStereo);
    }
    if (before.latencyFrames != after.latencyFrames) {
        append(kAudioDevicePropertyLatency);
    }
    if (before.safetyOffsetFrames != after.safetyOffsetFrames) {
        append(kAudioDevicePropertySafetyOffset);
    }
    if (before.mixerLevel != after.mixerLevel) {
        append(kBRAQAudioDevicePropertyMixerLevel);
    }
}

} // namespace

std::vector<AudioObjectPropertyAddress> changedDeviceProperties(const DeviceDescription& before,
                                                                const DeviceDescription& after) {
    std::vector<AudioObjectPropertyAddress> changes;
    const auto appendIf = [&changes](bool differs, UInt32 selector) {
        if (differs) {
            changes.push_back(globalAddress(selector));
        }
    };
    appendIf(before.name != after.name, kAudioObjectPropertyName);
    appendIf(before.manufacturer != after.manufacturer, kAudioObjectPropertyManufacturer);
    appendIf(before.transportType != after.transportType, kAudioDevicePropertyTransportType);
    appendIf(before.nominalRate != after.nominalRate, kAudioDevicePropertyNominalSampleRate);
    appendIf(before.rates != after.rates, kAudioDevicePropertyAvailableNominalSampleRates);
    appendIf(before.bufferFrames != after.bufferFrames, kAudioDevicePropertyBufferFrameSize);
    appendIf(before.minimumBufferFrames != after.minimumBufferFrames ||
                 before.maximumBufferFrames != after.maximumBufferFrames,
             kAudioDevicePropertyBufferFrameSizeRange);
    appendIf(before.isRunningSomewhere != after.isRunningSomewhere, kAudioDevicePropertyDeviceIsRunningSomewhere);
    appendIf(before.leadsTo != after.leadsTo, kRouteEnd);
    appendChanges(before.playback, after.playback, kAudioDevicePropertyScopeOutput, changes);
    appendChanges(before.record, after.record, kAudioDevicePropertyScopeInput, changes);
    return changes;
}

std::vector<AudioObjectPropertyAddress> changedStreamProperties(const DeviceStream& before, const DeviceStream& after) {
    std::vector<AudioObjectPropertyAddress> changes;
    if (before.startingChannel != after.startingChannel) {
        changes.push_back(globalAddress(kAudioStreamPropertyStartingChannel));
    }
    if (before.latencyFrames != after.latencyFrames) {
        changes.push_back(globalAddress(kAudioStreamPropertyLatency));
    }
    return changes;
}

} // namespace braq
