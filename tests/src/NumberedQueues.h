#pragma once

#include "BRAQAudio/BRAQAudioBufferQueue.h"
#include "tests/support/FrameLists.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

// Queues over streams whose every sample tells its frame and channel, with their insides open to tests.
namespace queue_test {

constexpr UInt32 channels = 2;

inline std::shared_ptr<BRAQAudioStreamBasicDescription> planarStereo() {
    auto description = BRAQAudioStreamBasicDescription::nativeStreamDescription();
    description->setIsInterleaved(false);
    return description;
}

class OpenQueue : public BRAQAudioBufferQueue {
  public:
    UInt64 currentIndex() const { return mCurrentBuffer; }
    BQueueableAudioBuffer* buffer(UInt64 index) const { return mBufferArray[index]; }
    bool inProgress(UInt64 index) const { return BQueueableAudioBufferInProgress(buffer(index)); }
    BAudioBufferQueueWorker* worker() const { return mQueueWorker; }
    BRAQAudioBufferQueueGate& gate() { return mGate; }
    using BRAQAudioBufferQueue::waitUntilWorkerIsIdle;

  protected:
    using BRAQAudioBufferQueue::BRAQAudioBufferQueue;

    /// Runs a fill or a write and fails the test if another one is under way.
    template <class Body>
    void processAlone(Body body) {
        const std::unique_lock alone(mProcessing, std::try_to_lock);
        EXPECT_TRUE(alone) << "two buffers are processed at once";
        body();
    }

  private:
    std::mutex mProcessing;
};

/// Plays frames 0, 1, 2, … up to an end.
class Reader : public OpenQueue {
  public:
    static constexpr UInt64 noEnd = ~UInt64{0};

    Reader(UInt64 bufferCount, UInt32 frames, UInt64 endFrame = noEnd)
        : OpenQueue(bufferCount, frames, planarStereo()), mEndFrame(endFrame) {}
    ~Reader() override { teardownWorkerThread(); }

    void processBuffer(BQueueableAudioBuffer* queued) override {
        processAlone([&] {
            if (beforeFill) {
                beforeFill(queued);
            }
            fillFromPosition(&queued->mAudioBuffer);
            ++fills;
        });
    }

    /// Moves the stream to `frame`, also while it plays.
    void seek(UInt64 frame) {
        const BRAQAudioBufferQueueGate::ClosedStretch closed(mGate);
        waitUntilWorkerIsIdle();
        mPosition = frame;
        prime();
    }

    std::function<void(BQueueableAudioBuffer*)> beforeFill; // set before the first buffer is handed over
    std::atomic<int> fills{0};

  private:
    void fillFromPosition(BAudioBuffer* buffer) {
        const auto frames = static_cast<UInt32>(std::min<UInt64>(mBufferSizeFrames, mEndFrame - mPosition));
        BAudioBufferSetEmpty(buffer);
        braq::tests::number(BAudioBufferAudioBufferList(buffer), mPosition, frames);
        BAudioBufferSetEndFrame(buffer, frames);
        mPosition += frames;
        BAudioBufferSetReachedEndOfStream(buffer, mPosition == mEndFrame ? 1 : 0);
    }

    UInt64 mPosition = 0;
    const UInt64 mEndFrame;
};

/// Records the first channel's samples, having checked that the second goes with them.
class Writer : public OpenQueue {
  public:
    Writer(UInt64 bufferCount, UInt32 frames) : OpenQueue(bufferCount, frames, planarStereo()) {}
    ~Writer() override { teardownWorkerThread(); }

    void processBuffer(BQueueableAudioBuffer* queued) override {
        processAlone([&] {
            if (beforeWrite) {
                beforeWrite(queued);
            }
            BAudioBuffer* const buffer = &queued->mAudioBuffer;
            const AudioBufferList* const list = BAudioBufferAudioBufferList(buffer);
            const auto* const left = static_cast<const Float32*>(list->mBuffers[0].mData);
            const auto* const right = static_cast<const Float32*>(list->mBuffers[1].mData);
            for (UInt32 frame = BAudioBufferStartFrame(buffer); frame < BAudioBufferEndFrame(buffer); ++frame) {
                EXPECT_EQ(right[frame], left[frame] + 1) << "a torn frame";
                written.push_back(left[frame]);
            }
            BAudioBufferSetEmpty(buffer);
            ++writes;
        });
    }

    std::atomic<int> writes{0};
    std::function<void(BQueueableAudioBuffer*)> beforeWrite; // set before the first buffer is handed over
    std::vector<Float32> written;                            // read when the worker is idle
};

} // namespace queue_test
