#pragma once

#include "platform/files/libav/Libav.h"
#include "platform/files/writing/FileCoding.h"

namespace braq {

/// An open encoder of libav for a coding other than linear PCM.
/// @param rate of the file
/// @param bitRate for codings that have one
/// @return null if the coding does not support the rate or the channels
CodecContextPointer openEncoder(const FileCoding& coding, UInt32 rate, UInt32 bitRate);

} // namespace braq
