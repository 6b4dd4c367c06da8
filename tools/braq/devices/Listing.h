#pragma once

#include "tools/braq/shared/DeviceFacts.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// A table for people. Where it would be wider than that, each device has a few lines instead, of which only a name or
/// a UID may be wider.
std::string devicesAsTable(const std::vector<DeviceFacts>& devices, std::size_t columns = SIZE_MAX);

/// The same for programs, as one JSON object: "devices" is an array in the same order. "playback" and "recording" are
/// null if a device does not have that direction.
std::string devicesAsJSON(const std::vector<DeviceFacts>& devices);
