#include "tests/support/FrameLists.h"

#include "BRAQAudio/BRAQAudioBufferList.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace braq::tests {

namespace {

Float32* samples(const AudioBufferList* list, UInt32 channel) {
    return static_cast<Float32*>(list->mBuffers[channel].mData);
}

} // namespace

void number(AudioBufferList* list, UInt64 firstNumber, UInt32 frames) {
    for (UInt32 channel = 0; channel < list->mNumberBuffers; ++channel) {
        for (UInt32 frame = 0; frame < frames; ++frame) {
            samples(list, channel)[frame] = sampleOf(firstNumber + frame, channel);
        }
    }
}

void expectNumbered(const AudioBufferList* list, UInt32 position, UInt64 firstNumber, UInt32 frames) {
    for (UInt32 channel = 0; channel < list->mNumberBuffers; ++channel) {
        for (UInt32 frame = 0; frame < frames; ++frame) {
            ASSERT_EQ(samples(list, channel)[position + frame], sampleOf(firstNumber + frame, channel))
                << "at frame " << position + frame << " of channel " << channel;
        }
    }
}

FrameList::FrameList(UInt32 channels, UInt32 frames)
    : mList(BRAQAudioBufferListCreate(channels, sizeof(Float32), frames, false)), mFrames(frames) {
    fill(0);
}

FrameList::~FrameList() { BRAQAudioBufferListDestroy(mList); }

Float32 FrameList::sample(UInt32 channel, UInt32 frame) const { return samples(mList, channel)[frame]; }

void FrameList::fill(Float32 value) {
    for (UInt32 channel = 0; channel < mList->mNumberBuffers; ++channel) {
        std::fill_n(samples(mList, channel), mFrames, value);
    }
}

} // namespace braq::tests
