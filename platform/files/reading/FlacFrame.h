#pragma once

#include "platform/files/reading/FileWindow.h"

#include <optional>

namespace braq {

/// The STREAMINFO block of a FLAC file.
struct FlacStream {
    UInt32 shortestBlock; ///< frames, except for the last block
    UInt32 longestBlock;  ///< frames
    UInt32 sampleRate;
    UInt32 channels;
    UInt32 bitsPerSample;
    SInt64 totalFrames; ///< 0 if unknown

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

/// The longest possible header.
constexpr std::size_t flacHeaderBytes = 16;

/// Nothing unless the bytes begin with a header with a correct checksum that fits the stream.
std::optional<FlacFrame> flacFrame(std::span<const std::uint8_t> bytes, const FlacStream& stream);

} // namespace braq
