#pragma once

#include "platform/samples/resampling/LowPassTable.h"
#include "platform/samples/resampling/StreamBlock.h"
#include "platform/samples/resampling/StreamWindow.h"

namespace braq {

/// Makes blocks by interpolating a stream that has at most as many frames as the blocks.
class Interpolator {
  public:
    /// Control thread.
    explicit Interpolator(UInt32 channels) : mChannels(channels), mTable(LowPassTable::shared()) {}

    /// @param window holds `LowPassTable::reach` frames on each side of all positions of the block @realtime
    void read(const StreamBlock& block, const StreamWindow& window, float* const* out) const noexcept;

  private:
    template <std::size_t Channels>
    void readChannels(std::size_t first, const StreamBlock& block, const StreamWindow& window,
                      float* const* out) const noexcept;

    const std::size_t mChannels;
    const LowPassTable& mTable;
};

} // namespace braq
