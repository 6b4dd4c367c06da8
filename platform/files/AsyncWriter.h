#pragma once

#include "platform/files/writing/FileWriter.h"

#include <cstddef>
#include <memory>

namespace braq {

/// Writes copies of what it is given on a thread of its own, in order. One thread at a time.
class AsyncWriter {
  public:
    /// What may wait to be written.
    static constexpr std::size_t capacityBytes = std::size_t{16} * 1024 * 1024;

    /// @param writer outlives this, and is used by nobody else unless this has been drained
    /// @return null when the system has no thread to give
    static std::unique_ptr<AsyncWriter> start(FileWriter& writer);
    /// Writes what waits, and ends the thread.
    ~AsyncWriter();
    AsyncWriter(const AsyncWriter&) = delete;
    AsyncWriter& operator=(const AsyncWriter&) = delete;

    /// Queues a copy.
    /// @return 0; `kExtAudioFileError_AsyncWriteTooLarge` for more than can ever wait;
    ///         `kExtAudioFileError_AsyncWriteBufferOverflow` when too much waits; or why an earlier write failed, once
    OSStatus write(UInt32 frames, const AudioBufferList& list);

    /// Returns when nothing waits and nothing is being written.
    /// @return why a write failed, once
    OSStatus drain();

  private:
    struct Shared;
    explicit AsyncWriter(std::shared_ptr<Shared> shared);
    static void main(void* argument);

    const std::shared_ptr<Shared> mShared;
};

} // namespace braq
