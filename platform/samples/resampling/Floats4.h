#pragma once

#include <cstring>

namespace braq {

/// Four samples that are processed in parallel. Compilers generate code for it on every machine, with SIMD instructions
/// where there are any.
using Floats4 [[gnu::vector_size(16)]] = float;

/// From any address. @realtime
inline Floats4 load4(const float* from) noexcept {
    Floats4 samples;
    std::memcpy(&samples, from, sizeof(samples));
    return samples;
}

/// To any address. @realtime
inline void store4(Floats4 samples, float* to) noexcept { std::memcpy(to, &samples, sizeof(samples)); }

/// @realtime
inline Floats4 fill4(float sample) noexcept { return Floats4{sample, sample, sample, sample}; }

/// @realtime
inline float sumOf(Floats4 samples) noexcept { return (samples[0] + samples[2]) + (samples[1] + samples[3]); }

} // namespace braq
