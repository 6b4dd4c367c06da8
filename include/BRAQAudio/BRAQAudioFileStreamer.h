#pragma once

#include "BRAQAudio/BRAQAudioBufferQueue.h"
#include "BRAQAudio/BRAQExtendedAudioFile.h"

#include <atomic>
#include <memory>
#include <mutex>

/// @addtogroup files
/// @{

/// A ring whose worker moves frames from or to a file, so that an I/O thread never touches the file. Base of the reader
/// and the writer.
///
/// The real-time side uses the ring's functions. All other operations may be called on any thread but the I/O thread
/// and the worker's own, also while the real-time side runs. `lastError` is the last failure on the worker.
/// `errorCount` counts underruns of a reader, or overruns of a writer, since the start.
class BRAQ_EXPORT BRAQAudioFileStreamer : public BRAQAudioBufferQueue {
  public:
    /// Like that of `BRAQAudioBufferQueue`.
    static std::shared_ptr<BRAQAudioFileStreamer>
    initWithBufferCount(UInt64 bufferCount, UInt32 numFrames,
                        const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription);
    ~BRAQAudioFileStreamer() override;

    /// Null until it is set. A buffer being processed finishes with the previous file.
    std::shared_ptr<BRAQExtendedAudioFile> audioFile() const;
    void setAudioFile(const std::shared_ptr<BRAQExtendedAudioFile>& audioFile);
    /// Whether it was started and not stopped since. Any thread.
    bool running() const noexcept { return mRunning; }

    /// Derived classes override both. Here they fail an assertion.
    virtual void start();
    virtual void stop();

  protected:
    using BRAQAudioBufferQueue::BRAQAudioBufferQueue;

    std::shared_ptr<BRAQExtendedAudioFile> mAudioFile; // under mAudioFileMutex
    std::atomic<bool> mRunning{false};

  private:
    mutable std::mutex mAudioFileMutex;
};

/// @}
