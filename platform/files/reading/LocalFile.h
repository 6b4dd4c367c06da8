#pragma once

#include "BRAQAudio/platform/files.h"

#include <memory>
#include <string>

namespace braq {

/// A local regular file, open for reading at any position. One thread at a time.
class LocalFile {
  public:
    /// @return 0; -43 if it does not exist; 'prm?' without permission; 'wht?' for a directory or device, which is not
    ///        even opened briefly, and for any other refusal of the system; the reason is noted
    static OSStatus open(const std::string& path, std::unique_ptr<LocalFile>& file);
    ~LocalFile();
    LocalFile(const LocalFile&) = delete;
    LocalFile& operator=(const LocalFile&) = delete;

    const std::string& path() const { return mPath; }
    /// Size in bytes when the file was opened.
    SInt64 size() const { return mSize; }

    /// @return bytes read; fewer than `bytes` only at the end of the file, or if reading fails, which is reported
    std::size_t read(SInt64 offset, void* destination, std::size_t bytes);
    /// @return whether all bytes were read
    bool readAll(SInt64 offset, void* destination, std::size_t bytes) {
        return read(offset, destination, bytes) == bytes;
    }

    /// Logs a fault of the file, only the first time: one fault shows in every later read.
    void report(const std::string& what);

    /// Lines that libav may still log about the file.
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
