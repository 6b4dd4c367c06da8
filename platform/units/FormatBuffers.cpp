#include "platform/units/FormatBuffers.h"

#include "platform/samples/StreamFormat.h"

#include <algorithm>
#include <cstring>

namespace braq {
namespace {

void interleave(const float* const* planes, UInt32 channels, UInt32 frames, float* to) noexcept {
    for (std::size_t channel = 0; channel < channels; ++channel) {
        for (std::size_t frame = 0; frame < frames; ++frame) {
            to[frame * channels + channel] = planes[channel][frame];
        }
    }
}

void takeApart(const float* from, UInt32 channels, UInt32 frames, float* const* planes) noexcept {
    for (std::size_t channel = 0; channel < channels; ++channel) {
        for (std::size_t frame = 0; frame < frames; ++frame) {
            planes[channel][frame] = from[frame * channels + channel];
        }
    }
}

UInt32 bytes(UInt32 samples) noexcept { return static_cast<UInt32>(samples * sizeof(float)); }

} // namespace

FormatBuffers::FormatBuffers(const AudioStreamBasicDescription& format, UInt32 frames)
    : mChannels(format.mChannelsPerFrame),
      mIsInterleaved(isInterleaved(format)),
      mInterleaved(mIsInterleaved ? std::size_t{frames} * mChannels : 0),
      mOwnPlanes(mIsInterleaved ? 0 : std::size_t{frames} * mChannels),
      mFrames(frames),
      mListBytes(std::make_unique<std::byte[]>(AudioBufferListByteSize(mIsInterleaved ? 1 : mChannels))) {}

AudioBufferList* FormatBuffers::silentList(float* const* planes, UInt32 frames) noexcept {
    auto* list = reinterpret_cast<AudioBufferList*>(mListBytes.get());
    if (mIsInterleaved) {
        std::fill_n(mInterleaved.data(), std::size_t{frames} * mChannels, 0.0F);
        list->mNumberBuffers = 1;
        list->mBuffers[0] = {mChannels, bytes(frames * mChannels), mInterleaved.data()};
        return list;
    }
    list->mNumberBuffers = mChannels;
    for (UInt32 channel = 0; channel < mChannels; ++channel) {
        std::fill_n(planes[channel], frames, 0.0F);
        list->mBuffers[channel] = {1, bytes(frames), planes[channel]};
    }
    return list;
}

void FormatBuffers::takeFromList(float* const* planes, UInt32 frames) noexcept {
    const auto* list = reinterpret_cast<const AudioBufferList*>(mListBytes.get());
    if (mIsInterleaved) {
        if (list->mBuffers[0].mData != nullptr) {
            takeApart(static_cast<const float*>(list->mBuffers[0].mData), mChannels, frames, planes);
        }
        return;
    }
    for (UInt32 channel = 0; channel < mChannels; ++channel) {
        const void* data = list->mBuffers[channel].mData;
        if (data != nullptr && data != planes[channel]) {
            std::memcpy(planes[channel], data, bytes(frames));
        }
    }
}

bool FormatBuffers::isOfShape(const AudioBufferList& list) const noexcept {
    if (list.mNumberBuffers != (mIsInterleaved ? 1 : mChannels)) {
        return false;
    }
    return std::all_of(list.mBuffers, list.mBuffers + list.mNumberBuffers, [this](const AudioBuffer& buffer) {
        return buffer.mNumberChannels == (mIsInterleaved ? mChannels : 1);
    });
}

OSStatus FormatBuffers::putIntoList(const float* const* planes, UInt32 frames, AudioBufferList* list) noexcept {
    if (list == nullptr || !isOfShape(*list)) {
        return kAudio_ParamError;
    }
    if (mIsInterleaved) {
        AudioBuffer& buffer = list->mBuffers[0];
        if (buffer.mData == nullptr) {
            buffer.mData = mInterleaved.data();
        }
        interleave(planes, mChannels, frames, static_cast<float*>(buffer.mData));
        buffer.mDataByteSize = bytes(frames * mChannels);
        return 0;
    }
    for (UInt32 channel = 0; channel < mChannels; ++channel) {
        AudioBuffer& buffer = list->mBuffers[channel];
        if (buffer.mData == nullptr) {
            buffer.mData = mOwnPlanes.data() + std::size_t{channel} * mFrames;
        }
        std::memmove(buffer.mData, planes[channel], bytes(frames));
        buffer.mDataByteSize = bytes(frames);
    }
    return 0;
}

} // namespace braq
