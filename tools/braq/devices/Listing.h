#pragma once

#include "tools/braq/shared/DeviceFacts.h"

#include <string>
#include <vector>

/// A table for people.
std::string devicesAsTable(const std::vector<DeviceFacts>& devices);

/// The same for programs, as one JSON object: "devices" is an array in the same order. "playback" and "recording" are
/// null if a device does not have that direction.
std::string devicesAsJSON(const std::vector<DeviceFacts>& devices);
