#pragma once

#include "platform/files/libav/Libav.h"
#include "platform/files/reading/LocalFile.h"

namespace braq {

/// Bytes of a file, from the first on.
struct ByteRange {
    SInt64 first = 0;
    SInt64 bytes = 0;
};

/// Lets libav read an open file, so that it never opens one itself.
class LibavIo {
  public:
    /// @param file lives longer than this object
    /// @param start where in the file the content begins for libav
    explicit LibavIo(LocalFile& file, SInt64 start = 0);
    ~LibavIo();
    LibavIo(const LibavIo&) = delete;
    LibavIo& operator=(const LibavIo&) = delete;

    /// libav finds zeros there, whatever the file has.
    void blank(ByteRange range) { mBlank = range; }
    /// Null when there was no memory.
    AVIOContext* get() const { return mContext; }

  private:
    static int read(void* opaque, std::uint8_t* destination, int bytes);
    static std::int64_t seek(void* opaque, std::int64_t offset, int whence);

    LocalFile& mFile;
    const SInt64 mStart;
    SInt64 mPosition;
    ByteRange mBlank;
    AVIOContext* mContext;
};

} // namespace braq
