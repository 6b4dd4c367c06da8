#pragma once

#include "platform/files/libav/Libav.h"
#include "platform/files/reading/LocalFile.h"

namespace braq {

/// A range of bytes of a file.
struct ByteRange {
    SInt64 first = 0;
    SInt64 bytes = 0;
};

/// Lets libav read an open file, so that it never opens files itself.
class LibavIo {
  public:
    /// @param file must outlive this object
    /// @param start offset in the file at which libav's content begins
    explicit LibavIo(LocalFile& file, SInt64 start = 0);
    ~LibavIo();
    LibavIo(const LibavIo&) = delete;
    LibavIo& operator=(const LibavIo&) = delete;

    /// libav reads zeros there, whatever the file contains.
    void blank(ByteRange range) { mBlank = range; }
    /// Null if out of memory.
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
