#include "BRAQAudio/BRAQExtendedAudioFile.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"

#include <algorithm>
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
        seekToExactFrame(end - frames);
    }
    *framesRead = frames != 0 ? readFrames(list, frames) : 0;
    if (backwards && *framesRead != 0) {
        std::ranges::for_each(buffersOf(list), reverseFrames);
    }
}

UInt32 BRAQExtendedAudioFile::readFrames(AudioBufferList* list, UInt32 frames) {
    return ExtAudioFileRead(mAudioFile, &frames, list) == 0 ? frames : 0;
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
