#pragma once

#include "tools/braq/shared/DeviceFacts.h"

#include <string>
#include <vector>

/// Finds the recording device that a user means: by its UID, its name, or a part of the name, ignoring case, that no
/// other recording device has; empty: the default device, unless that is the loopback of a machine without a sound
/// server. Throws std::runtime_error that lists the alternatives.
DeviceFacts chooseRecordDevice(const std::vector<DeviceFacts>& devices, const std::string& meant);

/// The same among devices that play.
DeviceFacts choosePlaybackDevice(const std::vector<DeviceFacts>& devices, const std::string& meant);

/// The channels that a user means, from 1; empty: all record channels of the device. Throws std::runtime_error for a
/// channel that the device does not have.
std::vector<unsigned> chooseRecordChannels(const DeviceFacts& device, const std::vector<unsigned>& meant);
