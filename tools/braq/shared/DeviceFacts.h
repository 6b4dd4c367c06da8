#pragma once

#include <BRAQAudio/BRAQAudio.h>

#include <string>
#include <vector>

/// What the tool shows about one direction of a device.
struct DirectionFacts {
    UInt32 channels = 0; ///< 0: the device does not have this direction
    UInt32 latencyFrames = 0;
    UInt32 safetyOffsetFrames = 0;
    bool isDefault = false;
};

/// What the tool shows about a device, at one point in time.
struct DeviceFacts {
    AudioDeviceID id = 0;
    std::string uid;
    std::string name;
    UInt32 transportType = 0;
    Float64 rate = 0.0; ///< Hz
    UInt32 bufferFrames = 0;
    DirectionFacts playback{};
    DirectionFacts recording{};
};

/// All devices that are present, in the platform's order.
std::vector<DeviceFacts> lookAtDevices();

/// The kind of connection, in one word.
std::string connectionName(UInt32 transportType);

/// A rate as users write it: "44100", "22050.5".
std::string rateText(Float64 rate);
