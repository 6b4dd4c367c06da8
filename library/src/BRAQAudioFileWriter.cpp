#include "BRAQAudio/BRAQAudioFileWriter.h"

#include "BRAQAudio/BRAQAudioBufferList.h"
#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "library/core/BSamples.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

using ClosedStretch = BRAQAudioBufferQueueGate::ClosedStretch;

} // namespace

std::shared_ptr<BRAQAudioFileWriter> BRAQAudioFileWriter::initWithBufferCount(
    UInt64 bufferCount, UInt32 numFrames,
    const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription) try {
    return std::shared_ptr<BRAQAudioFileWriter>(new BRAQAudioFileWriter(bufferCount, numFrames, streamDescription));
} catch (const std::exception& failure) {
    NSXLogError("src/BRAQAudioFileWriter", failure.what());
    return nullptr;
}

BRAQAudioFileWriter::~BRAQAudioFileWriter() { teardownWorkerThread(); }

void BRAQAudioFileWriter::processBuffer(BQueueableAudioBuffer* buffer) {
    if (mUnwritten != nullptr && mUnwritten != buffer) {
        std::rethrow_exception(mWhyUnwritten); // its frames come first
    }
    try {
        write(buffer);
    } catch (...) {
        mUnwritten = buffer;
        mWhyUnwritten = std::current_exception();
        throw;
    }
    mUnwritten = nullptr;
    mWhyUnwritten = nullptr;
}

void BRAQAudioFileWriter::write(BQueueableAudioBuffer* queued) {
    BAudioBuffer* const buffer = &queued->mAudioBuffer;
    const auto file = audioFile();
    if (file == nullptr) {
        throw NSException(NSInternalInconsistencyException, "there is no file to write to");
    }
    // The file writes byte sizes into the list, so it gets its own list.
    const std::unique_ptr<AudioBufferList, decltype(&std::free)> list(
        BRAQAudioBufferListCopy(BAudioBufferAudioBufferList(buffer)), &std::free);
    if (list == nullptr) {
        throw std::bad_alloc();
    }
    UInt32 frames = BAudioBufferFrameCount(buffer);
    file->writeAudioBufferList(list.get(), &frames);
    BAudioBufferSetEmpty(buffer);
}

void BRAQAudioFileWriter::start() {
    const ClosedStretch closed(mGate);
    mErrorCount.store(0, std::memory_order_relaxed);
    mRunning = true;
}

void BRAQAudioFileWriter::stop() {
    const ClosedStretch closed(mGate);
    waitUntilWorkerIsIdle();
    writeWhatIsLeft();
    mRunning = false;
}

// With an idle worker this is the partly filled current buffer, and rarely more: buffers that could not be written, and
// those that were pending when the worker was torn down.
void BRAQAudioFileWriter::writeWhatIsLeft() {
    const UInt64 oldest = oldestBuffer();
    for (UInt64 i = 0; i < mNumberBuffers; ++i) {
        BQueueableAudioBuffer* const buffer = mBufferArray[(oldest + i) % mNumberBuffers];
        if (BAudioBufferFrameCount(&buffer->mAudioBuffer) != 0) {
            processBuffer(buffer);
        }
        BQueueableAudioBufferSetInProgress(buffer, false);
    }
}

UInt64 BRAQAudioFileWriter::oldestBuffer() const {
    if (mUnwritten != nullptr) {
        const auto* const buffers = mBufferArray.get();
        return static_cast<UInt64>(std::find(buffers, buffers + mNumberBuffers, mUnwritten) - buffers);
    }
    // The real-time side fills the newest buffer, unless it is at one that was left behind, or at one that came round
    // unwritten.
    const UInt64 current = mCurrentBuffer.load(std::memory_order_relaxed);
    return BQueueableAudioBufferInProgress(currentBuffer()) || isFull(currentBuffer()) ? current : current + 1;
}

bool BRAQAudioFileWriter::isFull(const BQueueableAudioBuffer* queued) const {
    const BAudioBuffer* const buffer = &queued->mAudioBuffer;
    return BAudioBufferFrameCount(buffer) >= braq::capacityInFrames(buffer->mByteSize, mBytesPerFrame);
}
