#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// One column of a picture for one channel.
struct WaveformColumn {
    float lowest = 0.0F;
    float highest = 0.0F;
    double squares = 0.0; ///< sum of squares
    std::uint64_t samples = 0;

    /// RMS; 0 without samples.
    double rms() const;
};

/// Reduces audio to the columns of a picture, block by block. A frame on the border of two columns belongs to both, so
/// that no column is empty, however few frames there are. Infinite and NaN samples are left out.
class Waveform {
  public:
    /// @param frames total; frames beyond are not shown
    /// @param columns at least 1
    Waveform(std::size_t channels, std::uint64_t frames, std::size_t columns);

    /// @param planes samples of the next frames, one plane per channel
    void add(const float* const* planes, std::size_t frames);

    std::size_t channels() const noexcept { return mChannels.size(); }
    const std::vector<WaveformColumn>& columnsOf(std::size_t channel) const { return mChannels.at(channel); }

  private:
    std::uint64_t firstFrameOf(std::size_t column) const;
    std::uint64_t endFrameOf(std::size_t column) const;

    const std::uint64_t mFrames;
    const std::size_t mColumns;
    std::uint64_t mTaken = 0; // frames so far
    std::vector<std::vector<WaveformColumn>> mChannels;
};
