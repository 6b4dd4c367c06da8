#pragma once

#include "BRAQAudio/platform/files.h"

#include <memory>
#include <string>

namespace braq {

/// A regular file of this machine, open for reading at any position. One thread at a time.
class LocalFile {
  public:
    /// @return 0; -43 for what is not there; 'prm?' without permission; 'wht?' for a directory or device, none of which is
    ///         opened even for a moment, and for what the system refuses for another reason, which goes to the log
    static OSStatus open(const std::string& path, std::unique_ptr<LocalFile>& file);
    ~LocalFile();
    LocalFile(const LocalFile&) = delete;
    LocalFile& operator=(const LocalFile&) = delete;

    const std::string& path() const { return mPath; }
    /// Bytes, when it was opened.
    SInt64 size() const { return mSize; }

    /// @return bytes read: fewer than `bytes` only where the file ends, or when reading fails, which is reported
    std::size_t read(SInt64 offset, void* destination, std::size_t bytes);
    /// @return whether all bytes were read
    bool readAll(SInt64 offset, void* destination, std::size_t bytes) {
        return read(offset, destination, bytes) == bytes;
    }

    /// Logs what is wrong with the file, the first time only: one fault shows in every read that follows.
    void report(const std::string& what);

    /// Lines that libav may still log about it.
    unsigned* libavLinesLeft() { return &mLibavLinesLeft; }

  private:
    LocalFile(std::string path, int descriptor, SInt64 size)
        : mPath(std::move(path)), mDescriptor(descriptor), mSize(size) {}

    const std::string mPath;
    const int mDescriptor;
    const SInt64 mSize;
    bool mIsReported = false;
    unsigned mLibavLinesLeft = 4;
};

} // namespace braq
