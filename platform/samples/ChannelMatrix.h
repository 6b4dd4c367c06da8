#pragma once

#include "platform/samples/ChannelPositions.h"

#include <cstddef>
#include <vector>

namespace braq {

/// How sums of channels that may exceed full scale are treated.
enum class Downmix {
    scaled,  ///< all channels are scaled so that full scale in every channel cannot exceed full scale
    unscaled ///< they are not
};

/// The gain of each input channel in each output channel.
///
/// A channel goes at full level to the output with its position. Rear and side substitute for each other if each layout
/// has only one of the two pairs. A channel without an output is mixed into those beside it: the centre into left and
/// right, surround channels into the front, each 3 dB lower (ITU-R BS.775, annex 4); the low-frequency channel is
/// dropped.
class ChannelMatrix {
  public:
    /// Channels are mapped by number if the positions of either side are unknown, or if a channel other than low
    /// frequency would not be heard at all: as many as both sides have; a single output gets the mean of all inputs; a
    /// single input goes to all outputs.
    /// @param from, to at least one channel each
    ChannelMatrix(const ChannelPositions& from, const ChannelPositions& to, Downmix downmix);

    /// Whether the gains are by number, not by position.
    bool isByNumber() const { return mIsByNumber; }
    /// Whether each output has at most one input, and each input goes to exactly one output, at full level.
    bool isPermutation() const;
    /// The gain of an input in an output.
    float gain(UInt32 input, UInt32 output) const { return mGains[std::size_t{output} * mInputs + input]; }
    /// @param from one plane per input
    /// @param to one plane per output, none of them an input
    void mix(const float* const* from, float* const* to, UInt32 frames) const;

  private:
    const std::size_t mInputs;
    const std::size_t mOutputs;
    bool mIsByNumber = false;
    std::vector<float> mGains; // of each input, output by output
};

} // namespace braq
