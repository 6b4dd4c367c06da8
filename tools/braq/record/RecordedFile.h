#pragma once

#include <BRAQAudio/BRAQAudio.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

/// A new file that accepts a limited number of frames, and counts them.
class RecordedFile final : public BRAQExtendedAudioFile {
  public:
    /// Creates the file and replaces an existing one. Raises what the library raises.
    /// @param device the recorded device
    /// @param most frames at the device's rate; nothing: unlimited
    static std::shared_ptr<RecordedFile> create(const std::string& path, AudioFileTypeID fileType,
                                                const std::shared_ptr<BRAQAudioStreamBasicDescription>& description,
                                                const std::shared_ptr<BRAQAudioDevice>& device,
                                                std::optional<SInt64> most);
    /// The same on the standard output, forwards.
    static std::shared_ptr<RecordedFile>
    createOnOutput(AudioFileTypeID fileType, const std::shared_ptr<BRAQAudioStreamBasicDescription>& description,
                   const std::shared_ptr<BRAQAudioDevice>& device, std::optional<SInt64> most);

    /// Frames in the file; any thread.
    SInt64 framesWritten() const noexcept { return mWritten; }
    /// Why a write has failed, which also wakes the main queue's thread; null if none has. Any thread.
    std::shared_ptr<NSError> failure() const;
    /// Drops frames beyond the limit.
    void writeAudioBufferList(AudioBufferList* list, UInt32* framesWritten) override;

  private:
    using BRAQExtendedAudioFile::BRAQExtendedAudioFile;

    bool mIsOutput = false;      // set before anything is written
    std::optional<SInt64> mMost; // set before anything is written
    std::atomic<SInt64> mWritten{0};
    mutable std::mutex mFailureMutex;
    std::shared_ptr<NSError> mFailure; // under mFailureMutex
};
