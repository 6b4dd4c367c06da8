#pragma once

#include "BRAQAudio/platform/types.h"

#include <cstdint>
#include <span>

namespace braq {

/// The checksum of a FLAC packet: 0 if the packet ends with its correct checksum. Everything read of a file passes
/// through it, so it is optimised; with libav's, reading FLAC takes 5 % longer.
UInt16 flacChecksum(std::span<const std::uint8_t> bytes);

} // namespace braq
