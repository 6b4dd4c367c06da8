#pragma once

#include "BRAQAudio/platform/files.h"

#include <filesystem>
#include <memory>

namespace braq::bench {

enum class Layout { planar, interleaved };

/// A file that is open through the service, and memory for frames of it.
class OpenServiceFile {
  public:
    /// Throws std::runtime_error for what cannot be opened.
    OpenServiceFile(const std::filesystem::path& path, Layout layout, UInt32 frames);
    ~OpenServiceFile() { ExtAudioFileDispose(mFile); }
    OpenServiceFile(const OpenServiceFile&) = delete;
    OpenServiceFile& operator=(const OpenServiceFile&) = delete;

    SInt64 lengthFrames() const;
    /// Throws std::runtime_error when it cannot.
    void seek(SInt64 frame);
    /// @return frames, fewer than there is memory for at the end
    UInt32 read();

  private:
    struct ListDeleter {
        void operator()(AudioBufferList* list) const;
    };
    const UInt32 mFrames;
    ExtAudioFileRef mFile = nullptr;
    std::unique_ptr<AudioBufferList, ListDeleter> mList;
    UInt32 mBytesPerFrame = 0; // of a buffer
};

} // namespace braq::bench
