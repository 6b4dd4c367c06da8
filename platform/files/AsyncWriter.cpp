#include "platform/files/AsyncWriter.h"

#include "BRAQAudio/platform/threads.h"

#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <utility>
#include <vector>

namespace {

/// A copy of a buffer list and of its samples.
class Copy {
  public:
    Copy(UInt32 frames, const AudioBufferList& list)
        : mFrames(frames), mList(AudioBufferListByteSize(list.mNumberBuffers)) {
        std::memcpy(mList.data(), &list, mList.size());
        for (UInt32 i = 0; i < list.mNumberBuffers; ++i) {
            const auto* from = static_cast<const std::byte*>(list.mBuffers[i].mData);
            mSamples.emplace_back(from, from + list.mBuffers[i].mDataByteSize);
            buffers().mBuffers[i].mData = mSamples.back().data();
        }
    }

    UInt32 frames() const { return mFrames; }
    AudioBufferList& buffers() { return *reinterpret_cast<AudioBufferList*>(mList.data()); }

  private:
    UInt32 mFrames;
    std::vector<std::byte> mList;
    std::vector<std::vector<std::byte>> mSamples;
};

std::size_t bytesOf(const AudioBufferList& list) {
    std::size_t bytes = 0;
    for (UInt32 i = 0; i < list.mNumberBuffers; ++i) {
        bytes += list.mBuffers[i].mDataByteSize;
    }
    return bytes;
}

} // namespace

struct braq::AsyncWriter::Shared {
    explicit Shared(FileWriter& to) : writer(to) {}

    FileWriter& writer;
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Copy> waiting;     // under the mutex, as everything below
    std::size_t waitingBytes = 0; // what is being written included
    bool isWriting = false;
    bool mustEnd = false;
    bool hasEnded = false;
    OSStatus status = 0; // of the first write that failed since it was last told
};

std::unique_ptr<braq::AsyncWriter> braq::AsyncWriter::start(FileWriter& writer) {
    auto shared = std::make_shared<Shared>(writer);
    auto argument = std::make_unique<std::shared_ptr<Shared>>(shared);
    BRAQThread thread;
    if (BRAQThreadStart(&thread, "BRAQ writer", main, argument.get()) != 0) {
        return nullptr;
    }
    static_cast<void>(argument.release()); // the thread's
    return std::unique_ptr<AsyncWriter>(new AsyncWriter(std::move(shared)));
}

braq::AsyncWriter::AsyncWriter(std::shared_ptr<Shared> shared) : mShared(std::move(shared)) {}

braq::AsyncWriter::~AsyncWriter() {
    std::unique_lock lock(mShared->mutex);
    mShared->mustEnd = true;
    mShared->changed.notify_all();
    mShared->changed.wait(lock, [this] { return mShared->hasEnded; });
}

OSStatus braq::AsyncWriter::write(UInt32 frames, const AudioBufferList& list) {
    const std::size_t bytes = bytesOf(list);
    if (bytes > capacityBytes) {
        return kExtAudioFileError_AsyncWriteTooLarge;
    }
    Copy copy(frames, list);
    const std::lock_guard lock(mShared->mutex);
    if (mShared->status != 0) {
        return std::exchange(mShared->status, 0);
    }
    if (bytes > capacityBytes - mShared->waitingBytes) {
        return kExtAudioFileError_AsyncWriteBufferOverflow;
    }
    mShared->waitingBytes += bytes;
    mShared->waiting.push_back(std::move(copy));
    mShared->changed.notify_all();
    return 0;
}

OSStatus braq::AsyncWriter::drain() {
    std::unique_lock lock(mShared->mutex);
    mShared->changed.wait(lock, [this] { return mShared->waiting.empty() && !mShared->isWriting; });
    return std::exchange(mShared->status, 0);
}

void braq::AsyncWriter::main(void* argument) {
    const std::unique_ptr<std::shared_ptr<Shared>> given(static_cast<std::shared_ptr<Shared>*>(argument));
    Shared& shared = **given;
    std::unique_lock lock(shared.mutex);
    while (true) {
        shared.changed.wait(lock, [&] { return !shared.waiting.empty() || shared.mustEnd; });
        if (shared.waiting.empty()) {
            break;
        }
        Copy copy = std::move(shared.waiting.front());
        shared.waiting.pop_front();
        shared.isWriting = true;
        lock.unlock();
        const OSStatus status = shared.writer.write(copy.frames(), copy.buffers());
        lock.lock();
        shared.isWriting = false;
        shared.waitingBytes -= bytesOf(copy.buffers());
        shared.status = shared.status == 0 ? status : shared.status;
        shared.changed.notify_all();
    }
    shared.hasEnded = true;
    shared.changed.notify_all();
}
