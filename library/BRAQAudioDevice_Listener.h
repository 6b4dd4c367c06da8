#pragma once

#include "BRAQAudio/platform/hardware.h"

/// Calls the delegates of a device on the main thread, once for each address of the nominal sample rate.
/// @param clientData the BRAQAudioDevice; nothing happens if it was destroyed or has another id
/// @return 0
/// The notification thread.
OSStatus BRAQAudioDevicePropertyListenerProc(AudioObjectID object, UInt32 addressCount,
                                             const AudioObjectPropertyAddress* addresses, void* clientData);
