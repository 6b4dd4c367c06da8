#pragma once

#include "BRAQAudio/platform/types.h"

#include <cstddef>

namespace braq {

/// The layout of a sample in memory or in a file.
struct SampleLayout {
    enum class Sort { unsignedInteger, signedInteger, floating };
    Sort sort;
    UInt32 bits;  ///< that carry the sample: 8, 16, 24, 32, and 64 for floating point
    UInt32 bytes; ///< total size; an integer is in the most significant bits
    bool isBigEndian;
};

/// Converts float samples, full scale being 1. Integers are rounded to nearest, half to even, without dither; samples
/// beyond full scale are clipped, and NaN becomes silence. A sample that is exactly an integer of that many bits
/// divided by its full scale becomes that integer.
/// @param stride bytes from one sample at `destination` to the next
void convertSamples(const Float32* source, std::size_t count, const SampleLayout& layout, std::byte* destination,
                    std::size_t stride);

} // namespace braq
