#pragma once

#include "BRAQAudio/BRAQAudioFileReader.h"
#include "BRAQAudio/BRAQAudioFileWriter.h"
#include "tests/support/FrameLists.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

// Streamers with their insides open to tests, and files that are made up.
namespace streamer_test {

constexpr UInt32 channels = 2;

inline std::shared_ptr<BRAQAudioStreamBasicDescription> planarStereoAt48k() {
    auto description = BRAQAudioStreamBasicDescription::nativeStreamDescription();
    description->setIsInterleaved(false);
    description->setSampleRate(48000);
    return description;
}

template <class Streamer>
class Open : public Streamer {
  public:
    Open(UInt64 bufferCount, UInt32 frames) : Streamer(bufferCount, frames, planarStereoAt48k()) {}
    ~Open() override { this->teardownWorkerThread(); }

    UInt64 currentIndex() const { return this->mCurrentBuffer; }
    BQueueableAudioBuffer* buffer(UInt64 index) const { return this->mBufferArray[index]; }
    UInt32 framesIn(UInt64 index) const { return BAudioBufferFrameCount(&buffer(index)->mAudioBuffer); }
    bool isLast(UInt64 index) const { return BAudioBufferReachedEndOfStream(&buffer(index)->mAudioBuffer); }
    BRAQAudioBufferQueueGate& gate() { return this->mGate; }
    /// Returns when the worker has done what it was given.
    void settle() { this->waitUntilWorkerIsIdle(); }
};
using Reader = Open<BRAQAudioFileReader>;
using Writer = Open<BRAQAudioFileWriter>;

/// What the real-time side of a reader does.
inline UInt32 drain(BRAQAudioFileReader& reader, const braq::tests::FrameList& list, UInt32 frames) {
    BRAQAudioBufferQueueCopyInto(&reader, list.get(), &frames);
    return frames;
}

/// What the real-time side of a writer does, with the frames from `first` on.
inline void record(BRAQAudioFileWriter& writer, UInt64 first, UInt32 frames) {
    const braq::tests::FrameList list(channels, std::max(frames, 1U));
    braq::tests::number(list.get(), first, frames);
    BRAQAudioBufferQueueCopyFrom(&writer, list.get(), frames);
}

/// The frame that a sample of the first channel belongs to.
inline UInt64 frameOf(Float32 leftSample) { return static_cast<UInt64>(leftSample) / 8; }

/// A file that exists in memory only.
class MadeUpFile : public BRAQExtendedAudioFile {
  public:
    void writeAudioBufferList(AudioBufferList* list, UInt32* frames) override {
        if (beforeWrite) {
            beforeWrite();
        }
        const auto* const left = static_cast<const Float32*>(list->mBuffers[0].mData);
        std::transform(left, left + *frames, std::back_inserter(written), frameOf);
    }
    void readIntoAudioBufferList(AudioBufferList* list, SInt64 startFrame, UInt32* frames) override {
        if (beforeRead) {
            beforeRead();
        }
        calls.push_back("read " + std::to_string(startFrame) + " " + std::to_string(*frames));
        braq::tests::number(list, static_cast<UInt64>(position), *frames);
        position += *frames;
    }
    void seekToFrame(SInt64 frame) override {
        if (beforeSeek) {
            beforeSeek();
        }
        calls.push_back("seek " + std::to_string(frame));
        position = frame;
    }

    // Set before the worker has the file; what they throw, the call throws.
    std::function<void()> beforeWrite, beforeRead, beforeSeek;
    // Read while the worker is idle.
    std::vector<UInt64> written;
    std::vector<std::string> calls;
    SInt64 position = 0;
};

/// `first`, `first` + 1, … `last` - 1.
inline std::vector<UInt64> numbers(UInt64 first, UInt64 last) {
    std::vector<UInt64> all;
    for (UInt64 number = first; number < last; ++number) {
        all.push_back(number);
    }
    return all;
}

} // namespace streamer_test
