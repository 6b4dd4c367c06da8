#pragma once

#include "BRAQAudio/platform/types.h"
#include "platform/files/libav/Libav.h"

#include <memory>
#include <string>

namespace braq {

struct StreamDeleter {
    void operator()(AVIOContext* stream) const {
        av_freep(&stream->buffer);
        avio_context_free(&stream);
    }
};

/// A file being written, as a stream for libav. In a regular file space is reserved in advance, so that a full disk is
/// detected before frames are encoded, and never in the middle of a packet or an index. What is written forwards, into a
/// pipe for instance, has no such thing, and libav does not seek in it. One thread at a time.
class OutputFile {
  public:
    /// Creates the file, or empties an existing one, and reserves its first bytes. If it fails, a file created by this
    /// call is deleted.
    /// @param limit maximum size of the file in bytes
    /// @return 0, or why not, like `ExtAudioFileCreateWithURL`
    static OSStatus create(const std::string& path, UInt64 limit, UInt64 reservedBytes,
                           std::unique_ptr<OutputFile>& file);
    /// Writes forwards to a descriptor, which is duplicated.
    /// @param name for the log
    /// @return 0, or why not, like `BRAQExtAudioFileCreateWithDescriptor`
    static OSStatus writeForwards(const std::string& name, int descriptor, std::unique_ptr<OutputFile>& file);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    AVIOContext* stream() { return mStream.get(); }
    bool isForwards() const noexcept { return mIsForwards; }
    /// Size of the stream in bytes when it was last flushed.
    UInt64 size() const;

    /// Makes sure that the file can grow to `bytes`.
    /// @return 0, or a status; the reason is noted, and logged once; what was reserved before stays
    OSStatus reserve(UInt64 bytes);
    /// Passes buffered data to the system.
    /// @return 0, or a status; the reason is noted, and logged once
    OSStatus flush();

    /// After a failure: discards buffered data and truncates the file to the first `bytes`. Not of what is written
    /// forwards.
    void goBackTo(UInt64 bytes);
    /// After a failure: discards buffered data and continues behind it; the gap reads as zeros.
    void skipWhatFailed();

    /// Writes to the log that the file cannot be written. Only while the file is closed this is loud.
    void log(const std::string& reason) const;
    /// From now on, nobody may learn of a failure but from the log.
    void beginClosing() noexcept { mIsClosing = true; }
    /// Flushes, frees reserved space that was not used, and closes. Idempotent.
    /// @return 0, or a status; the reason is noted, and logged once
    OSStatus close();

  private:
    OutputFile(std::string path, int descriptor, UInt64 limit, bool isForwards = false);
    static int write(void* self, const std::uint8_t* bytes, int count);
    static std::int64_t seek(void* self, std::int64_t offset, int whence);
    ssize_t writeSome(const std::uint8_t* bytes, std::size_t count) const;
    int writeBytes(const std::uint8_t* bytes, std::size_t count);
    int reserveOnce(UInt64 bytes);
    int fillWithZeros(UInt64 bytes) const;
    void clearStream();
    OSStatus fail(int reason);

    const std::string mPath;
    int mDescriptor; // -1: closed
    const UInt64 mLimit;
    const bool mIsForwards;
    std::unique_ptr<AVIOContext, StreamDeleter> mStream;
    UInt64 mPosition = 0;
    UInt64 mSize = 0;
    UInt64 mReserved = 0;   // bytes from the start that the system has reserved
    bool mDiscards = false; // the stream is being cleared
    int mReasonLogged = 0;  // of the failures since the last success
    bool mIsClosing = false;
};

} // namespace braq
