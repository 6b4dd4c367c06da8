#pragma once

#include "BRAQAudio/BRAQAudioDevice.h"
#include "BRAQAudio/BRAQAudioStreamBasicDescription.h"
#include "BRAQAudio/BRAQPublishedAnswer.h"
#include "BRAQAudio/platform/files.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <variant>
#include <vector>

/// @addtogroup files
/// @{

/// Option keys for the format and the sample rate that a file is read in.
extern "C" BRAQ_EXPORT const char kBRAQExtendedAudioFileClientDataFormatKey[];
extern "C" BRAQ_EXPORT const char kBRAQExtendedAudioFileClientSampleRateKey[];

/// The format that a file is read in, if not the file's own channels and rate.
struct BRAQExtendedAudioFileOptions {
    /// Its channels and rate are used, unless `clientSampleRate` is given. Null: no preference.
    std::shared_ptr<BRAQAudioStreamBasicDescription> clientDataFormat = nullptr;
    /// Frames per second, with the file's channels. 0.0: no preference.
    Float64 clientSampleRate = 0.0;
};

/// A description or a number.
using BRAQExtendedAudioFileOptionValue =
    std::variant<std::shared_ptr<BRAQAudioStreamBasicDescription>, Float64, std::int64_t>;
/// Options by key; unknown keys are ignored. A value of the wrong type raises NSException `NSInvalidArgumentException`.
using BRAQExtendedAudioFileOptionDictionary = std::map<std::string, BRAQExtendedAudioFileOptionValue>;

/// One audio file, open for recording or for playback, in the format that its user works in: 32-bit float, not
/// interleaved, at any rate. This is the client format. Frames are counted at its rate unless stated otherwise.
///
/// A failed platform call raises NSException `NSXErrorExceptionName` with an error of `NSOSStatusErrorDomain`, unless
/// stated otherwise. The init operations for playback do not raise for it: they return null and the error.
///
/// A recording is complete when it is closed. If the process is killed before that, linear PCM in WAVE, RF64, CAF and
/// NeXT files is readable up to the last call that returned, and FLAC and ADTS files lack only the last packets. MPEG-4
/// and M4A files and ALAC in CAF have no index yet, AIFF and AIFC files state no sizes yet; none of these can be read.
/// While an MPEG-4 or M4A file is written, its index is kept in memory: about 64 bytes per packet, 10 MB per hour of
/// AAC.
///
/// Any thread but an I/O thread. Reads, seeks, writes and changes from several threads are serialised. Properties do
/// not wait for them: while one is in progress, a property that was read before has the value that it had. Formats of a
/// file opened for playback are always known. One thread at a time writes frames.
class BRAQ_EXPORT BRAQExtendedAudioFile {
  public:
    using Options = BRAQExtendedAudioFileOptions;
    using OptionDictionary = BRAQExtendedAudioFileOptionDictionary;

    /// Like the one with a URL, for a UTF-8 path.
    static std::shared_ptr<BRAQExtendedAudioFile>
    initForRecordingWithFilename(const std::string& path,
                                 const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                                 UInt32 bitrate, const std::shared_ptr<BRAQAudioDevice>& audioDevice);
    /// Creates a file and replaces an existing one: an M4A file for 'alac', an MPEG-4 file for any other coding, linear
    /// PCM included, whatever the name's extension. Raises.
    /// @param streamDescription format of the file; null means all zero. If the file type holds linear PCM, but not
    ///        little-endian linear PCM of that many bits, this object itself is deliberately changed to big-endian.
    /// @param bitrate bits per second, see `setBitrate`; 0 leaves it to the coding
    /// @param audioDevice its recording rate becomes the client rate; null: the file's rate
    static std::shared_ptr<BRAQExtendedAudioFile>
    initForRecordingWithFileURL(const std::shared_ptr<NSURL>& url,
                                const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                                UInt32 bitrate, const std::shared_ptr<BRAQAudioDevice>& audioDevice);
    /// Like those above, with a file type of the caller's choice, such as `kAudioFileWAVEType`. Raises.
    static std::shared_ptr<BRAQExtendedAudioFile>
    initForRecordingWithFilename(const std::string& path, AudioFileTypeID fileType,
                                 const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                                 UInt32 bitrate, const std::shared_ptr<BRAQAudioDevice>& audioDevice);
    static std::shared_ptr<BRAQExtendedAudioFile>
    initForRecordingWithFileURL(const std::shared_ptr<NSURL>& url, AudioFileTypeID fileType,
                                const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                                UInt32 bitrate, const std::shared_ptr<BRAQAudioDevice>& audioDevice);

