#pragma once

#include "BRAQAudio/platform/hardware.h"

/// Has the delegates of a BRAQAudioHardware called on the main thread, once for each address that is of their concern.
/// @param object is not looked at
/// @param clientData the BRAQAudioHardware; nothing happens if it is gone
/// @return 0
/// The notification thread.
OSStatus AudioHardwarePropertyListener(AudioObjectID object, UInt32 addressCount,
                                       const AudioObjectPropertyAddress* addresses, void* clientData);
