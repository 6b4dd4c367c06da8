#pragma once

#include "tools/braq/info/FileLevels.h"

#include <BRAQAudio/BRAQAudio.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The type of the stored samples.
enum class SampleKind { unknown, signedInteger, unsignedInteger, real };

/// What the tool shows about an audio file. Unknown texts are empty and unknown numbers have no value.
struct AudioFileFacts {
    std::string path;
    std::string container;
    std::string codec;
    SampleKind kind = SampleKind::unknown;
    std::optional<UInt32> bits; ///< per stored sample
    Float64 rate = 0.0;         ///< Hz
    UInt32 channels = 0;
    std::string layout;                                 ///< "mono" or "stereo"; empty for other channel counts
    std::optional<Float64> bitRate;                     ///< bits per second
    SInt64 frames = 0;                                  ///< without priming and padding
    std::optional<AudioConverterPrimeInfo> addedFrames; ///< priming and padding

    // Results of reading the whole file.
    SInt64 framesRead = 0; ///< fewer than `frames` in a damaged file
    std::vector<ChannelLevels> levels;
    std::uint64_t samplesLeftOut = 0; ///< infinite and NaN samples, left out of the levels

    Float64 seconds() const { return rate > 0.0 ? static_cast<Float64>(frames) / rate : 0.0; }
};

/// Everything that is known without reading the whole file. Throws what the library throws.
AudioFileFacts factsOf(const std::string& path, const BRAQExtendedAudioFile& file);

/// A short name of a channel, counted from 0: "L", "R", else its number.
std::string channelName(const AudioFileFacts& facts, std::size_t channel);

/// The type of the stored samples: "16-bit integer", "32-bit float"; empty if unknown.
std::string sampleText(const AudioFileFacts& facts);

/// A short summary: "FLAC, 16-bit integer, 44100 Hz, stereo".
std::string summaryOf(const AudioFileFacts& facts);
