#pragma once

#include "BRAQAudio/BRAQAudioBufferQueue.h"
#include "BRAQAudio/BRAQExtendedAudioFile.h"

#include <atomic>
#include <memory>
#include <mutex>

/// A ring whose worker moves frames from or to a file, so that an I/O thread never touches the file. A reader and a writer
/// derive from it.
///
/// The real-time side uses the ring's functions. All other operations are called on any thread but the I/O thread and the
/// worker's own, also while the real-time side runs. What went wrong on the worker is `lastError`; `errorCount` counts
/// underruns of a reader and overruns of a writer since it was started.
class BRAQ_EXPORT BRAQAudioFileStreamer : public BRAQAudioBufferQueue {
  public:
    /// As that of the ring.
    static std::shared_ptr<BRAQAudioFileStreamer>
    initWithBufferCount(UInt64 bufferCount, UInt32 numFrames,
                        const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription);
    ~BRAQAudioFileStreamer() override;

    /// Null until it is set. A buffer that is being processed goes on with the file before.
    std::shared_ptr<BRAQExtendedAudioFile> audioFile() const;
    void setAudioFile(const std::shared_ptr<BRAQExtendedAudioFile>& audioFile);
    /// Whether it was started and not stopped since. Any thread.
    bool running() const noexcept { return mRunning; }

    /// Derived classes replace both; here they fail an assertion.
    virtual void start();
    virtual void stop();

  protected:
    using BRAQAudioBufferQueue::BRAQAudioBufferQueue;

    std::shared_ptr<BRAQExtendedAudioFile> mAudioFile; // under mAudioFileMutex
    std::atomic<bool> mRunning{false};

  private:
    mutable std::mutex mAudioFileMutex;
};
