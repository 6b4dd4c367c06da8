#pragma once

#include "platform/units/Unit.h"

namespace braq {

/// Sets a stream format, or the rate of one, as a program requests it. Units process native 32-bit floats, planar or
/// interleaved.
/// @param format the one to change; not changed on failure
/// @param property `kAudioUnitProperty_StreamFormat` or `kAudioUnitProperty_SampleRate`
/// @return 0, `kAudioUnitErr_InvalidPropertyValue` for a wrong size, `kAudioUnitErr_FormatNotSupported`
OSStatus takeUnitFormat(AudioStreamBasicDescription& format, AudioUnitPropertyID property, const void* data,
                        UInt32 size);

/// Sets the slice limit as a program requests it: 1 to 2^20 frames.
/// @param limit the one to change; not changed on failure
/// @return 0, or `kAudioUnitErr_InvalidPropertyValue`
OSStatus takeSliceLimit(UInt32& limit, const void* data, UInt32 size);

} // namespace braq
