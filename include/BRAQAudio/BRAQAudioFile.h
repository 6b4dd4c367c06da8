#pragma once

#include "BRAQAudio/BRAQAudioStreamBasicDescription.h"
#include "BRAQAudio/platform/files.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string>

/// One audio file, being recorded to or played from. Whatever its coding, programs see 32-bit float, not interleaved: their
/// side is the client side. `BRAQExtendedAudioFile` is the richer class, and the one that the rest of the library uses.
///
/// A platform call that fails is raised as NSException `NSXErrorExceptionName`, its error in `NSOSStatusErrorDomain`, unless
/// something else is said. An init operation raises too: it never answers a half-made object.
///
/// A recording is complete when it is closed; `BRAQExtendedAudioFile` says what is left of it if the process is killed before.
///
/// Any thread but an I/O thread; calls of several threads follow one another.
class BRAQ_EXPORT BRAQAudioFile {
  public:
    /// As the one with a URL, for a path in UTF-8.
    static std::shared_ptr<BRAQAudioFile>
    initForRecordingWithFilename(const std::string& path,
                                 const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                                 UInt32 bitrate);
    /// Creates a file, in the place of one that is there. The extension chooses its type; CAF for one that no type claims.
    /// The client has the rate of the default input device.
    /// @param streamDescription what the file holds; a null one is all zero. If the type has linear PCM, but no
    ///        little-endian linear PCM of so many bits, deliberately the object itself gets the big-endian flag.
    /// @param bitrate bits a second, see `setBitrate`
    static std::shared_ptr<BRAQAudioFile>
    initForRecordingWithFileURL(const std::shared_ptr<NSURL>& url,
                                const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                                UInt32 bitrate);
    /// As the one with a URL, for a path in UTF-8.
    static std::shared_ptr<BRAQAudioFile> initForPlaybackWithFilename(const std::string& path);
    /// Opens a file; the client has the file's rate.
    static std::shared_ptr<BRAQAudioFile> initForPlaybackWithFileURL(const std::shared_ptr<NSURL>& url);

    /// Closes the file.
    virtual ~BRAQAudioFile();
    BRAQAudioFile(const BRAQAudioFile&) = delete;
    BRAQAudioFile& operator=(const BRAQAudioFile&) = delete;

    /// The platform's file. One that is set is disposed of by this object; the one before it is not.
    ExtAudioFileRef audioFile() const noexcept { return mAudioFile; }
    void setAudioFile(ExtAudioFileRef audioFile) noexcept { mAudioFile = audioFile; }
    /// What the file was opened under, or what was set since, which moves nothing; null if there is none.
    std::shared_ptr<NSURL> url() const;
    void setUrl(const std::shared_ptr<NSURL>& url);
    /// A mark for those who read the file; the file itself reads forwards.
    bool reverse() const noexcept { return mReverse; }
    void setReverse(bool reverse) noexcept { mReverse = reverse; }

    /// Sets the client format, with the channels of the file: for recording with the rate of the default input device, for
    /// playback with that of the file.
    void setClientDataFormatForRecording();
    void setClientDataFormatForPlayback();
    /// What programs see.
    AudioStreamBasicDescription clientDataFormat() const;
    /// What the file holds.
    AudioStreamBasicDescription fileDataFormat() const;
    /// A new object for `clientDataFormat`.
    std::shared_ptr<BRAQAudioStreamBasicDescription> streamDescription() const;
    /// A new object for `fileDataFormat`.
    std::shared_ptr<BRAQAudioStreamBasicDescription> fileStreamDescription() const;

    /// Frames at the file's rate; 0 if they cannot be read.
    SInt64 frameCount() const;
    /// Milliseconds: `frameCount` at the client's rate. No number for a rate of 0.
    Float64 estimatedDuration() const;
    /// Bytes of the largest packet on the client side.
    UInt32 maxPacketSize() const;
    /// Bits a second of the file's coding.
    UInt32 bitrate() const;
    /// Sets bits a second, deliberately half as many when the client has one channel. Codings that have no bit rate take it
    /// and ignore it. Before anything is written.
    void setBitrate(UInt32 bitrate);

    /// Whether the other file is of this one's class and both have the same frame count and the same URL, which two files
    /// without a URL have not.
    bool isEqual(const BRAQAudioFile& other) const;
    friend bool operator==(const BRAQAudioFile& one, const BRAQAudioFile& other) { return one.isEqual(other); }

    /// Closes the platform's file, whatever comes of it: why it was not written is in the log. All other operations of the
    /// platform's file fail from then on.
    void closeFile() noexcept;

    // Blocks of an audio queue. A buffer is described as one that holds whole frames of all channels, although the client
    // format is not interleaved: deliberately so; it fits files of one channel, and others raise.

    /// Appends what the buffer holds.
    void writeQueueBuffer(const AudioQueueBuffer* buffer);
    /// Fills the buffer as far as the file goes.
    /// @param startFrame frame of the file, counted at its rate
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

    void setClientDataFormat(Float64 sampleRate, const AudioStreamBasicDescription& fileFormat, const char* method);

    std::atomic<ExtAudioFileRef> mAudioFile{nullptr};
    std::atomic<bool> mReverse{false};
    std::shared_ptr<NSURL> mUrl; // under mUrlMutex

    mutable std::mutex mUrlMutex;
    mutable std::recursive_mutex
        mPlatformMutex; // held while the platform's file is used: it takes one thread at a time
};
