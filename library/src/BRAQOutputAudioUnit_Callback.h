#pragma once

#include "BRAQAudio/platform/units.h"

/// The render callback of every `BRAQOutputAudioUnit`: takes frames from the ring and signals its end.
/// @param unitObject the address of the object; nothing happens if it is being destroyed
/// @param list left as it is after the end of the stream was signalled
/// @return 0
/// @realtime
OSStatus OAUOutputProc(void* unitObject, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time, UInt32 bus,
                       UInt32 frames, AudioBufferList* list);
