#include "BRAQAudio/BRAQExtendedAudioFile.h"

#include "BRAQAudio/BRAQAudioBufferList.h"
#include "BRAQAudio/errors/NSXReturnThrowError.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <span>

namespace {

std::span<AudioBuffer> buffersOf(AudioBufferList* list) { return {list->mBuffers, list->mNumberBuffers}; }

// Reverses the order of the frames; the channels of each keep theirs.
void reverseFrames(const AudioBuffer& buffer) {
    const std::span samples(static_cast<Float32*>(buffer.mData), buffer.mDataByteSize / sizeof(Float32));
    std::ranges::reverse(samples);
    const UInt32 channels = buffer.mNumberChannels;
    if (channels < 2) {
        return;
    }
    for (std::size_t sample = 0; sample + channels <= samples.size(); sample += channels) {
        std::ranges::reverse(samples.subspan(sample, channels));
    }
}

} // namespace

void BRAQExtendedAudioFile::readIntoAudioBufferList(AudioBufferList* list, SInt64 startFrame, UInt32* framesRead) {
    const std::lock_guard lock(mPlatformMutex);
    const bool backwards = reverse();
    UInt32 frames = *framesRead;
    if (backwards) {
        // The block ends at the start frame, and may be truncated at the beginning of the file.
        const SInt64 end = std::max(SInt64{0}, startFrame);
        frames = static_cast<UInt32>(std::min(SInt64{frames}, end));
        seekForReading(end - frames);
    }
    *framesRead = frames != 0 ? readFrames(list, frames) : 0;
    if (backwards && *framesRead != 0) {
        std::ranges::for_each(buffersOf(list), reverseFrames);
    }
}

UInt32 BRAQExtendedAudioFile::readFrames(AudioBufferList* list, UInt32 frames) {
    return skipFrames(list) && ExtAudioFileRead(mAudioFile, &frames, list) == 0 ? frames : 0;
}

// Reads them into the list, where what is wanted then takes their place.
bool BRAQExtendedAudioFile::skipFrames(const AudioBufferList* list) {
    if (mFramesToSkip == 0) {
        return true;
    }
    const std::unique_ptr<AudioBufferList, decltype(&std::free)> room(BRAQAudioBufferListCopy(list), &std::free);
    if (room == nullptr || room->mNumberBuffers == 0) {
        return false;
    }
    const UInt32 bytes = room->mBuffers[0].mDataByteSize;
    const UInt32 bytesPerFrame = clientDataFormat().mBytesPerFrame;
    const SInt64 fitting = bytesPerFrame != 0 ? bytes / bytesPerFrame : 0;
    while (mFramesToSkip > 0) {
        auto frames = static_cast<UInt32>(std::min(mFramesToSkip, fitting));
        for (AudioBuffer& buffer : buffersOf(room.get())) {
            buffer.mDataByteSize = bytes;
        }
        if (frames == 0 || ExtAudioFileRead(mAudioFile, &frames, room.get()) != 0 || frames == 0) {
            return false;
        }
        mFramesToSkip -= frames;
    }
    return true;
}

void BRAQExtendedAudioFile::writeAudioBufferList(AudioBufferList* list, UInt32* framesWritten) {
    constexpr const char* method = "-[BRAQExtendedAudioFile writeAudioBufferList:framesWritten:]";
    NSXAssertParameter(framesWritten != nullptr, "oNumFrames", method, this, "BRAQExtendedAudioFile_AudioUnit", 88);
    constexpr NSXCallSite here{"src/BRAQExtendedAudioFile_AudioUnit", method, NSXStatusDomain::osStatus};
    const std::lock_guard lock(mPlatformMutex);
    const UInt32 bytes = *framesWritten * clientDataFormat().mBytesPerFrame;
    for (AudioBuffer& buffer : buffersOf(list)) {
        buffer.mDataByteSize = bytes;
    }
    mFrameCount.forget();
    mExactFrameCount.forget();
    mPrimeInfo.forget();
    NSXRaiseOnFailure(ExtAudioFileWrite(mAudioFile, *framesWritten, list),
                      "ExtAudioFileWrite( mAudioFile, numFrames, inBuffer )", here);
}
