#pragma once

#include "BRAQAudio/platform/types.h"

#include <cstddef>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

class BRAQAudioDevice;

namespace tool_test {

/// Samples of some channels, in each of them as many.
struct Sound {
    std::vector<std::vector<Float32>> channels;

    std::size_t frames() const { return channels.empty() ? 0 : channels.front().size(); }
    const std::vector<Float32>& left() const { return channels.at(0); }
    const std::vector<Float32>& right() const { return channels.at(1); }
    Sound part(std::size_t first, std::size_t count) const;
    Sound backwards() const;
    /// From the first frame to the last one in which any channel is louder than `threshold`.
    Sound trimmed(Float32 threshold = 0.0F) const;
};

/// Left a tone with an amplitude of one half, right noise of which no sample is 0; 16 bits hold both exactly.
Sound toneAndNoise(std::size_t frames, Float64 rate, Float64 frequency = 1000.0);

/// A sine on both channels at full level, 16 bits of it.
Sound fullSine(std::size_t frames, Float64 rate, Float64 frequency);
/// The largest step from one sample to the next on the left, over that of a sine at full level.
double largestStep(const Sound& sound, Float64 rate, Float64 frequency);

/// Writes a 16-bit WAVE file with two channels.
void writeFile(const std::filesystem::path& path, const Sound& sound, Float64 rate);
/// All of a file, as the library reads it.
Sound readFile(const std::filesystem::path& path);

/// The root of the mean square.
double levelOf(const std::vector<Float32>& samples);
/// Counted by how often the samples rise through 0.
double frequencyOf(const std::vector<Float32>& samples, Float64 rate);
/// The first frame in which the two are not the same; the shorter length if there is none.
std::size_t firstDifference(const Sound& one, const Sound& other);

/// Captures a device while it lives.
class Capture {
  public:
    /// Returns when the first frames are there.
    Capture(const std::string& deviceUID, std::size_t mostFrames);
    ~Capture();
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    std::size_t frames() const;
    /// That a busy machine did not let it capture.
    std::size_t lostFrames() const;
    /// What was captured so far.
    Sound sound() const;

  private:
    struct Samples;
    std::shared_ptr<Samples> mSamples;
};

} // namespace tool_test
