#pragma once

#include "platform/files/reading/LibavIo.h"

#include <memory>
#include <string>

namespace braq {

/// libav's name for the format of the content at an offset; by the content alone, not by the file's name. Empty for
/// none.
std::string contentFormat(LocalFile& file, SInt64 offset);

/// A container demuxed by libav.
class LibavContainer {
  public:
    /// Reads the headers.
    /// @param file must outlive the container
    /// @param format libav's name of the only format that is accepted
    /// @param blank bytes that libav reads as zeros
    /// @return null if it cannot be read or holds no audio; libav has logged why
    static std::unique_ptr<LibavContainer> open(LocalFile& file, const std::string& format, ByteRange blank = {});
    ~LibavContainer();
    LibavContainer(const LibavContainer&) = delete;
    LibavContainer& operator=(const LibavContainer&) = delete;

    /// The first audio stream.
    AVStream& stream() const { return *mContext->streams[mStream]; }
    const AVCodecParameters& codec() const { return *stream().codecpar; }
    /// Offset of the first packet in the file, for a container with a single run of samples, before anything is read.
    SInt64 samplesOffset() const { return avio_tell(mContext->pb); }
    /// A text tag of the file; empty if there is none.
    std::string metadata(const char* key) const;
    /// The next packet of the stream. @return false at the end
    bool next(AVPacket& packet);

  private:
    explicit LibavContainer(LocalFile& file) : mFile(file), mIo(file) {}
    bool openInput(const std::string& format);

    LocalFile& mFile;
    LibavIo mIo;
    AVFormatContext* mContext = nullptr;
    unsigned mStream = 0;
};

} // namespace braq
