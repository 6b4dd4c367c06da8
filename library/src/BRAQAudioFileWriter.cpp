#include "BRAQAudio/BRAQAudioFileWriter.h"

#include "BRAQAudio/BRAQAudioBufferList.h"
#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "library/core/BSamples.h"
#include "library/src/BRAQLostStretches.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace {

using ClosedStretch = BRAQAudioBufferQueueGate::ClosedStretch;

struct FreeList {
    void operator()(AudioBufferList* list) const { std::free(list); }
};

// The file writes byte sizes into a list, so it gets its own.
std::unique_ptr<AudioBufferList, FreeList> listFrom(const AudioBufferList* list, UInt32 firstByte) {
    std::unique_ptr<AudioBufferList, FreeList> own(BRAQAudioBufferListCopy(list));
    if (own == nullptr) {
        throw std::bad_alloc();
    }
    for (UInt32 buffer = 0; buffer < own->mNumberBuffers; ++buffer) {
        own->mBuffers[buffer].mData = static_cast<std::byte*>(own->mBuffers[buffer].mData) + firstByte;
        own->mBuffers[buffer].mDataByteSize -= firstByte;
    }
    return own;
}

} // namespace

BRAQAudioFileWriter::BRAQAudioFileWriter(UInt64 bufferCount, UInt32 numFrames,
                                         const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription)
    : BRAQAudioFileStreamer(bufferCount, numFrames, streamDescription), mLost(std::make_unique<BRAQLostStretches>()) {}

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

// After a failure it goes on where it failed.
void BRAQAudioFileWriter::write(BQueueableAudioBuffer* queued) {
    BAudioBuffer* const buffer = &queued->mAudioBuffer;
    if (audioFile() == nullptr) {
        throw NSException(NSInternalInconsistencyException, "there is no file to write to");
    }
    const UInt64 end = mDeliveredBefore + BAudioBufferFrameCount(buffer);
    for (auto lost = mLost->first(); lost && lost->frame < end; lost = mLost->first()) {
        writeUntil(lost->frame, buffer);
        finish(*lost);
    }
    writeUntil(end, buffer);
    mDeliveredBefore = end;
    BAudioBufferSetEmpty(buffer);
}

void BRAQAudioFileWriter::writeUntil(UInt64 end, const BAudioBuffer* buffer) {
    if (end <= mWritten) {
        return;
    }
    const auto first = static_cast<UInt32>(mWritten - mDeliveredBefore);
    const auto list = listFrom(BAudioBufferAudioBufferList(buffer), first * mBytesPerFrame);
    auto frames = static_cast<UInt32>(end - mWritten);
    audioFile()->writeAudioBufferList(list.get(), &frames);
    mWritten = end;
}

void BRAQAudioFileWriter::finish(const BRAQLostStretch& lost) {
    const UInt64 begin = mWritten + mSilent - mSilentOfFirst;
    if (writesLostFrames()) {
        writeSilence(lost.frames - mSilentOfFirst);
    }
    mSilentOfFirst = 0;
    mLost->removeFirst();
    if (mTold) {
        mTold({begin, lost.frames});
    }
}

void BRAQAudioFileWriter::writeSilence(UInt64 frames) {
    constexpr UInt64 most = 8192;
    const auto room = static_cast<UInt32>(std::min(frames, most));
    const std::unique_ptr<AudioBufferList, void (*)(AudioBufferList*)> silence(
        BRAQAudioBufferListCreate(streamDescription()->channelsPerFrame(), mBytesPerFrame, room, false),
        BRAQAudioBufferListDestroy);
    if (silence == nullptr) {
        throw std::bad_alloc();
    }
    for (UInt32 buffer = 0; buffer < silence->mNumberBuffers; ++buffer) {
        std::memset(silence->mBuffers[buffer].mData, 0, silence->mBuffers[buffer].mDataByteSize);
    }
    for (UInt64 done = 0; done < frames;) {
        auto part = static_cast<UInt32>(std::min(frames - done, most));
        const UInt32 asked = part;
        audioFile()->writeAudioBufferList(listFrom(silence.get(), 0).get(), &part);
        done += asked;
        mSilent += asked;
        mSilentOfFirst += asked;
    }
}

void BRAQAudioFileWriter::loseFrames(const BRAQLostStretch& stretch) noexcept { mLost->add(stretch); }

void BRAQAudioFileWriter::setLostStretchBlock(std::function<void(const BRAQLostStretch& stretch)> block) {
    mTold = std::move(block);
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
    for (auto lost = mLost->first(); lost && lost->frame <= mWritten; lost = mLost->first()) {
        finish(*lost);
    }
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
