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

/// A regular file being written, as a stream of libav. Space is reserved before it is needed, so that a full disk is met
/// before frames are coded, and never halfway through a packet or an index. One thread at a time.
class OutputFile {
  public:
    /// Creates the file, or empties the one that is there, and reserves its first bytes; a file that this call made does not
    /// stay when it fails.
    /// @param limit bytes that the file may have
    /// @return 0, or why not, as `ExtAudioFileCreateWithURL`
    static OSStatus create(const std::string& path, UInt64 limit, UInt64 reservedBytes,
                           std::unique_ptr<OutputFile>& file);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    AVIOContext* stream() { return mStream.get(); }
    /// Bytes from the start to the end of what the stream was given, when it was flushed.
    UInt64 size() const;

    /// Makes sure that the file can grow to `bytes`.
    /// @return 0, or a status after the reason was logged; what is reserved already stays
    OSStatus reserve(UInt64 bytes);
    /// Hands what the stream still holds to the system.
    /// @return 0, or a status after the reason was logged
    OSStatus flush();

    /// After a failure: forgets what the stream holds, and goes on behind the first `bytes`; what follows them goes.
    void goBackTo(UInt64 bytes);
    /// After a failure: forgets what the stream holds, and goes on where that would have ended; what is missing reads as
    /// zeros.
    void skipWhatFailed();

    /// Flushes, gives back what is reserved and not used, and closes. Harmless when repeated.
    /// @return 0, or a status after the reason was logged
    OSStatus close();

  private:
    OutputFile(std::string path, int descriptor, UInt64 limit);
    static int write(void* self, const std::uint8_t* bytes, int count);
    static std::int64_t seek(void* self, std::int64_t offset, int whence);
    int writeBytes(const std::uint8_t* bytes, std::size_t count);
    int reserveOnce(UInt64 bytes);
    int fillWithZeros(UInt64 bytes) const;
    void clearStream();
    OSStatus fail(int reason);

    const std::string mPath;
    int mDescriptor; // -1: closed
    const UInt64 mLimit;
    std::unique_ptr<AVIOContext, StreamDeleter> mStream;
    UInt64 mPosition = 0;
    UInt64 mSize = 0;
    UInt64 mReserved = 0;   // bytes from the start that the system has promised
    bool mDiscards = false; // the stream is being cleared
    int mReasonLogged = 0;  // of the failures since the last success
};

} // namespace braq
