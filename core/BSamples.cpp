#include "core/BSamples.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace braq {

AudioBufferList* createSamples(UInt32 bufferCount, UInt32 channelsPerBuffer, UInt32 byteSize) {
    // Room for at least one descriptor, because that is what the type promises.
    auto* list =
        static_cast<AudioBufferList*>(std::calloc(1, AudioBufferListByteSize(std::max<UInt32>(bufferCount, 1))));
    if (list == nullptr) {
        return nullptr;
    }
    for (; list->mNumberBuffers < bufferCount; ++list->mNumberBuffers) {
        void* const samples = std::malloc(std::max<UInt32>(byteSize, 1));
        if (samples == nullptr) {
            destroySamples(list);
            return nullptr;
        }
        list->mBuffers[list->mNumberBuffers] = {channelsPerBuffer, byteSize, samples};
    }
    return list;
}

void destroySamples(AudioBufferList* list) noexcept {
    if (list == nullptr) {
        return;
    }
    for (UInt32 i = 0; i < list->mNumberBuffers; ++i) {
        std::free(list->mBuffers[i].mData);
    }
    std::free(list);
}

void copyFrames(AudioBufferList* destination, UInt32 destinationFrame, const AudioBufferList* source,
                UInt32 sourceFrame, UInt32 bufferCount, UInt32 bytesPerFrame, UInt32 frames) noexcept {
    for (UInt32 i = 0; i < bufferCount; ++i) {
        std::memcpy(static_cast<std::byte*>(destination->mBuffers[i].mData) + destinationFrame * bytesPerFrame,
                    static_cast<const std::byte*>(source->mBuffers[i].mData) + sourceFrame * bytesPerFrame,
                    frames * bytesPerFrame);
    }
}

bool drainFrames(const AudioBufferList* held, UInt32& startFrame, UInt32 endFrame, bool endOfStream,
                 AudioBufferList* destination, UInt32 bytesPerFrame, const FrameCounters& counters) noexcept {
    const UInt32 available = endFrame - startFrame;
    const bool emptied = available <= counters.required;
    const UInt32 frames = std::min(available, counters.required);
    if (frames > 0) {
        copyFrames(destination, counters.produced, held, startFrame, destination->mNumberBuffers, bytesPerFrame,
                   frames);
        counters.advance(frames);
        startFrame += frames;
    }
    return emptied && !endOfStream;
}

Fill fillFrames(AudioBufferList* held, UInt32 heldFrames, UInt32 byteSize, const AudioBufferList* source,
                UInt32 bytesPerFrame, const FrameCounters& counters) noexcept {
    const UInt32 capacity = bytesPerFrame == 0 ? 0 : byteSize / bytesPerFrame;
    const UInt32 space = capacity - heldFrames;
    const UInt32 frames = std::min(space, counters.required);
    const bool full = space <= counters.required;
    if (frames > 0) {
        copyFrames(held, heldFrames, source, counters.produced, source->mNumberBuffers, bytesPerFrame, frames);
        counters.advance(frames);
    }
    return {frames, full};
}

} // namespace braq
