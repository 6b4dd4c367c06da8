#pragma once

#include "tools/braq/info/FileLevels.h"

#include <BRAQAudio/BRAQAudio.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// How a coding keeps samples.
enum class SampleKind { unknown, signedInteger, unsignedInteger, real };

/// What the tool says of an audio file. Texts are empty and optional numbers nothing where it is not known.
struct AudioFileFacts {
    std::string path;
    std::string container;
    std::string codec;
    SampleKind kind = SampleKind::unknown;
    std::optional<UInt32> bits; ///< of a stored sample
    Float64 rate = 0.0;         ///< frames a second
    UInt32 channels = 0;
    std::string layout;             ///< "mono" or "stereo": a number of channels alone tells no more
    std::optional<Float64> bitRate; ///< bits a second
    SInt64 frames = 0;              ///< that are meant to be heard
    std::optional<AudioConverterPrimeInfo> addedFrames; ///< that the coding has around them

    // What reading the whole file has brought.
    SInt64 framesRead = 0; ///< fewer than `frames` in a damaged file
    std::vector<ChannelLevels> levels;
    std::uint64_t samplesLeftOut = 0; ///< of the levels: infinite ones, and what is no number

    Float64 seconds() const { return rate > 0.0 ? static_cast<Float64>(frames) / rate : 0.0; }
};

/// All that is known without reading the file to its end. Throws what the library throws.
AudioFileFacts factsOf(const std::string& path, const BRAQExtendedAudioFile& file);

/// What a channel, counted from 0, is called where there is little room: "L", "R", else by its number.
std::string channelName(const AudioFileFacts& facts, std::size_t channel);

/// Its samples as they are stored: "16-bit integer", "32-bit float"; empty if unknown.
std::string sampleText(const AudioFileFacts& facts);

/// What matters most, in a few words: "FLAC, 16-bit integer, 44100 Hz, stereo".
std::string summaryOf(const AudioFileFacts& facts);
