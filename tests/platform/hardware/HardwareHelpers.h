#pragma once

#include "BRAQAudio/platform/BRAQSoftwareDevice.h"
#include "BRAQAudio/platform/foundation/CFString.h"
#include "platform/hardware/Hardware.h"

#include <algorithm>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// What tests of the hardware service read and make again and again.
namespace braq::tests {

constexpr AudioObjectPropertyAddress at(UInt32 selector, UInt32 scope = kAudioObjectPropertyScopeGlobal,
                                        UInt32 element = kAudioObjectPropertyElementMain) {
    return {selector, scope, element};
}

/// Returns when the notification thread has done what it was given before.
inline void waitForNotifications() {
    std::promise<void> done;
    Hardware::instance().notifications().run([&done] { done.set_value(); });
    done.get_future().wait();
}

/// A scalar property; nothing if reading it fails.
template <class T>
std::optional<T> get(AudioObjectID object, const AudioObjectPropertyAddress& address) {
    T value{};
    UInt32 size = sizeof(value);
    const OSStatus status = AudioObjectGetPropertyData(object, &address, 0, nullptr, &size, &value);
    return status == 0 && size == sizeof(value) ? std::optional(value) : std::nullopt;
}

/// An array property; nothing if reading it fails.
template <class T>
std::optional<std::vector<T>> getList(AudioObjectID object, const AudioObjectPropertyAddress& address) {
    UInt32 size = 0;
    if (AudioObjectGetPropertyDataSize(object, &address, 0, nullptr, &size) != 0) {
        return std::nullopt;
    }
    std::vector<T> values(size / sizeof(T));
    if (AudioObjectGetPropertyData(object, &address, 0, nullptr, &size, values.data()) != 0) {
        return std::nullopt;
    }
    values.resize(size / sizeof(T));
    return values;
}

inline std::optional<std::string> getText(AudioObjectID object, UInt32 selector) {
    const auto string = get<CFStringRef>(object, at(selector));
    if (!string) {
        return std::nullopt;
    }
    auto text = CFStringCopyUTF8(*string);
    CFRelease(*string);
    return text;
}

inline OSStatus statusOf(AudioObjectID object, const AudioObjectPropertyAddress& address, UInt32 size) {
    std::vector<std::byte> data(size + 1);
    return AudioObjectGetPropertyData(object, &address, 0, nullptr, &size, data.data());
}

template <class T>
OSStatus set(AudioObjectID object, const AudioObjectPropertyAddress& address, const T& value) {
    return AudioObjectSetPropertyData(object, &address, 0, nullptr, sizeof(value), &value);
}

inline AudioDeviceID deviceForUID(const std::string& uid) {
    CFStringRef string = CFStringCreateWithCString(uid.c_str());
    AudioDeviceID device = 12345;
    AudioValueTranslation translation{&string, sizeof(string), &device, sizeof(device)};
    UInt32 size = sizeof(translation);
    const auto address = at(kAudioHardwarePropertyDeviceForUID);
    const OSStatus status =
        AudioObjectGetPropertyData(kAudioObjectSystemObject, &address, 0, nullptr, &size, &translation);
    CFRelease(string);
    return status == 0 ? device : 54321;
}

/// A stepped device with this many channels in each direction.
inline BRAQSoftwareDeviceOptions steppedOptions(const std::string& uid, UInt32 playbackChannels = 2,
                                                UInt32 recordChannels = 2) {
    BRAQSoftwareDeviceOptions options;
    options.uid = uid;
    options.clock = BRAQSoftwareClock::stepped;
    options.playback.streams.clear();
    options.record.streams.clear();
    if (playbackChannels > 0) {
        options.playback.streams.push_back({playbackChannels});
    }
    if (recordChannels > 0) {
        options.record.streams.push_back({recordChannels});
    }
    return options;
}

inline std::shared_ptr<BRAQSoftwareDevice> steppedDevice(const std::string& uid, UInt32 playbackChannels = 2,
                                                         UInt32 recordChannels = 2) {
    return BRAQSoftwareDevice::deviceWithOptions(steppedOptions(uid, playbackChannels, recordChannels));
}

/// Planar samples of one direction of a cycle.
class Channels {
  public:
    Channels(std::size_t channels, std::size_t frames, Float32 value = 0.0F)
        : mSamples(channels, std::vector<Float32>(frames, value)) {
        for (auto& channel : mSamples) {
            mPointers.push_back(channel.data());
        }
    }
    Float32* const* pointers() const { return mPointers.data(); }
    std::vector<Float32>& operator[](std::size_t channel) { return mSamples[channel]; }
    const std::vector<Float32>& operator[](std::size_t channel) const { return mSamples[channel]; }

  private:
    std::vector<std::vector<Float32>> mSamples;
    std::vector<Float32*> mPointers;
};

} // namespace braq::tests
