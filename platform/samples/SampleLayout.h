#pragma once

#include "BRAQAudio/platform/types.h"

#include <cstddef>

namespace braq {

/// How one sample lies in memory or in a file.
struct SampleLayout {
    enum class Sort { unsignedInteger, signedInteger, floating };
    Sort sort;
    UInt32 bits;  ///< that carry the sample: 8, 16, 24, 32, and 64 for a floating one
    UInt32 bytes; ///< that it takes; an integer lies in the uppermost bits of them
    bool isBigEndian;
};

/// Converts float samples, full scale being 1. To integers they are rounded to the nearest, half to even, without dither;
/// what lies beyond full scale is clipped, and what is no number becomes silence. A sample that is an integer of that many
/// bits over its full scale becomes that integer.
/// @param stride bytes from a sample at `destination` to the next
void convertSamples(const Float32* source, std::size_t count, const SampleLayout& layout, std::byte* destination,
                    std::size_t stride);

} // namespace braq
