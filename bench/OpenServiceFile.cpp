#include "bench/OpenServiceFile.h"

#include "BRAQAudio/BRAQAudioBufferList.h"
#include "BRAQAudio/platform/foundation/NSURL.h"

#include <stdexcept>

namespace braq::bench {
namespace {

[[noreturn]] void fail(const std::filesystem::path& path) {
    throw std::runtime_error("the service cannot read " + path.filename().string());
}

} // namespace

void OpenServiceFile::ListDeleter::operator()(AudioBufferList* list) const { BRAQAudioBufferListDestroy(list); }

OpenServiceFile::OpenServiceFile(const std::filesystem::path& path, Layout layout, UInt32 frames) : mFrames(frames) {
    const auto url = NSURL::fileURLWithPath(path.string());
    AudioStreamBasicDescription format{};
    UInt32 size = sizeof format;
    if (ExtAudioFileOpenURL(url.get(), &mFile) != 0 ||
        ExtAudioFileGetProperty(mFile, kExtAudioFileProperty_FileDataFormat, &size, &format) != 0) {
        fail(path);
    }
    const bool isInterleaved = layout == Layout::interleaved;
    mBytesPerFrame = static_cast<UInt32>(sizeof(Float32)) * (isInterleaved ? format.mChannelsPerFrame : 1);
    AudioStreamBasicDescription client{};
    client.mSampleRate = format.mSampleRate;
    client.mFormatID = kAudioFormatLinearPCM;
    client.mFormatFlags = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked;
    client.mFormatFlags |= isInterleaved ? 0 : kAudioFormatFlagIsNonInterleaved;
    client.mBitsPerChannel = 32;
    client.mChannelsPerFrame = format.mChannelsPerFrame;
    client.mFramesPerPacket = 1;
    client.mBytesPerFrame = client.mBytesPerPacket = mBytesPerFrame;
    if (ExtAudioFileSetProperty(mFile, kExtAudioFileProperty_ClientDataFormat, sizeof client, &client) != 0) {
        fail(path);
    }
    mList.reset(BRAQAudioBufferListCreate(format.mChannelsPerFrame, sizeof(Float32), frames, isInterleaved));
}

SInt64 OpenServiceFile::lengthFrames() const {
    SInt64 frames = 0;
    UInt32 size = sizeof frames;
    ExtAudioFileGetProperty(mFile, kExtAudioFileProperty_FileLengthFrames, &size, &frames);
    return frames;
}

void OpenServiceFile::seek(SInt64 frame) {
    if (ExtAudioFileSeek(mFile, frame) != 0) {
        throw std::runtime_error("the service cannot seek");
    }
}

UInt32 OpenServiceFile::read() {
    for (UInt32 i = 0; i < mList->mNumberBuffers; ++i) {
        mList->mBuffers[i].mDataByteSize = mFrames * mBytesPerFrame;
    }
    UInt32 frames = mFrames;
    return ExtAudioFileRead(mFile, &frames, mList.get()) == 0 ? frames : 0;
}

} // namespace braq::bench
