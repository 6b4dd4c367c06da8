#pragma once

#include "platform/samples/FramePlanes.h"

#include <cstdint>
#include <vector>

namespace braq {

/// An ALAC packet with uncompressed frames. libav's encoder aborts the process when it gets a few frames of more than
/// two channels: it assumes no bytes for the headers of all but one element.
/// @param channels 1 to 8, in the order that libav's decoder delivers
/// @param bits 16 or 24
std::vector<std::uint8_t> verbatimALAC(const FramePlanes& planes, std::size_t frames, UInt32 bits);

} // namespace braq
