#pragma once

// Shared by the two file classes.

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

/// The record of a description; all zero if it is null.
AudioStreamBasicDescription recordOf(const BRAQAudioStreamBasicDescription* description);

/// The library's processing format, not interleaved.
AudioStreamBasicDescription processingFormat(UInt32 channels, Float64 sampleRate);

/// The first file type with this path's extension; CAF if there is none.
AudioFileTypeID fileTypeForPath(const std::string& path);

/// Adds the big-endian flag to a description, unless files of that type hold little-endian linear PCM with as many
/// bits. Deliberately, this queries linear PCM whatever the coding, and compares only the bits, so descriptions of
/// codings without a byte order get the flag as well. Nothing changes if the type holds no linear PCM at all.
void chooseByteOrder(AudioFileTypeID type, BRAQAudioStreamBasicDescription* description);

/// `value` as an integer. Out of range values saturate, NaN becomes 0.
SInt64 truncated(Float32 value) noexcept;

} // namespace braq
