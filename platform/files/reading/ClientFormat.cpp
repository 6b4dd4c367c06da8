#include "platform/files/reading/ClientFormat.h"

#include <cmath>

namespace braq {
namespace {

bool isInterleaved(const AudioStreamBasicDescription& format) {
    return (format.mFormatFlags & kAudioFormatFlagIsNonInterleaved) == 0;
}

} // namespace

AudioStreamBasicDescription planarFloat(Float64 sampleRate, UInt32 channels) {
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

OSStatus checkClientFormat(const AudioStreamBasicDescription& format) {
    if (format.mFormatID != kAudioFormatLinearPCM) {
        return kExtAudioFileError_NonPCMClientFormat;
    }
    const UInt32 kind =
        format.mFormatFlags & (kAudioFormatFlagIsFloat | kAudioFormatFlagIsBigEndian | kAudioFormatFlagIsSignedInteger);
    const UInt32 channels = format.mChannelsPerFrame;
    const bool isRate = std::isfinite(format.mSampleRate) && format.mSampleRate >= 0;
    const bool isFloat = kind == kAudioFormatFlagIsFloat && format.mBitsPerChannel == 8 * sizeof(Float32);
    if (!isRate || !isFloat || channels == 0 || channels > mostClientChannels) {
        return kExtAudioFileError_InvalidDataFormat;
    }
    const UInt32 bytes = static_cast<UInt32>(sizeof(Float32)) * (isInterleaved(format) ? channels : 1);
    const bool isPacked =
        format.mBytesPerFrame == bytes && format.mBytesPerPacket == bytes && format.mFramesPerPacket == 1;
    return isPacked ? 0 : kExtAudioFileError_InvalidDataFormat;
}

bool fits(const AudioBufferList& list, const AudioStreamBasicDescription& format, UInt32 frames) {
    const UInt32 buffers = isInterleaved(format) ? 1 : format.mChannelsPerFrame;
    const UInt32 channelsPerBuffer = isInterleaved(format) ? format.mChannelsPerFrame : 1;
    bool isGood = list.mNumberBuffers == buffers;
    for (UInt32 i = 0; isGood && i < buffers; ++i) {
        const AudioBuffer& buffer = list.mBuffers[i];
        isGood = buffer.mNumberChannels == channelsPerBuffer && (buffer.mData != nullptr || frames == 0) &&
                 buffer.mDataByteSize >= UInt64{frames} * format.mBytesPerFrame;
    }
    return isGood;
}

} // namespace braq
