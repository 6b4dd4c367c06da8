#pragma once

#include "platform/units/Unit.h"

namespace braq {

/// Takes a stream format, or the rate of one, as a program sets them. Units take in and deliver 32-bit floats of this processor's
/// byte order, planar or interleaved.
/// @param format the one to change; untouched on failure
/// @param property `kAudioUnitProperty_StreamFormat` or `kAudioUnitProperty_SampleRate`
/// @return 0, `kAudioUnitErr_InvalidPropertyValue` for a wrong size, `kAudioUnitErr_FormatNotSupported`
OSStatus takeUnitFormat(AudioStreamBasicDescription& format, AudioUnitPropertyID property, const void* data,
                        UInt32 size);

/// Takes the largest slice that a program sets: 1 to 2^20 frames.
/// @param limit the one to change; untouched on failure
/// @return 0, or `kAudioUnitErr_InvalidPropertyValue`
OSStatus takeSliceLimit(UInt32& limit, const void* data, UInt32 size);

} // namespace braq
