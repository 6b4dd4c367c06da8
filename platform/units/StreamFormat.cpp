#include "platform/units/StreamFormat.h"

#include <cmath>

bool braq::isUnitFormat(const AudioStreamBasicDescription& format) {
    constexpr UInt32 formatBits =
        kAudioFormatFlagIsFloat | kAudioFormatFlagIsBigEndian | kAudioFormatFlagIsSignedInteger;
    constexpr UInt32 mostChannels = 1024;
    const UInt32 channelsInABuffer = isInterleaved(format) ? format.mChannelsPerFrame : 1;
    return format.mFormatID == kAudioFormatLinearPCM && (format.mFormatFlags & formatBits) == kAudioFormatFlagIsFloat &&
           format.mBitsPerChannel == 32 && format.mChannelsPerFrame >= 1 && format.mChannelsPerFrame <= mostChannels &&
           format.mBytesPerFrame == channelsInABuffer * sizeof(Float32) && std::isfinite(format.mSampleRate) &&
           format.mSampleRate > 0.0;
}

AudioStreamBasicDescription braq::planarFloatFormat(Float64 sampleRate, UInt32 channels) {
    AudioStreamBasicDescription format{};
    format.mSampleRate = sampleRate;
    format.mFormatID = kAudioFormatLinearPCM;
    format.mFormatFlags = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked | kAudioFormatFlagIsNonInterleaved;
    format.mBytesPerPacket = sizeof(Float32);
    format.mFramesPerPacket = 1;
    format.mBytesPerFrame = sizeof(Float32);
    format.mChannelsPerFrame = channels;
    format.mBitsPerChannel = 32;
    return format;
}
