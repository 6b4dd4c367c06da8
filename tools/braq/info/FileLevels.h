#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// How loud a channel is, in decibels relative to full scale; minus infinity for silence. A sine between -1 and 1 has a
/// root mean square of -3 dB.
struct ChannelLevels {
    double peak;
    double rms;
};

/// Measures the levels of channels, block by block. Samples that are infinite or no numbers are left out, and counted.
class FileLevels {
  public:
    explicit FileLevels(std::size_t channels) : mChannels(channels) {}

    /// @param planes samples of the next frames, one plane a channel
    void add(const float* const* planes, std::size_t frames);

    /// Of all frames so far.
    std::vector<ChannelLevels> levels() const;
    /// Samples of all channels.
    std::uint64_t samplesLeftOut() const noexcept { return mLeftOut; }

  private:
    struct Channel {
        double peak = 0.0;
        double squares = 0.0; // their sum
        std::uint64_t samples = 0;
    };

    std::vector<Channel> mChannels;
    std::uint64_t mLeftOut = 0;
};
