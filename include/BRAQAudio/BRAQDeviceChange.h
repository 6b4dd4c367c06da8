#pragma once

#include "BRAQAudio/BRAQAudioDevice.h"

#include <functional>
#include <memory>

/// @addtogroup units
/// @{

/// What has happened to the device that a unit plays on or records from.
enum class BRAQDeviceChange {
    /// The unit goes on with another device: it was given none and goes where the default device goes, or where the user
    /// has moved it.
    moved,
    /// The device is gone. A unit that was given this device has stopped. One that was given none waits for another
    /// device, and keeps its position.
    gone,
    /// A unit whose device was gone goes on, with this device.
    back,
};

/// Called on the main thread. Exceptions are logged.
/// @param device the device that the unit is on now; null if it is gone
using BRAQDeviceChangeBlock =
    std::function<void(BRAQDeviceChange change, const std::shared_ptr<BRAQAudioDevice>& device)>;

/// @}
