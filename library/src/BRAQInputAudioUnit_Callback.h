#pragma once

#include "BRAQAudio/platform/units.h"

/// The input callback of every `BRAQInputAudioUnit`: fetches the slice and hands it to the processing block.
/// @param unitObject the address of the object; nothing is done when that is being destroyed
/// @param list not used: the platform brings none for what was captured
/// @return what fetching the slice answers
/// @realtime
OSStatus IAUInputProc(void* unitObject, AudioUnitRenderActionFlags* flags, const AudioTimeStamp* time, UInt32 bus,
                      UInt32 frames, AudioBufferList* list);
