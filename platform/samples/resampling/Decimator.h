#pragma once

#include "platform/samples/resampling/LowPassTable.h"
#include "platform/samples/resampling/StreamBlock.h"
#include "platform/samples/resampling/StreamWindow.h"

#include <array>
#include <vector>

namespace braq {

/// Makes blocks from a stream with more frames than the blocks have, and keeps what their rate can hold.
///
/// Each frame of the stream is added to the block frames around its position, times the taps for its distance from
/// them. Distances are counted in block frames, so the cut-off follows the ratio, however it changes, and a single
/// table serves all ratios. Gathering stream frames for each block frame instead would need separate taps for each
/// ratio.
class Decimator {
  public:
    /// Allocates everything. Control thread.
    explicit Decimator(UInt32 channels) : mTable(LowPassTable::shared()), mSums(channels) {}

    /// Resets the filter. @realtime
    void clear() noexcept;
    /// Adds the stream's frames that lie in the next block. @param window holds them @realtime
    void add(const StreamBlock& block, const StreamWindow& window) noexcept;
    /// Outputs the block before the one added last; all three blocks around it have contributed by now.
    /// @realtime
    void copy(float* const* out) const noexcept;

  private:
    static_assert(LowPassTable::reach + LowPassTable::margin <= blockFrames, "no frame reaches beyond the next block");
    /// Frames of the stream whose positions are computed together.
    static constexpr SInt64 batch = 32;

    /// The position of one of the stream's frames.
    struct Heard {
        SInt64 frame = 0; ///< of the stream
        SInt64 first = 0; ///< of the sums that it is added to
        LowPassTable::Place place{};
        float weight = 0; ///< its share of the block's frames, so that the weights add up to 1 per frame
    };
    /// The block that is output, the one added last, and the one after it.
    struct alignas(sizeof(Floats4)) Sums {
        std::array<float, std::size_t{3} * blockFrames> samples{};
    };

    void locate(const StreamBlock& block, SInt64 first, std::size_t count) noexcept;
    template <std::size_t Channels>
    void addChannels(std::size_t channel, std::size_t count, const StreamWindow& window) noexcept;

    const LowPassTable& mTable;
    std::vector<Sums> mSums;                                         // one per channel
    std::array<Heard, static_cast<std::size_t>(batch) + 1> mHeard{}; // one more, of weight 0, if their number is odd
};

} // namespace braq
