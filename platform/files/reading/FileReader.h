#pragma once

#include "BRAQAudio/platform/files.h"
#include "platform/samples/ChannelPositions.h"

#include <memory>
#include <optional>
#include <string>

namespace braq {

/// A file being read, as planar or interleaved float at any rate. One thread at a time.
class FileReader {
  public:
    /// @return 0, or why it cannot be read, like `ExtAudioFileOpenURL`
    static OSStatus open(const std::string& path, std::unique_ptr<FileReader>& reader);
    virtual ~FileReader() = default;
    FileReader(const FileReader&) = delete;
    FileReader& operator=(const FileReader&) = delete;

    virtual AudioFileTypeID fileType() const = 0;
    /// Frames per packet is 0 if it varies.
    virtual AudioStreamBasicDescription fileFormat() const = 0;
    /// Length in frames at the file's rate, without priming and padding. Exact.
    virtual SInt64 lengthFrames() const = 0;
    virtual SInt64 packetCount() const = 0;
    /// Nothing if the coding has neither priming nor padding.
    virtual std::optional<AudioFilePacketTableInfo> packetTable() const = 0;
    /// First frame of a packet, counted from the first frame of the first packet; nothing for a packet that does not
    /// exist.
    virtual std::optional<SInt64> frameOfPacket(SInt64 packet) = 0;

    virtual AudioStreamBasicDescription clientFormat() const = 0;
    /// Of each channel of the client format; empty if the file does not state them.
    virtual ChannelPositions clientPositions() const = 0;
    /// Reading continues at the frame that was reached.
    /// @return 0, `kExtAudioFileError_NonPCMClientFormat` or `kExtAudioFileError_InvalidDataFormat`
    virtual OSStatus setClientFormat(const AudioStreamBasicDescription& format) = 0;

    /// Like `ExtAudioFileRead`.
    virtual OSStatus read(UInt32& frames, AudioBufferList& list) = 0;
    /// Like `ExtAudioFileSeek`. Costs nothing until the next read.
    virtual OSStatus seek(SInt64 frame) = 0;

  protected:
    FileReader() = default;
};

} // namespace braq
