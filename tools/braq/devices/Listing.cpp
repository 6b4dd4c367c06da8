#include "tools/braq/devices/Listing.h"

#include "tools/braq/shared/JSON.h"
#include "tools/braq/shared/Table.h"
#include "tools/braq/shared/Text.h"

#include <algorithm>
#include <sstream>
#include <utility>

namespace {

/// "play", "record", both, or nothing.
std::string directions(bool plays, bool records) {
    if (plays && records) {
        return "play+record";
    }
    return plays ? "play" : records ? "record" : "";
}

/// Of the frames that a program has or gets in a cycle, the last ones wait for the device and the first ones for the
/// others.
std::string milliseconds(const DirectionFacts& direction, const DeviceFacts& device) {
    const UInt32 frames = device.bufferFrames + direction.latencyFrames + direction.safetyOffsetFrames;
    return NSStringWithFormat("%.1f", device.rate > 0.0 ? frames * 1000.0 / device.rate : 0.0);
}

std::string latency(const DeviceFacts& device) {
    std::string text;
    if (device.playback.channels > 0) {
        text += "out " + milliseconds(device.playback, device) + " ms";
    }
    if (device.recording.channels > 0) {
        text += (text.empty() ? "in " : ", in ") + milliseconds(device.recording, device) + " ms";
    }
    return text;
}

std::string linesOf(const DeviceFacts& device) {
    const std::string defaults = directions(device.playback.isDefault, device.recording.isDefault);
    std::string channels;
    if (device.playback.channels > 0) {
        channels += std::to_string(device.playback.channels) + " out, ";
    }
    if (device.recording.channels > 0) {
        channels += std::to_string(device.recording.channels) + " in, ";
    }
    const std::string delay = latency(device);
    return printable(device.name) + (defaults.empty() ? "" : "  (default: " + defaults + ")") + "\n  " +
           printable(device.uid) + "\n  " + channels + rateText(device.rate) + " Hz, " +
           connectionName(device.transportType) + "\n  " + std::to_string(device.bufferFrames) + " frames a cycle" +
           (delay.empty() ? "" : ", latency " + delay) + "\n";
}

std::size_t widthOf(const std::string& text) {
    std::istringstream lines(text);
    std::size_t width = 0;
    for (std::string line; std::getline(lines, line);) {
        width = std::max(width, columnsOf(line));
    }
    return width;
}

std::string directionAsJSON(const DirectionFacts& direction) {
    if (direction.channels == 0) {
        return "null";
    }
    return NSStringWithFormat(R"({"channels": %u, "latencyFrames": %u, "safetyOffsetFrames": %u, "isDefault": %s})",
                              direction.channels, direction.latencyFrames, direction.safetyOffsetFrames,
                              direction.isDefault ? "true" : "false");
}

} // namespace

std::string devicesAsTable(const std::vector<DeviceFacts>& devices, std::size_t columns) {
    if (devices.empty()) {
        return "There are no audio devices.\n";
    }
    using enum Table::Align;
    Table table({{"DEFAULT"},
                 {"KIND"},
                 {"OUT", right},
                 {"IN", right},
                 {"RATE", right},
                 {"BUFFER", right},
                 {"LATENCY"},
                 {"CONNECTION"},
                 {"NAME"},
                 {"UID"}});
    for (const auto& device : devices) {
        table.addRow({directions(device.playback.isDefault, device.recording.isDefault),
                      directions(device.playback.channels > 0, device.recording.channels > 0),
                      std::to_string(device.playback.channels), std::to_string(device.recording.channels),
                      rateText(device.rate) + " Hz", std::to_string(device.bufferFrames), latency(device),
                      connectionName(device.transportType), printable(device.name), printable(device.uid)});
    }
    std::string text = table.text();
    if (widthOf(text) > columns) {
        text.clear();
        for (const auto& device : devices) {
            text += linesOf(device);
        }
    }
    return text;
}

std::string devicesAsJSON(const std::vector<DeviceFacts>& devices) {
    std::string text = "{\n  \"devices\": [";
    const char* separator = "\n";
    for (const auto& device : devices) {
        text += std::exchange(separator, ",\n");
        text += "    {\n      \"uid\": " + asJSON(device.uid) + ",\n      \"name\": " + asJSON(device.name) +
                ",\n      \"connection\": " + asJSON(connectionName(device.transportType)) +
                ",\n      \"rate\": " + rateText(device.rate) +
                ",\n      \"bufferFrames\": " + std::to_string(device.bufferFrames) +
                ",\n      \"playback\": " + directionAsJSON(device.playback) +
                ",\n      \"recording\": " + directionAsJSON(device.recording) + "\n    }";
    }
    return text + (devices.empty() ? "]\n}\n" : "\n  ]\n}\n");
}
