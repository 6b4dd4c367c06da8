#pragma once

#include "BRAQAudio/platform/types.h"

#include <cstddef>
#include <vector>

namespace braq {

/// Low-pass filters that halve a rate, and the part of the lower rate's bandwidth that they keep.
///   `steep`: keeps 0.918 of it, and is 120 dB down above 1.082 of it.
///   `gentle`: keeps 0.58 of it, 120 dB down above 1.42 of it, for a fifth of the work. Sufficient if the rate is
/// halved again.
enum class HalfBand { steep, gentle };

namespace halfband {

/// Samples with odd index on each side of the filter's centre.
constexpr std::size_t reachOf(HalfBand kind) { return kind == HalfBand::steep ? 48 : 10; }
/// @param odd out[n] lies between odd[n - 1] and odd[n]; `reachOf` samples before the first and one less after the last
///        are read
/// @param even out[n] lies on even[n]
/// @realtime
void filter(HalfBand kind, UInt32 frames, const float* odd, const float* even, float* out) noexcept;

} // namespace halfband

/// One channel of a stream at half its rate. Output sample m lies on input sample 2m - `delay`.
class HalfBandStream {
  public:
    /// Maximum output of one call.
    static constexpr UInt32 largestOutput = 64;
    static constexpr SInt64 delay = static_cast<SInt64>(2 * (halfband::reachOf(HalfBand::steep) - 1));
    /// In any number of such streams in series, the last one's output no longer depends on earlier input after this
    /// many samples.
    static constexpr SInt64 memory = static_cast<SInt64>(4 * halfband::reachOf(HalfBand::steep));

    HalfBandStream() : mOdd(oddKept + largestOutput), mEven(evenKept + largestOutput) {}
    /// @param in 2 x `frames` samples @realtime
    void halve(HalfBand kind, UInt32 frames, const float* in, float* out) noexcept;

  private:
    static constexpr std::size_t reach = halfband::reachOf(HalfBand::steep);
    static constexpr std::size_t oddKept = 2 * reach - 1;
    static constexpr std::size_t evenKept = reach - 1;

    std::vector<float> mOdd;
    std::vector<float> mEven;
};

} // namespace braq
