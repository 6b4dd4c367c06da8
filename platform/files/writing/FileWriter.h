#pragma once

#include "BRAQAudio/platform/files.h"

#include <memory>
#include <string>

namespace braq {

/// A file being written, from planar or interleaved float at any rate. One thread at a time.
///
/// Space is reserved before frames are accepted, for the frames and for closing the file. So on a full disk the call
/// that needs more space fails, earlier frames stay complete, and writing continues when there is space again. Writing
/// can fail although space was reserved (a removed device, a copy-on-write file system). Then linear PCM is truncated
/// to where the call began; of other codings and of MPEG-4 the earlier packets stay, frames that did not fill a packet
/// yet are lost, and nothing more is accepted.
///
/// If the process is killed, WAVE, RF64, CAF and NeXT files of linear PCM, FLAC and ADTS are readable up to the last
/// call or packet; RF64 not by every program, because its header states a length of 0. AIFF and AIFC have no sizes in
/// their headers yet, MPEG-4 files and ALAC in CAF have no index: these are lost.
///
/// Memory grows with the packets of MPEG-4 files, whose index libav keeps until they are closed: about 64 bytes per
/// packet. ALAC in CAF takes 8 bytes per packet; all others take nothing.
class FileWriter {
  public:
    /// Creates the file and replaces an existing one.
    /// @return 0, or why it cannot be written, like `ExtAudioFileCreateWithURL`
    static OSStatus create(const std::string& path, AudioFileTypeID type, const AudioStreamBasicDescription& format,
                           std::unique_ptr<FileWriter>& writer);
    /// Creates a file that is written forwards, like `BRAQExtAudioFileCreateWithDescriptor`: no space is reserved, and
    /// after a failure nothing more is accepted.
    static OSStatus createForwards(int descriptor, AudioFileTypeID type, const AudioStreamBasicDescription& format,
                                   std::unique_ptr<FileWriter>& writer);
    /// Like `close`.
    virtual ~FileWriter() = default;
    FileWriter(const FileWriter&) = delete;
    FileWriter& operator=(const FileWriter&) = delete;

    virtual AudioFileTypeID fileType() const = 0;
    /// Complete: fields left open at creation have their final values.
    virtual AudioStreamBasicDescription fileFormat() const = 0;
    /// Frames written so far, at the file's rate.
    virtual SInt64 lengthFrames() const = 0;

    virtual AudioStreamBasicDescription clientFormat() const = 0;
    /// Before the first write. A file rate of 0 becomes the client's.
    /// @return 0, `kExtAudioFileError_NonPCMClientFormat`, `kExtAudioFileError_InvalidDataFormat`, or
    ///         `kExtAudioFileError_InvalidOperationOrder`
    virtual OSStatus setClientFormat(const AudioStreamBasicDescription& format) = 0;

    /// Bits per second of the coding; accepted and ignored if it has none. Before the first write.
    virtual UInt32 bitRate() const = 0;
    virtual OSStatus setBitRate(UInt32 bitRate) = 0;
    virtual AudioConverterPrimeInfo primeInfo() const = 0;

    /// Like `ExtAudioFileWrite`.
    virtual OSStatus write(UInt32 frames, const AudioBufferList& list) = 0;
    /// Drains the encoder and completes the file. Idempotent.
    virtual OSStatus close() = 0;

  protected:
    FileWriter() = default;
};

} // namespace braq
