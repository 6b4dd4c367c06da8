#pragma once

#include <BRAQAudio/BRAQAudio.h>

#include <atomic>
#include <memory>
#include <optional>
#include <string>

/// A new file that takes so many frames and no more, and knows how many it has.
class RecordedFile final : public BRAQExtendedAudioFile {
  public:
    /// Creates it, in the place of one that is there. Raises what the library raises.
    /// @param device that it is recorded from
    /// @param most frames at the device's rate; nothing: no end
    static std::shared_ptr<RecordedFile> create(const std::string& path, AudioFileTypeID fileType,
                                                const std::shared_ptr<BRAQAudioStreamBasicDescription>& description,
                                                const std::shared_ptr<BRAQAudioDevice>& device,
                                                std::optional<SInt64> most);

    /// In the file; any thread.
    SInt64 framesWritten() const noexcept { return mWritten; }
    /// What is beyond its frames is left out.
    void writeAudioBufferList(AudioBufferList* list, UInt32* framesWritten) override;

  private:
    using BRAQExtendedAudioFile::BRAQExtendedAudioFile;

    std::optional<SInt64> mMost; // set before anything is written
    std::atomic<SInt64> mWritten{0};
};
