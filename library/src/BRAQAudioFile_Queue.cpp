#include "BRAQAudio/BRAQAudioFile.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"

namespace {

constexpr NSXCallSite siteOf(const char* method) {
    return {"src/BRAQAudioFile_Queue", method, NSXStatusDomain::osStatus};
}

AudioBufferList oneBuffer(const AudioStreamBasicDescription& client, UInt32 byteSize, void* data) {
    return {1, {{client.mChannelsPerFrame, byteSize, data}}};
}

UInt32 framesIn(UInt32 bytes, const AudioStreamBasicDescription& client) {
    return client.mBytesPerFrame != 0 ? bytes / client.mBytesPerFrame : 0;
}

} // namespace

void BRAQAudioFile::writeQueueBuffer(const AudioQueueBuffer* buffer) {
    const std::lock_guard lock(mPlatformMutex);
    const AudioStreamBasicDescription client = clientDataFormat();
    const AudioBufferList list = oneBuffer(client, buffer->mAudioDataByteSize, buffer->mAudioData);
    mFrameCount.forget();
    NSXRaiseOnFailure(ExtAudioFileWrite(mAudioFile, framesIn(buffer->mAudioDataByteSize, client), &list),
                      "ExtAudioFileWrite( mAudioFile, numFrames, &abl )", siteOf("-[BRAQAudioFile writeQueueBuffer:]"));
}

void BRAQAudioFile::readIntoQueueBuffer(AudioQueueBuffer* buffer, SInt64 startFrame, UInt32* framesRead) {
    constexpr auto here = siteOf("-[BRAQAudioFile readIntoQueueBuffer:startFrame:framesRead:]");
    const std::lock_guard lock(mPlatformMutex);
    NSXRaiseOnFailure(ExtAudioFileSeek(mAudioFile, startFrame), "ExtAudioFileSeek( mAudioFile, inStartFrame )", here);
    const AudioStreamBasicDescription client = clientDataFormat();
    AudioBufferList list = oneBuffer(client, buffer->mAudioDataBytesCapacity, buffer->mAudioData);
    UInt32 frames = framesIn(buffer->mAudioDataBytesCapacity, client);
    NSXRaiseOnFailure(ExtAudioFileRead(mAudioFile, &frames, &list), "ExtAudioFileRead(mAudioFile, &numFrames, &abl )",
                      here);
    buffer->mAudioDataByteSize = client.mBytesPerFrame * frames;
    *framesRead = frames;
}
