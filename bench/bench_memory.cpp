// What a ring takes of the heap and of the address space, and what it allocates while it runs.

#include "BRAQAudio/BRAQAudioBufferList.h"
#include "BRAQAudio/BRAQAudioBufferQueue.h"
#include "bench/CountedHeap.h"

#include <benchmark/benchmark.h>

#include <pthread.h>

#include <atomic>
#include <memory>

namespace {

using braq::bench::heapBytes;
using braq::bench::HeapUse;
using braq::bench::heapUseOfThisThread;

constexpr UInt64 buffers = 3;
constexpr UInt32 frames = 4096;
constexpr UInt32 channels = 2;
constexpr std::size_t sampleBytes = buffers * frames * channels * sizeof(Float32);

std::size_t stackBytesOfThisThread() {
    pthread_attr_t attributes;
    std::size_t bytes = 0;
    if (pthread_getattr_np(pthread_self(), &attributes) == 0) {
        pthread_attr_getstacksize(&attributes, &bytes);
        pthread_attr_destroy(&attributes);
    }
    return bytes;
}

/// A player's ring whose worker refills buffers by setting positions, and notes about itself what is asked for here.
class Ring : public BRAQAudioBufferQueue {
  public:
    Ring() : BRAQAudioBufferQueue(buffers, frames, stereo()) {}
    ~Ring() override { teardownWorkerThread(); }

    void processBuffer(BQueueableAudioBuffer* buffer) override {
        BAudioBufferSetStartFrame(&buffer->mAudioBuffer, 0);
        BAudioBufferSetEndFrame(&buffer->mAudioBuffer, frames);
        mProcessingThread = pthread_self();
        mHeapUse = &heapUseOfThisThread();
        ++mProcessed;
        if (mStackWanted) {
            mStackWanted = false;
            mStackBytes = stackBytesOfThisThread();
        }
    }

    /// Drains one buffer and waits until the worker has refilled it. @return whether all its frames were delivered
    bool drainBuffer(AudioBufferList* destination) {
        UInt32 delivered = frames;
        BRAQAudioBufferQueueCopyInto(this, destination, &delivered);
        BAudioBufferQueueWorkerWaitUntilIdle(mQueueWorker); // nobody else adds buffers
        return delivered == frames;
    }

    /// Stack of the worker's thread. Drains a buffer.
    std::size_t workerStackBytes(AudioBufferList* destination) {
        mStackWanted = true;
        drainBuffer(destination);
        return pthread_equal(mProcessingThread, pthread_self()) ? 0 : mStackBytes;
    }

    /// Of the thread that processed the last buffer.
    const HeapUse& heapUseOfWorker() const { return *mHeapUse; }
    UInt64 processed() const { return mProcessed; }

  private:
    static std::shared_ptr<BRAQAudioStreamBasicDescription> stereo() {
        auto description = BRAQAudioStreamBasicDescription::nativeStreamDescription();
        description->setIsInterleaved(false);
        return description;
    }

    // Written by the worker, read while it is idle.
    pthread_t mProcessingThread{};
    const HeapUse* mHeapUse = nullptr;
    UInt64 mProcessed = 0;
    bool mStackWanted = false;
    std::size_t mStackBytes = 0;
};

void ring(benchmark::State& state) {
    const auto first = std::make_shared<Ring>(); // what the process gets once is not the second ring's
    for ([[maybe_unused]] auto iteration : state) {
        const std::size_t before = heapBytes();
        const auto second = std::make_shared<Ring>();
        second->prime();
        const std::size_t bytes = heapBytes() - before;
        state.counters["sample bytes"] = static_cast<double>(sampleBytes);
        state.counters["bytes besides samples"] = static_cast<double>(bytes) - static_cast<double>(sampleBytes);

        AudioBufferList* const destination = BRAQAudioBufferListCreate(channels, sizeof(Float32), frames, false);
        state.counters["stack bytes"] = static_cast<double>(second->workerStackBytes(destination));
        BRAQAudioBufferListDestroy(destination);
    }
}

void running(benchmark::State& state) {
    constexpr int passes = 1000;
    Ring ring;
    ring.prime();
    AudioBufferList* const destination = BRAQAudioBufferListCreate(channels, sizeof(Float32), frames, false);
    bool delivered = ring.drainBuffer(destination); // the worker's first
    for ([[maybe_unused]] auto iteration : state) {
        const HeapUse mine = heapUseOfThisThread();
        const HeapUse workers = ring.heapUseOfWorker();
        const UInt64 processed = ring.processed();
        for (int pass = 0; pass < passes; ++pass) {
            delivered = ring.drainBuffer(destination) && delivered;
        }
        const HeapUse& mineAfter = heapUseOfThisThread();
        const HeapUse& workersAfter = ring.heapUseOfWorker();
        const auto calls = [](const HeapUse& before, const HeapUse& after) {
            return static_cast<double>(after.allocations + after.frees - before.allocations - before.frees) / passes;
        };
        state.counters["I/O thread, heap calls"] = calls(mine, mineAfter);
        state.counters["worker, heap calls"] = calls(workers, workersAfter);
        delivered = delivered && ring.processed() - processed == passes;
    }
    BRAQAudioBufferListDestroy(destination);
    if (!delivered || ring.errorCount() != 0) {
        state.SkipWithError("a pass did not drain and refill a whole buffer");
    }
}

BENCHMARK(ring)->Iterations(1);
BENCHMARK(running)->Iterations(1);

} // namespace
