#pragma once

#include "platform/files/reading/LibavIo.h"

#include <memory>
#include <string>

namespace braq {

/// The name that libav has for the kind of content that begins at an offset; by the content alone, not by the file's name.
/// Empty for none.
std::string contentFormat(LocalFile& file, SInt64 offset);

/// A container as libav sees it.
class LibavContainer {
  public:
    /// Reads the headers.
    /// @param file lives longer than the container
    /// @param format libav's name of the only kind that is accepted
    /// @param blank what libav is to take for zeros
    /// @return null for what cannot be read, or holds no audio; libav has said why
    static std::unique_ptr<LibavContainer> open(LocalFile& file, const std::string& format, ByteRange blank = {});
    ~LibavContainer();
    LibavContainer(const LibavContainer&) = delete;
    LibavContainer& operator=(const LibavContainer&) = delete;

    /// The first audio stream.
    AVStream& stream() const { return *mContext->streams[mStream]; }
    const AVCodecParameters& codec() const { return *stream().codecpar; }
    /// Where in the file the first packet is, for a container of one run of samples, before any is read.
    SInt64 samplesOffset() const { return avio_tell(mContext->pb); }
    /// A text about the file; empty for none.
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
