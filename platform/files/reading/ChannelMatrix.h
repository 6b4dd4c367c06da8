#pragma once

#include "BRAQAudio/platform/types.h"

#include <cstddef>
#include <vector>

namespace braq {

/// Mixes the channels of a file into those of its user.
///
/// As many channels: as they are. One channel: it is heard in all. Otherwise by the usual matrix for the usual layouts of
/// so many channels (after ITU-R BS.775: centre and surround 3 dB lower in the channels beside them, no low-frequency
/// channel), all of it so much softer that full scale in every channel is full scale again. Where there is no usual layout,
/// a single channel is the mean of all, and several are the first ones.
class ChannelMatrix {
  public:
    /// @param inputs, outputs at least 1
    ChannelMatrix(UInt32 inputs, UInt32 outputs);

    bool isIdentity() const { return mIsIdentity; }
    /// Of one input in one output, unless it is the identity.
    float gain(UInt32 input, UInt32 output) const { return mGains[std::size_t{output} * mInputs + input]; }
    /// @param from one plane an input
    /// @param to one plane an output, none of them an input
    void mix(const float* const* from, float* const* to, UInt32 frames) const;

  private:
    const UInt32 mInputs;
    const UInt32 mOutputs;
    const bool mIsIdentity;
    std::vector<float> mGains; // of each input, output by output
};

} // namespace braq
