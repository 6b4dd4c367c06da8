#pragma once

#include "DeviceFacts.h"

#include <string>

/// The device that a user means: by its UID, or by its name or a part of that, whatever its case, that no other device of
/// those that record has; empty: the default one. Throws std::runtime_error that says what there is instead.
DeviceFacts chooseRecordDevice(const std::vector<DeviceFacts>& devices, const std::string& meant);
