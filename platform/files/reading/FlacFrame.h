#pragma once

#include "platform/files/reading/FileWindow.h"

#include <optional>

namespace braq {

/// What the STREAMINFO block of a FLAC file says.
struct FlacStream {
    UInt32 shortestBlock; ///< frames, the last block excepted
    UInt32 longestBlock;  ///< frames
    UInt32 sampleRate;
    UInt32 channels;
    UInt32 bitsPerSample;
    SInt64 totalFrames; ///< 0 when not known

    bool hasConstantBlocks() const { return shortestBlock == longestBlock; }
};

constexpr std::size_t flacStreamInfoBytes = 34;
FlacStream flacStream(const std::uint8_t (&block)[flacStreamInfoBytes]);

/// The header of a FLAC packet.
struct FlacFrame {
    SInt64 firstFrame;
    UInt32 frames;
    UInt32 headerBytes;
};

/// Longest header there is.
constexpr std::size_t flacHeaderBytes = 16;

/// Nothing when the bytes do not begin with a header whose checksum is right and that fits the stream.
std::optional<FlacFrame> flacFrame(std::span<const std::uint8_t> bytes, const FlacStream& stream);

} // namespace braq
