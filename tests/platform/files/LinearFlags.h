#pragma once

#include "BRAQAudio/platform/types.h"

namespace braq::tests {

// Flags of linear PCM.
constexpr UInt32 lpcm = kAudioFormatLinearPCM;
constexpr UInt32 integer = kAudioFormatFlagIsSignedInteger | kAudioFormatFlagIsPacked;
constexpr UInt32 floating = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked;
constexpr UInt32 big = kAudioFormatFlagIsBigEndian;

} // namespace braq::tests
