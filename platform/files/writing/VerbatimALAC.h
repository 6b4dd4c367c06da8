#pragma once

#include "platform/samples/FramePlanes.h"

#include <cstdint>
#include <vector>

namespace braq {

/// A packet of ALAC whose frames are stored as they are. libav's encoder ends the process when it is given a handful of
/// frames of more than two channels: it takes the headers of all but one element for no bytes.
/// @param channels 1 to 8, in the order that libav's decoder delivers
/// @param bits 16 or 24
std::vector<std::uint8_t> verbatimALAC(const FramePlanes& planes, std::size_t frames, UInt32 bits);

} // namespace braq
