#pragma once

#include "BRAQAudio/BRAQAudioStreamBasicDescription.h"
#include "BRAQAudio/BRAQPublishedAnswer.h"
#include "BRAQAudio/platform/files.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

/// @addtogroup files
/// @{

/// One audio file, open for recording or for playback. Whatever the file's coding, programs exchange 32-bit float, not
/// interleaved, with it: the client format. `BRAQExtendedAudioFile` does more and is the class that the rest of the
/// library uses.
///
/// A failed platform call raises NSException `NSXErrorExceptionName` with an error of `NSOSStatusErrorDomain`, unless
/// stated otherwise. Init operations raise too; they never return a half-made object.
///
/// A recording is complete when it is closed. `BRAQExtendedAudioFile` says what is left if the process is killed before
/// that.
///
/// Any thread but an I/O thread. Reads, writes and changes from several threads are serialised. Properties do not wait
/// for them: while one is in progress, a property that was read before has the value that it had.
class BRAQ_EXPORT BRAQAudioFile {
  public:
    /// Like the one with a URL, for a UTF-8 path.
    static std::shared_ptr<BRAQAudioFile>
    initForRecordingWithFilename(const std::string& path,
                                 const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                                 UInt32 bitrate);
    /// Creates a file and replaces an existing one. The extension selects the file type; CAF if no type has that
    /// extension. The client rate is that of the default input device.
    /// @param streamDescription format of the file; null means all zero. If the file type holds linear PCM, but not
    ///        little-endian linear PCM of that many bits, this object itself is deliberately changed to big-endian.
    /// @param bitrate bits per second, see `setBitrate`
    static std::shared_ptr<BRAQAudioFile>
    initForRecordingWithFileURL(const std::shared_ptr<NSURL>& url,
                                const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                                UInt32 bitrate);
    /// Like the one with a URL, for a UTF-8 path.
    static std::shared_ptr<BRAQAudioFile> initForPlaybackWithFilename(const std::string& path);
    /// Opens a file. The client rate is the file's.
    static std::shared_ptr<BRAQAudioFile> initForPlaybackWithFileURL(const std::shared_ptr<NSURL>& url);

    /// Closes the file.
    virtual ~BRAQAudioFile();
    BRAQAudioFile(const BRAQAudioFile&) = delete;
    BRAQAudioFile& operator=(const BRAQAudioFile&) = delete;

    /// The platform's file. This object disposes of a file that is set, but not of the one that it replaces.
    ExtAudioFileRef audioFile() const noexcept { return mAudioFile; }
    void setAudioFile(ExtAudioFileRef audioFile) noexcept;
    /// The URL that the file was opened with, or the one set since, which moves nothing. Null if there is none.
    std::shared_ptr<NSURL> url() const;
    void setUrl(const std::shared_ptr<NSURL>& url);
    /// A flag for readers of the file. This class always reads forwards.
    bool reverse() const noexcept { return mReverse; }
    void setReverse(bool reverse) noexcept { mReverse = reverse; }

    /// Sets the client format: the file's channels at the rate of the default input device (recording) or of the file
    /// (playback).
    void setClientDataFormatForRecording();
    void setClientDataFormatForPlayback();
    /// The format that programs exchange with this object.
    AudioStreamBasicDescription clientDataFormat() const;
    /// The format in the file.
    AudioStreamBasicDescription fileDataFormat() const;
    /// `clientDataFormat` as a new object.
    std::shared_ptr<BRAQAudioStreamBasicDescription> streamDescription() const;
    /// `fileDataFormat` as a new object.
    std::shared_ptr<BRAQAudioStreamBasicDescription> fileStreamDescription() const;

    /// Length in frames at the file's rate; 0 if it cannot be read.
    SInt64 frameCount() const;
    /// Length in milliseconds: `frameCount` at the client rate. NaN if that rate is 0.
    Float64 estimatedDuration() const;
    /// Bytes of the largest packet in the client format.
    UInt32 maxPacketSize() const;
    /// Bits per second of the file's coding.
    UInt32 bitrate() const;
    /// Sets bits per second; deliberately half of it if the client has one channel. Codings without a bit rate accept
    /// and ignore it. Call it before anything is written.
    void setBitrate(UInt32 bitrate);

    /// Whether the other file has the same class, frame count and URL. Two files without a URL are not equal.
    bool isEqual(const BRAQAudioFile& other) const;
    friend bool operator==(const BRAQAudioFile& one, const BRAQAudioFile& other) { return one.isEqual(other); }

    /// Closes the platform's file, even if that fails; the log says what could not be written. Afterwards every
    /// operation on the platform's file fails.
    void closeFile() noexcept;

    // Buffers of an audio queue. A buffer is described as holding whole frames of all channels, although the client
    // format is not interleaved. This is deliberate: it fits files of one channel; others raise.

    /// Appends the frames in the buffer.
    void writeQueueBuffer(const AudioQueueBuffer* buffer);
    /// Reads frames into the buffer until it is full or the file ends.
    /// @param startFrame frame of the file, at the file's rate
    /// @param framesRead out: frames in the buffer, fewer at the end of the file and 0 beyond it
    void readIntoQueueBuffer(AudioQueueBuffer* buffer, SInt64 startFrame, UInt32* framesRead);

  protected:
    /// As `initForRecordingWithFileURL`.
    BRAQAudioFile(const std::shared_ptr<NSURL>& url,
                  const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription, UInt32 bitrate);
    /// As `initForPlaybackWithFileURL`.
    explicit BRAQAudioFile(const std::shared_ptr<NSURL>& url);

  private:
    explicit BRAQAudioFile(std::shared_ptr<NSURL> url, std::nullptr_t noFile);

    void forgetAnswers();
    void setClientDataFormat(Float64 sampleRate, const AudioStreamBasicDescription& fileFormat, const char* method);

    std::atomic<ExtAudioFileRef> mAudioFile{nullptr};
    std::atomic<bool> mReverse{false};
    std::shared_ptr<NSURL> mUrl; // under mUrlMutex

    mutable std::mutex mUrlMutex;
    mutable std::recursive_mutex mPlatformMutex; // held while the platform's file is used, which is not thread-safe
    mutable BRAQPublishedAnswer<AudioStreamBasicDescription> mClientDataFormat;
    mutable BRAQPublishedAnswer<AudioStreamBasicDescription> mFileDataFormat;
    mutable BRAQPublishedAnswer<SInt64> mFrameCount;
    mutable BRAQPublishedAnswer<UInt32> mMaxPacketSize;
    mutable BRAQPublishedAnswer<UInt32> mBitrate;
};

/// @}
