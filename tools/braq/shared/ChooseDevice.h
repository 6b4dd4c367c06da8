#pragma once

#include "tools/braq/shared/DeviceFacts.h"

#include <string>
#include <vector>

/// The device that a user means: by its UID, or by its name or a part of that, whatever its case, that no other device of
/// those that record has; empty: the default one. Throws std::runtime_error that says what there is instead.
DeviceFacts chooseRecordDevice(const std::vector<DeviceFacts>& devices, const std::string& meant);

/// The same among those that play.
DeviceFacts choosePlaybackDevice(const std::vector<DeviceFacts>& devices, const std::string& meant);

/// The channels that a user means, from 1; none: all that the device records. Throws std::runtime_error for one that it has
/// not got.
std::vector<unsigned> chooseRecordChannels(const DeviceFacts& device, const std::vector<unsigned>& meant);