    /// Like the last one, for a UTF-8 path, without options, or without the error.
    static std::shared_ptr<BRAQExtendedAudioFile> initForPlaybackWithFilename(const std::string& path);
    static std::shared_ptr<BRAQExtendedAudioFile> initForPlaybackWithFileURL(const std::shared_ptr<NSURL>& url);
    static std::shared_ptr<BRAQExtendedAudioFile> initForPlaybackWithFileURL(const std::shared_ptr<NSURL>& url,
                                                                             std::shared_ptr<NSError>* error);
    static std::shared_ptr<BRAQExtendedAudioFile> initForPlaybackWithFilename(const std::string& path,
                                                                              const Options& options);
    static std::shared_ptr<BRAQExtendedAudioFile> initForPlaybackWithFilename(const std::string& path,
                                                                              const OptionDictionary& options);
    static std::shared_ptr<BRAQExtendedAudioFile> initForPlaybackWithFileURL(const std::shared_ptr<NSURL>& url,
                                                                             const Options& options);
    static std::shared_ptr<BRAQExtendedAudioFile> initForPlaybackWithFileURL(const std::shared_ptr<NSURL>& url,
                                                                             const OptionDictionary& options);
    static std::shared_ptr<BRAQExtendedAudioFile> initForPlaybackWithFileURL(const std::shared_ptr<NSURL>& url,
                                                                             const OptionDictionary& options,
                                                                             std::shared_ptr<NSError>* error);
    /// Opens a file.
    /// @param error may be null; written on failure only
    /// @return null on failure
    static std::shared_ptr<BRAQExtendedAudioFile> initForPlaybackWithFileURL(const std::shared_ptr<NSURL>& url,
                                                                             const Options& options,
                                                                             std::shared_ptr<NSError>* error);

    /// Closes the file.
    virtual ~BRAQExtendedAudioFile();
    BRAQExtendedAudioFile(const BRAQExtendedAudioFile&) = delete;
    BRAQExtendedAudioFile& operator=(const BRAQExtendedAudioFile&) = delete;

    /// The platform's file. This object disposes of a file that is set, but not of the one that it replaces.
    ExtAudioFileRef audioFile() const noexcept { return mAudioFile; }
    void setAudioFile(ExtAudioFileRef audioFile) noexcept;
    /// The URL that the file was opened with, or the one set since, which moves nothing. Null if there is none.
    std::shared_ptr<NSURL> url() const;
    void setUrl(const std::shared_ptr<NSURL>& url);
    /// Whether reads run backwards.
    bool reverse() const noexcept { return mReverse; }
    void setReverse(bool reverse) noexcept { mReverse = reverse; }
    /// The rate that `setClientDataFormatForPlaybackError` sets; 0.0 if none was requested. One thread at a time.
    Float64 clientSampleRate() const noexcept { return mClientSampleRate; }
    void setClientSampleRate(Float64 rate) noexcept { mClientSampleRate = rate; }

    /// Sets the client format: the file's channels at the device's recording rate. If the device is null or states no
    /// rate, the file's rate is used.
    void setClientDataFormatForRecordingWithDevice(const std::shared_ptr<BRAQAudioDevice>& device);
    /// Sets the client format: the file's channels at `clientSampleRate` if that is set, else the channels and rate of
    /// the format in the options if there is one, else those of the file. Does not raise.
    /// @param error may be null; written on failure only
    /// @return false on failure
    bool setClientDataFormatForPlaybackError(std::shared_ptr<NSError>* error);
    /// The format that programs exchange with this object.
    AudioStreamBasicDescription clientDataFormat() const;
    /// The format in the file.
    AudioStreamBasicDescription fileDataFormat() const;
    /// `clientDataFormat` as a new object.
    std::shared_ptr<BRAQAudioStreamBasicDescription> streamDescription() const;
    /// `fileDataFormat` as a new object.
    std::shared_ptr<BRAQAudioStreamBasicDescription> fileStreamDescription() const;

    /// The loudspeaker position of each client channel, if the file states them.
    /// @return empty if it does not, or after the file was closed
    virtual std::vector<BRAQChannelPosition> channelPositions() const;

    /// The file's rate divided by the client rate.
    Float32 rateScalar() const;
    /// Length in frames, without priming and padding. Computed in single precision, deliberately: beyond 16,777,216
    /// frames the low bits are lost. If the coding has packets of varying length, the frames of the last packet are
    /// deliberately left out.
    virtual SInt64 frameCount() const;
    /// Length in frames: those that a read from the first to the last delivers. `frameCount` for an object without a
    /// platform file.
    virtual SInt64 exactFrameCount() const;
    /// 0 here. Derived classes may set it.
    SInt64 unscaledFrameCount() const noexcept { return mUnscaledFrameCount; }
    /// Length in milliseconds: `frameCount` at the client rate. NaN if that rate is 0.
    Float64 estimatedDuration() const;
    /// Bytes of the largest packet in the client format.
    UInt32 maxPacketSize() const;
    /// Bits per second of the file's coding.
    UInt32 bitrate() const;
    /// Sets bits per second; deliberately half of it if the client has one channel. Codings without a bit rate accept
    /// and ignore it. Call it before anything is written.
    void setBitrate(UInt32 bitrate);
    /// Priming and padding: frames that the coding adds before and after the audio. Zeros if it does not state them.
    AudioConverterPrimeInfo primeInfo() const;
    /// Sum of priming and padding.
    UInt32 primeOffset() const;

