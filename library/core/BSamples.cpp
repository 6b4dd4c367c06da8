#include "library/core/BSamples.h"

#include <algorithm>
#include <cstdlib>

namespace braq {

namespace {

// Aligned to a cache line: a copy between misaligned buffers takes up to a tenth longer, and which buffers are
// misaligned would be random.
void* allocateSamples(UInt32 byteSize) {
    constexpr std::size_t cacheLineBytes = 64;
    const std::size_t lines = (std::max<std::size_t>(byteSize, 1) + cacheLineBytes - 1) / cacheLineBytes;
    return std::aligned_alloc(cacheLineBytes, lines * cacheLineBytes);
}

} // namespace

AudioBufferList* createSamples(UInt32 bufferCount, UInt32 channelsPerBuffer, UInt32 byteSize) {
    // Room for at least one descriptor, as the type promises.
    auto* list =
        static_cast<AudioBufferList*>(std::calloc(1, AudioBufferListByteSize(std::max<UInt32>(bufferCount, 1))));
    if (list == nullptr) {
        return nullptr;
    }
    for (; list->mNumberBuffers < bufferCount; ++list->mNumberBuffers) {
        void* const samples = allocateSamples(byteSize);
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

} // namespace braq
