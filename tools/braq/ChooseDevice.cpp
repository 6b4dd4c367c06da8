#include "ChooseDevice.h"

#include "Text.h"

#include <algorithm>
#include <cctype>
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

} // namespace

DeviceFacts chooseRecordDevice(const std::vector<DeviceFacts>& devices, const std::string& meant) {
    std::vector<DeviceFacts> recording;
    std::ranges::copy_if(devices, std::back_inserter(recording),
                         [](const DeviceFacts& device) { return device.recording.channels != 0; });
    if (recording.empty()) {
        throw std::runtime_error("there is no device to record from");
    }
    if (meant.empty()) {
        const auto found = std::ranges::find_if(recording, [](const auto& one) { return one.recording.isDefault; });
        if (found == recording.end()) {
            throw std::runtime_error("there is no default device to record from; name one of:" + namesOf(recording));
        }
        return *found;
    }
    if (const auto found = std::ranges::find(recording, meant, &DeviceFacts::uid); found != recording.end()) {
        return *found;
    }
    std::vector<DeviceFacts> named;
    const auto hasName = [&](const DeviceFacts& device) {
        return lowerCase(device.name).find(lowerCase(meant)) != std::string::npos;
    };
    std::ranges::copy_if(recording, std::back_inserter(named), hasName);
    const auto whole = std::ranges::find(named, meant, &DeviceFacts::name);
    if (named.size() == 1 || whole != named.end()) {
        return whole != named.end() ? *whole : named.front();
    }
    throw std::runtime_error(named.empty() ? "no device to record from is called '" + printable(meant) +
                                                 "'; there are:" + namesOf(recording)
                                           : "several devices are called '" + printable(meant) + "':" + namesOf(named));
}
