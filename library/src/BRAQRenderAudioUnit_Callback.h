#pragma once

#include "BRAQAudio/platform/units.h"

/// The render callback of every `BRAQRenderAudioUnit`: has the closure make the slice. Throws what the closure throws.
/// @param unitObject the address of the object; the slice is silence if it is being destroyed
/// @param list silent
/// @return 0
/// @realtime
OSStatus RAURenderProc(void* unitObject, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time, UInt32 bus,
                       UInt32 frames, AudioBufferList* list);
