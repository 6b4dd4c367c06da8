#include "tools/braq/shared/ChooseDevice.h"

#include "tools/braq/shared/Text.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <numeric>
#include <stdexcept>

namespace {

std::string lowerCase(std::string text) {
    std::ranges::transform(text, text.begin(),
                           [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

std::string namesOf(const std::vector<DeviceFacts>& devices) {
    std::string names;
    for (const auto& device : devices) {
        names += "\n  " + printable(device.name) + " (" + printable(device.uid) + ")";
    }
    return names;
}

// It is a device like others for users who name it. For those who do not, it would be silence instead of a sound server.
constexpr const char* loopbackUID = "BRAQAudio.loopback";

/// The purpose of a device.
struct Use {
    DirectionFacts DeviceFacts::*direction;
    const char* words;
};

DeviceFacts choose(const std::vector<DeviceFacts>& devices, const std::string& meant, const Use& use) {
    const std::string wanted = std::string("device to ") + use.words;
    std::vector<DeviceFacts> usable;
    std::ranges::copy_if(devices, std::back_inserter(usable),
                         [&](const DeviceFacts& device) { return (device.*use.direction).channels != 0; });
    if (usable.empty()) {
        throw std::runtime_error("there is no " + wanted);
    }
    if (meant.empty()) {
        const auto found =
            std::ranges::find_if(usable, [&](const auto& one) { return (one.*use.direction).isDefault; });
        if (found == usable.end()) {
            throw std::runtime_error("there is no default " + wanted + "; name one of:" + namesOf(usable));
        }
        if (found->uid == loopbackUID) {
            throw std::runtime_error("there is no sound server; to " +
                                     (use.words + (" the loopback device " + found->uid)) + " all the same, name it");
        }
        return *found;
    }
    if (const auto found = std::ranges::find(usable, meant, &DeviceFacts::uid); found != usable.end()) {
        return *found;
    }
    std::vector<DeviceFacts> named;
    const auto hasName = [&](const DeviceFacts& device) {
        return lowerCase(device.name).find(lowerCase(meant)) != std::string::npos;
    };
    std::ranges::copy_if(usable, std::back_inserter(named), hasName);
    const auto whole = std::ranges::find(named, meant, &DeviceFacts::name);
    if (named.size() == 1 || whole != named.end()) {
        return whole != named.end() ? *whole : named.front();
    }
    throw std::runtime_error(named.empty() ? "no " + wanted + " is called '" + printable(meant) +
                                                 "'; there are:" + namesOf(usable)
                                           : "several devices are called '" + printable(meant) + "':" + namesOf(named));
}

} // namespace

DeviceFacts chooseRecordDevice(const std::vector<DeviceFacts>& devices, const std::string& meant) {
    return choose(devices, meant, {&DeviceFacts::recording, "record from"});
}

DeviceFacts choosePlaybackDevice(const std::vector<DeviceFacts>& devices, const std::string& meant) {
    return choose(devices, meant, {&DeviceFacts::playback, "play on"});
}

std::vector<unsigned> chooseRecordChannels(const DeviceFacts& device, const std::vector<unsigned>& meant) {
    std::vector<unsigned> channels(device.recording.channels);
    std::iota(channels.begin(), channels.end(), 1U);
    for (const unsigned channel : meant) {
        if (channel < 1 || channel > channels.size()) {
            throw std::runtime_error(printable(device.name) + " has no channel " + std::to_string(channel) +
                                     " to record from; it has " + std::to_string(channels.size()));
        }
    }
    return meant.empty() ? channels : meant;
}
