#pragma once

#include "platform/samples/resampling/LowPassTable.h"
#include "platform/samples/resampling/StreamBlock.h"
#include "platform/samples/resampling/StreamWindow.h"

#include <array>
#include <vector>

namespace braq {

/// Makes blocks from a stream that has more frames than they have, and keeps what their rate can hold.
///
/// Each frame of the stream is added to the frames of the blocks around the place where it is heard, times the taps for how
/// far they are from it. These distances are counted in frames of the blocks, so what the filter keeps follows the ratio,
/// however that changes, and one table does for all ratios. To gather the stream's frames for each frame that is made would
/// want taps of its own at each ratio.
class Decimator {
  public:
    /// Allocates everything. Control thread.
    explicit Decimator(UInt32 channels) : mTable(LowPassTable::shared()), mSums(channels) {}

    /// Nothing was ever added. @realtime
    void clear() noexcept;
    /// Adds the stream's frames that lie in the next block. @param window holds them @realtime
    void add(const StreamBlock& block, const StreamWindow& window) noexcept;
    /// Gives the block before the one that was added last, in which all three blocks around it have had their part.
    /// @realtime
    void copy(float* const* out) const noexcept;

  private:
    static_assert(LowPassTable::reach + LowPassTable::margin <= blockFrames, "no frame reaches beyond the next block");
    /// Frames of the stream that are located together.
    static constexpr SInt64 batch = 32;

    /// Where one of the stream's frames is heard.
    struct Heard {
        SInt64 frame = 0; ///< of the stream
        SInt64 first = 0; ///< of the sums that it is added to
        LowPassTable::Place place{};
        float weight = 0; ///< frames of the block there are for it, so that all together they weigh 1 a frame
    };
    /// The block that is given, the one that was added last, and the one after it.
    struct alignas(sizeof(Floats4)) Sums {
        std::array<float, std::size_t{3} * blockFrames> samples{};
    };

    void locate(const StreamBlock& block, SInt64 first, std::size_t count) noexcept;
    template <std::size_t Channels>
    void addChannels(std::size_t channel, std::size_t count, const StreamWindow& window) noexcept;

    const LowPassTable& mTable;
    std::vector<Sums> mSums;                                         // one a channel
    std::array<Heard, static_cast<std::size_t>(batch) + 1> mHeard{}; // one more, of weight 0, where their number is odd
};

} // namespace braq
