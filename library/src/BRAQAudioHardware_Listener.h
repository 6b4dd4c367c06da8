#pragma once

#include "BRAQAudio/platform/hardware.h"

/// Calls the delegates of a BRAQAudioHardware on the main thread, once for each relevant address.
/// @param object ignored
/// @param clientData the BRAQAudioHardware; nothing happens if it was destroyed
/// @return 0
/// The notification thread.
OSStatus AudioHardwarePropertyListener(AudioObjectID object, UInt32 addressCount,
                                       const AudioObjectPropertyAddress* addresses, void* clientData);
