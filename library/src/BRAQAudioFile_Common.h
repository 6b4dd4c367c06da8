#pragma once

// What the two file classes do in the same way.

#include "BRAQAudio/BRAQAudioStreamBasicDescription.h"
#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "BRAQAudio/platform/files.h"

#include <string>

namespace braq {

/// A property of an open file. Raises.
template <class Value>
Value fileProperty(ExtAudioFileRef file, ExtAudioFilePropertyID property, const char* origin, const NSXCallSite& site,
                   unsigned int line = __builtin_LINE()) {
    Value value{};
    UInt32 size = sizeof(value);
    NSXRaiseOnFailure(ExtAudioFileGetProperty(file, property, &size, &value), origin, site, line);
    return value;
}

/// The record of a description; all zero for a null one.
AudioStreamBasicDescription recordOf(const BRAQAudioStreamBasicDescription* description);

/// The format that the library processes, not interleaved.
AudioStreamBasicDescription processingFormat(UInt32 channels, Float64 sampleRate);

/// The first type that files with such a name have; CAF for a name that says nothing.
AudioFileTypeID fileTypeForPath(const std::string& path);

/// Adds the big-endian flag to a description, unless files of that type hold little-endian linear PCM of as many bits.
/// Deliberately asks for linear PCM whatever the coding is, and compares nothing but the bits, so the flag is also added to
/// the description of a coding that has no byte order. Nothing changes where the type holds no linear PCM at all.
void chooseByteOrder(AudioFileTypeID type, BRAQAudioStreamBasicDescription* description);

/// `value` as an integer; what is too large or too small for one becomes the largest or the smallest, no number 0.
SInt64 truncated(Float32 value) noexcept;

} // namespace braq
