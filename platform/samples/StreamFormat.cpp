#include "platform/samples/StreamFormat.h"

#include <algorithm>
#include <cmath>

namespace braq {

bool isFloatFormat(const AudioStreamBasicDescription& format, UInt32 mostChannels) {
    constexpr UInt32 formatBits =
        kAudioFormatFlagIsFloat | kAudioFormatFlagIsBigEndian | kAudioFormatFlagIsSignedInteger;
    const UInt32 channelsInABuffer = isInterleaved(format) ? format.mChannelsPerFrame : 1;
    return format.mFormatID == kAudioFormatLinearPCM && (format.mFormatFlags & formatBits) == kAudioFormatFlagIsFloat &&
           format.mBitsPerChannel == 8 * sizeof(Float32) && format.mChannelsPerFrame >= 1 &&
           format.mChannelsPerFrame <= mostChannels && format.mBytesPerFrame == channelsInABuffer * sizeof(Float32) &&
           std::isfinite(format.mSampleRate);
}

AudioStreamBasicDescription planarFloatFormat(Float64 sampleRate, UInt32 channels) {
    AudioStreamBasicDescription format{};
    format.mSampleRate = sampleRate;
    format.mFormatID = kAudioFormatLinearPCM;
    format.mFormatFlags = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked | kAudioFormatFlagIsNonInterleaved;
    format.mBytesPerPacket = sizeof(Float32);
    format.mFramesPerPacket = 1;
    format.mBytesPerFrame = sizeof(Float32);
    format.mChannelsPerFrame = channels;
    format.mBitsPerChannel = 8 * sizeof(Float32);
    return format;
}

bool fits(const AudioBufferList& list, const AudioStreamBasicDescription& format, UInt32 frames) {
    const UInt32 channelsInABuffer = isInterleaved(format) ? format.mChannelsPerFrame : 1;
    return list.mNumberBuffers == format.mChannelsPerFrame / channelsInABuffer &&
           std::all_of(list.mBuffers, list.mBuffers + list.mNumberBuffers, [&](const AudioBuffer& buffer) {
               return buffer.mNumberChannels == channelsInABuffer && (buffer.mData != nullptr || frames == 0) &&
                      buffer.mDataByteSize >= UInt64{frames} * format.mBytesPerFrame;
           });
}

} // namespace braq
