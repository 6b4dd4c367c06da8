#include "BRAQAudio/BRAQAudioDevice.h"

#include "BRAQAudio/platform/foundation.h"

#include <cstddef>
#include <memory>
#include <span>

namespace {

constexpr SInt64 playback = 0;
constexpr SInt64 record = 1;

constexpr UInt32 scopeOf(SInt64 direction) {
    return direction == record ? kAudioDevicePropertyScopeInput : kAudioDevicePropertyScopeOutput;
}

constexpr AudioObjectPropertyAddress addressOf(UInt32 selector, UInt32 scope) {
    return {selector, scope, kAudioObjectPropertyElementMain};
}

template <class Value>
bool read(AudioObjectID object, const AudioObjectPropertyAddress& address, Value& value) {
    UInt32 size = sizeof(value);
    return AudioObjectGetPropertyData(object, &address, 0, nullptr, &size, &value) == 0;
}

template <class Value>
Value readOr(Value fallback, AudioObjectID object, const AudioObjectPropertyAddress& address) {
    Value value{};
    return read(object, address, value) ? value : fallback;
}

template <class Value>
std::optional<std::vector<Value>> readList(AudioObjectID object, const AudioObjectPropertyAddress& address) {
    UInt32 size = 0;
    if (AudioObjectGetPropertyDataSize(object, &address, 0, nullptr, &size) != 0) {
        return std::nullopt;
    }
    std::vector<Value> values(size / sizeof(Value));
    if (AudioObjectGetPropertyData(object, &address, 0, nullptr, &size, values.data()) != 0) {
        return std::nullopt;
    }
    values.resize(size / sizeof(Value));
    return values;
}

UInt32 channelsOf(const AudioBufferList& list) {
    UInt32 channels = 0;
    for (const auto& buffer : std::span(list.mBuffers, list.mNumberBuffers)) {
        channels += buffer.mNumberChannels;
    }
    return channels;
}

} // namespace

std::optional<std::string> BRAQAudioDevice::getStringProperty(UInt32 selector) const {
    CFStringRef string = nullptr;
    if (!read(mDeviceID, addressOf(selector, kAudioObjectPropertyScopeGlobal), string) || string == nullptr) {
        return std::nullopt;
    }
    const std::unique_ptr<const CFString, decltype(&CFRelease)> owned(string, &CFRelease);
    return CFStringCopyUTF8(string);
}

bool BRAQAudioDevice::getUInt32PropertyValue(UInt32* value, UInt32 selector) const {
    return read(mDeviceID, addressOf(selector, kAudioObjectPropertyScopeGlobal), *value);
}

std::optional<std::string> BRAQAudioDevice::deviceUID() const {
    return getStringProperty(kAudioDevicePropertyDeviceUID);
}

std::optional<std::string> BRAQAudioDevice::deviceName() const { return getStringProperty(kAudioObjectPropertyName); }

UInt32 BRAQAudioDevice::transportType() const {
    UInt32 type = kAudioDeviceTransportTypeUnknown;
    return getUInt32PropertyValue(&type, kAudioDevicePropertyTransportType) ? type : 0;
}

Float64 BRAQAudioDevice::sampleRateForDirection(SInt64 direction) const {
    return readOr(0.0, mDeviceID, addressOf(kAudioDevicePropertyNominalSampleRate, scopeOf(direction)));
}

Float64 BRAQAudioDevice::nominalSampleRateForDirection(SInt64 direction) const {
    return sampleRateForDirection(direction);
}

Float64 BRAQAudioDevice::recordingNominalSampleRate() const { return nominalSampleRateForDirection(record); }

Float64 BRAQAudioDevice::playbackNominalSampleRate() const { return nominalSampleRateForDirection(playback); }

void BRAQAudioDevice::setNominalSampleRate(Float64 rate, SInt64 direction) const {
    const auto address = addressOf(kAudioDevicePropertyNominalSampleRate, scopeOf(direction));
    // Whether the request is refused or takes effect later, callers go by the current rate.
    static_cast<void>(AudioObjectSetPropertyData(mDeviceID, &address, 0, nullptr, sizeof(rate), &rate));
}

