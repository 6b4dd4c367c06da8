#pragma once

#include "BRAQAudio/platform/units.h"

/// The property listener of every `BRAQAudioUnit`. Looks up the object and does nothing if it was destroyed.
/// @param unitObject the address of the object
void AUPropertyListenerProc(void* unitObject, AudioUnit unit, AudioUnitPropertyID propertyID, AudioUnitScope scope,
                            AudioUnitElement element);
