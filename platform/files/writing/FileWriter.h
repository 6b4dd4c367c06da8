#pragma once

#include "BRAQAudio/platform/files.h"

#include <memory>
#include <string>

namespace braq {

/// A file being written, from planar or interleaved float at any rate. One thread at a time.
///
/// Space is reserved before frames are taken, for what they become and for all that closing adds. So a full disk fails the
/// call that meets it, leaves what came before complete, and writing goes on when there is space again. When writing fails
/// although space was reserved (a device that goes, a file system that copies on write), linear PCM is cut back to where the
/// call began; of codings and of MPEG-4 the packets before stay, the frames that were not a full packet yet are lost, and
/// nothing more is taken.
///
/// Of a process that is killed, WAVE, RF64, CAF and NeXT files of linear PCM, FLAC and ADTS can be read up to the last call or
/// packet, an RF64 not by every program, because its header states a length of 0. AIFF and AIFC have no sizes in their headers
/// yet, and MPEG-4 files and ALAC in CAF have no index: these are lost.
///
/// Memory grows with the packets of MPEG-4 files, whose index libav keeps until they are closed: about 64 bytes a packet.
/// ALAC in CAF takes 2 bytes a packet; all others take nothing.
class FileWriter {
  public:
    /// Creates the file, or replaces the one that is there.
    /// @return 0, or why it cannot be written, as `ExtAudioFileCreateWithURL`
    static OSStatus create(const std::string& path, AudioFileTypeID type, const AudioStreamBasicDescription& format,
                           std::unique_ptr<FileWriter>& writer);
    /// As `close`.
    virtual ~FileWriter() = default;
    FileWriter(const FileWriter&) = delete;
    FileWriter& operator=(const FileWriter&) = delete;

    virtual AudioFileTypeID fileType() const = 0;
    /// Complete: what was left open when it was created has the value that was chosen.
    virtual AudioStreamBasicDescription fileFormat() const = 0;
    /// Frames of the file that were written so far, at the file's rate.
    virtual SInt64 lengthFrames() const = 0;

    virtual AudioStreamBasicDescription clientFormat() const = 0;
    /// Before the first write. A file rate of 0 becomes the client's.
    /// @return 0, `kExtAudioFileError_NonPCMClientFormat`, `kExtAudioFileError_InvalidDataFormat`, or
    ///         `kExtAudioFileError_InvalidOperationOrder`
    virtual OSStatus setClientFormat(const AudioStreamBasicDescription& format) = 0;

    /// Bits a second of the coding; accepted and ignored where it has none. Before the first write.
    virtual UInt32 bitRate() const = 0;
    virtual OSStatus setBitRate(UInt32 bitRate) = 0;
    virtual AudioConverterPrimeInfo primeInfo() const = 0;

    /// As `ExtAudioFileWrite`.
    virtual OSStatus write(UInt32 frames, const AudioBufferList& list) = 0;
    /// Writes what the coding still holds back and makes the file complete. Harmless when repeated.
    virtual OSStatus close() = 0;

  protected:
    FileWriter() = default;
};

} // namespace braq