void BRAQAudioDevice::setRecordingNominalSampleRate(Float64 rate) const { setNominalSampleRate(rate, record); }

void BRAQAudioDevice::setPlaybackNominalSampleRate(Float64 rate) const { setNominalSampleRate(rate, playback); }

std::vector<AudioValueRange> BRAQAudioDevice::availableSampleRatesForDirection(SInt64 direction) const {
    const auto address = addressOf(kAudioDevicePropertyAvailableNominalSampleRates, scopeOf(direction));
    return readList<AudioValueRange>(mDeviceID, address).value_or(std::vector<AudioValueRange>());
}

std::vector<AudioValueRange> BRAQAudioDevice::availableRecordingSampleRates() const {
    return availableSampleRatesForDirection(record);
}

std::vector<AudioValueRange> BRAQAudioDevice::availablePlaybackSampleRates() const {
    return availableSampleRatesForDirection(playback);
}

Float32 BRAQAudioDevice::mixerLevelForDirection(SInt64 direction) const {
    return readOr(1.0F, mDeviceID, addressOf(kBRAQAudioDevicePropertyMixerLevel, scopeOf(direction)));
}

Float32 BRAQAudioDevice::recordingMixerLevel() const { return mixerLevelForDirection(record); }

Float32 BRAQAudioDevice::playbackMixerLevel() const { return mixerLevelForDirection(playback); }

UInt32 BRAQAudioDevice::latencyForDirection(SInt64 direction) const {
    return readOr(UInt32{0}, mDeviceID, addressOf(kAudioDevicePropertyLatency, scopeOf(direction)));
}

UInt32 BRAQAudioDevice::recordingLatency() const { return latencyForDirection(record); }

UInt32 BRAQAudioDevice::playbackLatency() const { return latencyForDirection(playback); }

UInt32 BRAQAudioDevice::safetyOffsetForDirection(SInt64 direction) const {
    return readOr(UInt32{0}, mDeviceID, addressOf(kAudioDevicePropertySafetyOffset, scopeOf(direction)));
}

UInt32 BRAQAudioDevice::recordingSafetyOffset() const { return safetyOffsetForDirection(record); }

UInt32 BRAQAudioDevice::playbackSafetyOffset() const { return safetyOffsetForDirection(playback); }

UInt32 BRAQAudioDevice::bufferSizeForDirection(SInt64 direction) const {
    return readOr(UInt32{0}, mDeviceID, addressOf(kAudioDevicePropertyBufferFrameSize, scopeOf(direction)));
}

UInt32 BRAQAudioDevice::recordingBufferSize() const { return bufferSizeForDirection(record); }

UInt32 BRAQAudioDevice::playbackBufferSize() const { return bufferSizeForDirection(playback); }

AudioValueRange BRAQAudioDevice::bufferSizeRangeForDirection(SInt64 direction) const {
    return readOr(AudioValueRange{0.0, 0.0}, mDeviceID,
                  addressOf(kAudioDevicePropertyBufferFrameSizeRange, scopeOf(direction)));
}

AudioValueRange BRAQAudioDevice::recordingBufferSizeRange() const { return bufferSizeRangeForDirection(record); }

AudioValueRange BRAQAudioDevice::playbackBufferSizeRange() const { return bufferSizeRangeForDirection(playback); }

bool BRAQAudioDevice::setBufferSize(UInt32 frames, SInt64 direction) const {
    const auto address = addressOf(kAudioDevicePropertyBufferFrameSize, scopeOf(direction));
    return AudioObjectSetPropertyData(mDeviceID, &address, 0, nullptr, sizeof(frames), &frames) == 0;
}

bool BRAQAudioDevice::setRecordingBufferSize(UInt32 frames) const { return setBufferSize(frames, record); }

bool BRAQAudioDevice::setPlaybackBufferSize(UInt32 frames) const { return setBufferSize(frames, playback); }

