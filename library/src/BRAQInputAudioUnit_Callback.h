#pragma once

#include "BRAQAudio/platform/units.h"

/// The input callback of every `BRAQInputAudioUnit`: fetches the slice and passes it to the processing block.
/// @param unitObject the address of the object; nothing happens if it is being destroyed
/// @param list ignored: the platform passes none for captured frames
/// @return the result of fetching the slice
/// @realtime
OSStatus IAUInputProc(void* unitObject, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time, UInt32 bus,
                      UInt32 frames, AudioBufferList* list);
