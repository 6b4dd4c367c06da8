#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// Levels of a channel in decibels relative to full scale; minus infinity for silence. A full-scale sine has an RMS of
/// -3 dB.
struct ChannelLevels {
    double peak;
    double rms;
};

/// Measures the levels of channels, block by block. Infinite and NaN samples are left out and counted.
class FileLevels {
  public:
    explicit FileLevels(std::size_t channels) : mChannels(channels) {}

    /// @param planes samples of the next frames, one plane per channel
    void add(const float* const* planes, std::size_t frames);

    /// The levels of all frames so far.
    std::vector<ChannelLevels> levels() const;
    /// Infinite and NaN samples of all channels.
    std::uint64_t samplesLeftOut() const noexcept { return mLeftOut; }

  private:
    struct Channel {
        double peak = 0.0;
        double squares = 0.0; // sum of squares
        std::uint64_t samples = 0;
    };

    std::vector<Channel> mChannels;
    std::uint64_t mLeftOut = 0;
};
