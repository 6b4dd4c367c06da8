#pragma once

#include <BRAQAudio/BRAQAudio.h>

#include <string>
#include <vector>

/// What the tool says of one direction of a device.
struct DirectionFacts {
    UInt32 channels = 0; ///< none: the device has not got this direction
    UInt32 latencyFrames = 0;
    UInt32 safetyOffsetFrames = 0;
    bool isDefault = false;
};

/// What the tool says of a device, as it was at one time.
struct DeviceFacts {
    AudioDeviceID id = 0;
    std::string uid;
    std::string name;
    UInt32 transportType = 0;
    Float64 rate = 0.0; ///< frames a second
    UInt32 bufferFrames = 0;
    DirectionFacts playback{};
    DirectionFacts recording{};
};

/// All devices that are there now, in the platform's order.
std::vector<DeviceFacts> lookAtDevices();

/// How a device is connected, in one word.
std::string connectionName(UInt32 transportType);

/// A rate as a user writes it: "44100", "22050.5".
std::string rateText(Float64 rate);
