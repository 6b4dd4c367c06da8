#pragma once

#include "platform/samples/ChannelPositions.h"

#include <cstddef>
#include <vector>

namespace braq {

/// What is done about sums of channels that may be beyond full scale.
enum class Downmix {
    scaled,  ///< all channels are so much softer that full scale in each of them is full scale again
    unscaled ///< nothing
};

/// How loud each of some channels is in each of others.
///
/// A channel is heard at full level where there is a channel of its position, and in that of the side for the rear, or the other
/// way round, where only one of the two pairs is on both sides together. A position that is lacking is heard in those beside it:
/// the centre in left and right, surround channels in those of the front, each 3 dB lower (ITU-R BS.775, annex 4); the
/// low-frequency channel is heard nowhere else.
class ChannelMatrix {
  public:
    /// Where positions of either side are not known, or a channel other than that of low frequencies would be heard nowhere,
    /// channels are taken by their number: as many as there are on both sides, and for a single output the mean of all.
    /// Of a single input: it is heard in all.
    /// @param from, to at least one channel each
    ChannelMatrix(const ChannelPositions& from, const ChannelPositions& to, Downmix downmix);

    /// Whether no positions have told the gains.
    bool isByNumber() const { return mIsByNumber; }
    /// Whether no output hears more than one input, and each input is heard in one output, at full level.
    bool isPermutation() const;
    /// Of one input in one output.
    float gain(UInt32 input, UInt32 output) const { return mGains[std::size_t{output} * mInputs + input]; }
    /// @param from one plane an input
    /// @param to one plane an output, none of them an input
    void mix(const float* const* from, float* const* to, UInt32 frames) const;

  private:
    const std::size_t mInputs;
    const std::size_t mOutputs;
    bool mIsByNumber = false;
    std::vector<float> mGains; // of each input, output by output
};

} // namespace braq