    /// Seeks to a client frame; a negative one means the first. Computed in single precision like `frameCount`: beyond
    /// 16,777,216 frames it seeks to a nearby frame.
    virtual void seekToFrame(SInt64 frame);
    /// Seeks to a client frame; a negative one means the first. If the rates differ, to the nearest frame of the file.
    /// Calls `seekToFrame` where that is as exact, and for an object without a platform file.
    virtual void seekToExactFrame(SInt64 frame);

    /// Reads frames. Forwards: from the current position on; `startFrame` is ignored. In reverse: the frames that end
    /// at `startFrame`, last one first. A failed read delivers nothing; the log says why.
    /// @param list one channel per buffer, each with room for the frames; the byte sizes are set to what was read
    /// @param startFrame client frame
    /// @param framesRead in: frames wanted; out: frames delivered, fewer at either end of the file and 0 beyond
    virtual void readIntoAudioBufferList(AudioBufferList* list, SInt64 startFrame, UInt32* framesRead);
    /// Appends frames. If a call raises, nothing of it is in the file.
    /// @param list one channel per buffer; the byte sizes are set to those of the frames
    /// @param framesWritten in: frames to write; not changed. Null fails an assertion.
    virtual void writeAudioBufferList(AudioBufferList* list, UInt32* framesWritten);

    /// Whether the other file has the same class, frame count and URL. Two files without a URL are not equal.
    bool isEqual(const BRAQExtendedAudioFile& other) const;
    friend bool operator==(const BRAQExtendedAudioFile& one, const BRAQExtendedAudioFile& other) {
        return one.isEqual(other);
    }

    /// Closes the platform's file, even if that fails; the log says what could not be written. Afterwards every
    /// operation on the platform's file fails.
    void closeFile() noexcept;

  protected:
    /// Creates an object without a file, for classes that get their frames from elsewhere.
    BRAQExtendedAudioFile();
    /// As `initForRecordingWithFileURL`.
    BRAQExtendedAudioFile(const std::shared_ptr<NSURL>& url,
                          const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription, UInt32 bitrate,
                          const std::shared_ptr<BRAQAudioDevice>& audioDevice);
    BRAQExtendedAudioFile(const std::shared_ptr<NSURL>& url, AudioFileTypeID fileType,
                          const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription, UInt32 bitrate,
                          const std::shared_ptr<BRAQAudioDevice>& audioDevice);
    /// Like `initForPlaybackWithFileURL`, but raises the error.
    BRAQExtendedAudioFile(const std::shared_ptr<NSURL>& url, const Options& options);

  private:
    bool openForPlayback(const std::shared_ptr<NSURL>& url, const Options& options, std::shared_ptr<NSError>* error);
    SInt64 fileFrameCount() const;
    SInt64 singlePrecisionFileFrame(SInt64 frame) const;
    void forgetAnswers();
    UInt32 readFrames(AudioBufferList* list, UInt32 frames);
    /// Like `seekToExactFrame`, but if the rates differ, what is read next is what would be read there from the
    /// beginning on, not what the converter makes of the nearest frame of the file. For the reader.
    void seekForReading(SInt64 frame);
    bool skipFrames(const AudioBufferList* list);
    friend class BRAQAudioFileReader;

    std::atomic<ExtAudioFileRef> mAudioFile{nullptr};
    std::shared_ptr<BRAQAudioStreamBasicDescription> mPreferredClientDataFormat;
    std::atomic<bool> mReverse{false};
    std::shared_ptr<NSURL> mUrl; // under mUrlMutex

  protected:
    SInt64 mUnscaledFrameCount = 0; // never set here

  private:
    Float64 mClientSampleRate = 0.0;
    SInt64 mFramesToSkip = 0; // under mPlatformMutex: read before what is wanted; 0 after every other seek

    mutable std::mutex mUrlMutex;
    mutable std::recursive_mutex mPlatformMutex; // held while the platform's file is used, which is not thread-safe
    mutable BRAQPublishedAnswer<AudioStreamBasicDescription> mClientDataFormat;
    mutable BRAQPublishedAnswer<AudioStreamBasicDescription> mFileDataFormat;
    mutable BRAQPublishedAnswer<std::vector<BRAQChannelPosition>> mChannelPositions;
    mutable BRAQPublishedAnswer<SInt64> mFrameCount;
    mutable BRAQPublishedAnswer<SInt64> mExactFrameCount;
    mutable BRAQPublishedAnswer<UInt32> mMaxPacketSize;
    mutable BRAQPublishedAnswer<UInt32> mBitrate;
    mutable BRAQPublishedAnswer<AudioConverterPrimeInfo> mPrimeInfo;
};

/// @}