UInt32 BRAQAudioDevice::numberOfChannelsForDirection(SInt64 direction) const {
    const auto address = addressOf(kAudioDevicePropertyStreamConfiguration, scopeOf(direction));
    UInt32 size = 0;
    OSStatus status = AudioObjectGetPropertyDataSize(mDeviceID, &address, 0, nullptr, &size);
    if (status != 0) {
        NSLog(NSStringWithFormat("ERROR: Call to AudioObjectGetPropertyDataSize failed. Error=%d.", status));
        return 0;
    }
    std::vector<std::byte> bytes(size);
    status = AudioObjectGetPropertyData(mDeviceID, &address, 0, nullptr, &size, bytes.data());
    if (status != 0) {
        NSLog(NSStringWithFormat("ERROR: Call to AudioObjectGetPropertyData failed. Error=%d.", status));
        return 0;
    }
    return channelsOf(*reinterpret_cast<const AudioBufferList*>(bytes.data()));
}

UInt32 BRAQAudioDevice::numberOfRecordChannels() const { return numberOfChannelsForDirection(record); }

UInt32 BRAQAudioDevice::numberOfPlaybackChannels() const { return numberOfChannelsForDirection(playback); }

std::optional<std::vector<UInt32>> BRAQAudioDevice::preferredStereoChannelsForDirection(SInt64 direction) const {
    return readList<UInt32>(mDeviceID, addressOf(kAudioDevicePropertyPreferredChannelsForStereo, scopeOf(direction)));
}

std::optional<std::vector<UInt32>> BRAQAudioDevice::preferredStereoPlaybackChannels() const {
    return preferredStereoChannelsForDirection(playback);
}

bool BRAQAudioDevice::canPlayback() const { return numberOfPlaybackChannels() != 0; }

bool BRAQAudioDevice::canRecord() const { return numberOfRecordChannels() != 0; }

bool BRAQAudioDevice::canRecordStereo() const { return numberOfRecordChannels() > 1; }

UInt32 BRAQAudioDevice::streamIDForChannel(UInt32 channel, SInt64 direction) const {
    const auto streams = readList<UInt32>(mDeviceID, addressOf(kAudioDevicePropertyStreams, scopeOf(direction)));
    if (!streams.has_value() || streams->empty()) {
        return 0;
    }
    constexpr auto startingChannel = addressOf(kAudioStreamPropertyStartingChannel, kAudioObjectPropertyScopeGlobal);
    std::size_t index = 0;
    for (std::size_t i = 0; i < streams->size(); ++i) {
        UInt32 start = 0;
        if (!read((*streams)[i], startingChannel, start)) {
            return 0;
        }
        if (channel < start) {
            index = i == 0 ? 0 : i - 1;
        }
    }
    return (*streams)[index];
}

UInt32 BRAQAudioDevice::streamLatencyForChannel(UInt32 channel, SInt64 direction) const {
    const AudioObjectID stream = streamIDForChannel(channel, direction);
    constexpr auto latency = addressOf(kAudioStreamPropertyLatency, kAudioObjectPropertyScopeGlobal);
    if (!AudioObjectHasProperty(stream, &latency)) {
        NSLog("Does not have latency property!");
        return 0;
    }
    UInt32 frames = 0;
    if (!read(stream, latency, frames)) {
        NSLog("Could not query latency property!");
        return 0;
    }
    return frames;
}

UInt32 BRAQAudioDevice::recordingStreamLatencyForChannel(UInt32 channel) const {
    return streamLatencyForChannel(channel, record);
}

UInt32 BRAQAudioDevice::playbackStreamLatencyForChannel(UInt32 channel) const {
    return streamLatencyForChannel(channel, playback);
}

std::shared_ptr<BRAQAudioStreamBasicDescription>
BRAQAudioDevice::deviceNativeStreamDescriptionForDirection(SInt64 direction) const {
    auto description = BRAQAudioStreamBasicDescription::nativeStreamDescription();
    description->setChannelsPerFrame(numberOfChannelsForDirection(direction));
    description->setSampleRate(sampleRateForDirection(direction));
    description->setNativeFormat();
    description->setIsInterleaved(false);
    return description;
}

std::shared_ptr<BRAQAudioStreamBasicDescription> BRAQAudioDevice::deviceNativeRecordStreamDescription() const {
    return deviceNativeStreamDescriptionForDirection(record);
}

std::shared_ptr<BRAQAudioStreamBasicDescription> BRAQAudioDevice::deviceNativePlaybackStreamDescription() const {
    return deviceNativeStreamDescriptionForDirection(playback);
}
