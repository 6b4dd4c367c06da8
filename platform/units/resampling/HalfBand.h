#pragma once

#include "BRAQAudio/platform/types.h"

#include <cstddef>
#include <vector>

namespace braq {

/// Halves a rate: a low-pass filter of linear phase that keeps 0.918 of what the lower rate can hold and lets nothing above
/// 1.082 of it through, 120 dB down.
namespace halfband {

/// Samples of odd index on each side of the one that the filter is centred on.
inline constexpr std::size_t reach = 48;
/// @param odd out[n] lies between odd[n - 1] and odd[n]; `reach` before the first and `reach - 1` behind the last are read
/// @param even out[n] lies on even[n]
/// @realtime
void filter(UInt32 frames, const float* odd, const float* even, float* out) noexcept;

} // namespace halfband

/// One channel of a stream at half its rate. Sample m of what comes out lies on sample 2m - `delay` of what went in.
class HalfBandStream {
  public:
    /// What one call takes at most.
    static constexpr UInt32 largestOutput = 64;
    static constexpr SInt64 delay = static_cast<SInt64>(2 * (halfband::reach - 1));
    /// However many streams follow each other, the last one has forgotten what went in earlier when it has given out so many.
    static constexpr SInt64 memory = static_cast<SInt64>(4 * halfband::reach);

    HalfBandStream() : mOdd(2 * halfband::reach - 1 + largestOutput), mEven(halfband::reach - 1 + largestOutput) {}
    /// @param in 2 x `frames` samples @realtime
    void halve(UInt32 frames, const float* in, float* out) noexcept;

  private:
    std::vector<float> mOdd;
    std::vector<float> mEven;
};

} // namespace braq
