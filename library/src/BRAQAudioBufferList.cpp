#include "BRAQAudio/BRAQAudioBufferList.h"

#include "library/core/BSamples.h"

#include <cstdlib>
#include <cstring>

AudioBufferList* BRAQAudioBufferListCreate(UInt32 channels, UInt32 bytesPerSample, UInt32 frames, bool interleaved) {
    const UInt32 channelBytes = bytesPerSample * frames;
    return interleaved ? braq::createSamples(1, channels, channelBytes * channels)
                       : braq::createSamples(channels, 1, channelBytes);
}

void BRAQAudioBufferListDestroy(AudioBufferList* list) { braq::destroySamples(list); }

AudioBufferList* BRAQAudioBufferListCopy(const AudioBufferList* list) {
    auto* copy = static_cast<AudioBufferList*>(std::malloc(AudioBufferListByteSize(list->mNumberBuffers)));
    if (copy != nullptr) {
        BRAQAudioBufferListCopyTo(list, copy);
    }
    return copy;
}

void BRAQAudioBufferListCopyTo(const AudioBufferList* list, AudioBufferList* destination) noexcept {
    std::memcpy(destination, list, AudioBufferListByteSize(list->mNumberBuffers));
}

UInt32 BRAQAudioBufferListCapacityInFrames(const AudioBufferList* list, UInt32 bytesPerSample) noexcept {
    const AudioBuffer& first = list->mBuffers[0];
    if (first.mNumberChannels == 0 || bytesPerSample == 0) {
        return 0;
    }
    return first.mDataByteSize / first.mNumberChannels / bytesPerSample;
}
