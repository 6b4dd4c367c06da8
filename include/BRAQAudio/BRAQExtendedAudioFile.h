#pragma once

#include "BRAQAudio/BRAQAudioDevice.h"
#include "BRAQAudio/BRAQAudioStreamBasicDescription.h"
#include "BRAQAudio/platform/files.h"

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <variant>
#include <vector>

/// Option keys, for the format and for the rate that a file is read in.
extern "C" BRAQ_EXPORT const char kBRAQExtendedAudioFileClientDataFormatKey[];
extern "C" BRAQ_EXPORT const char kBRAQExtendedAudioFileClientSampleRateKey[];

/// What a file is read in, other than its own channels and rate.
struct BRAQExtendedAudioFileOptions {
    /// Of it the channels and the rate are taken, unless a rate is given; null is no wish.
    std::shared_ptr<BRAQAudioStreamBasicDescription> clientDataFormat = nullptr;
    /// Frames a second, with the channels of the file; 0.0 is no wish.
    Float64 clientSampleRate = 0.0;
};

/// A description, or a number.
using BRAQExtendedAudioFileOptionValue =
    std::variant<std::shared_ptr<BRAQAudioStreamBasicDescription>, Float64, std::int64_t>;
/// Options by key; other keys are ignored. A value of the wrong kind raises NSException `NSInvalidArgumentException`.
using BRAQExtendedAudioFileOptionDictionary = std::map<std::string, BRAQExtendedAudioFileOptionValue>;

/// One audio file, being recorded to or played from, in the format that its user works in: 32-bit float, not interleaved,
/// at any rate. That is the client format; frames are counted at its rate, unless something else is said.
///
/// A platform call that fails is raised as NSException `NSXErrorExceptionName`, its error in `NSOSStatusErrorDomain`, unless
/// something else is said. The init operations for playback do not raise for it: they answer null and hand the error out.
///
/// A recording is complete when it is closed. If the process is killed before, linear PCM in WAVE, RF64, CAF and NeXT files is
/// there up to the last call that returned, and FLAC and ADTS files lack the last packets only; MPEG-4 and M4A files have no
/// index yet, nor has ALAC in CAF, AIFF and AIFC files state no sizes yet, and all these cannot be read. That index is kept in
/// memory while an MPEG-4 or M4A file is written: about 64 bytes a packet, which is 10 MB an hour of AAC.
///
/// Any thread but an I/O thread; calls of several threads follow one another. Frames are written by one thread at a time.
class BRAQ_EXPORT BRAQExtendedAudioFile {
  public:
    using Options = BRAQExtendedAudioFileOptions;
    using OptionDictionary = BRAQExtendedAudioFileOptionDictionary;

    /// As the one with a URL, for a path in UTF-8.
    static std::shared_ptr<BRAQExtendedAudioFile>
    initForRecordingWithFilename(const std::string& path,
                                 const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                                 UInt32 bitrate, const std::shared_ptr<BRAQAudioDevice>& audioDevice);
    /// Creates a file, in the place of one that is there: an M4A file for 'alac', an MPEG-4 file for any other coding, linear
    /// PCM included, whatever its name says. Raises.
    /// @param streamDescription what the file holds; a null one is all zero. If the type has linear PCM, but no
    ///        little-endian linear PCM of so many bits, deliberately the object itself gets the big-endian flag.
    /// @param bitrate bits a second, see `setBitrate`; 0 leaves it to the coding
    /// @param audioDevice the client has the rate that it records at; null: the file's
    static std::shared_ptr<BRAQExtendedAudioFile>
    initForRecordingWithFileURL(const std::shared_ptr<NSURL>& url,
                                const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                                UInt32 bitrate, const std::shared_ptr<BRAQAudioDevice>& audioDevice);
    /// As those above, with a type of the caller's choice, such as `kAudioFileWAVEType`. Raises.
    static std::shared_ptr<BRAQExtendedAudioFile>
    initForRecordingWithFilename(const std::string& path, AudioFileTypeID fileType,
                                 const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                                 UInt32 bitrate, const std::shared_ptr<BRAQAudioDevice>& audioDevice);
    static std::shared_ptr<BRAQExtendedAudioFile>
    initForRecordingWithFileURL(const std::shared_ptr<NSURL>& url, AudioFileTypeID fileType,
                                const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                                UInt32 bitrate, const std::shared_ptr<BRAQAudioDevice>& audioDevice);

    /// As the last one, for a path in UTF-8, without options, or with nobody who wants the error.
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

    /// The platform's file. One that is set is disposed of by this object; the one before it is not.
    ExtAudioFileRef audioFile() const noexcept { return mAudioFile; }
    void setAudioFile(ExtAudioFileRef audioFile) noexcept { mAudioFile = audioFile; }
    /// What the file was opened under, or what was set since, which moves nothing; null if there is none.
    std::shared_ptr<NSURL> url() const;
    void setUrl(const std::shared_ptr<NSURL>& url);
    /// Whether reads run backwards.
    bool reverse() const noexcept { return mReverse; }
    void setReverse(bool reverse) noexcept { mReverse = reverse; }
    /// The rate that `setClientDataFormatForPlaybackError` sets; 0.0 if none was asked for. One thread at a time.
    Float64 clientSampleRate() const noexcept { return mClientSampleRate; }
    void setClientSampleRate(Float64 rate) noexcept { mClientSampleRate = rate; }

    /// Sets the client format, with the channels of the file and the rate that the device records at; a null device, or one
    /// that says no rate, leaves the file's.
    void setClientDataFormatForRecordingWithDevice(const std::shared_ptr<BRAQAudioDevice>& device);
    /// Sets the client format: with the channels of the file and `clientSampleRate` if there is one, else with channels and
    /// rate of the format among the options if there is one, else with those of the file. Does not raise.
    /// @param error may be null; written on failure only
    /// @return false on failure
    bool setClientDataFormatForPlaybackError(std::shared_ptr<NSError>* error);
    /// What programs see.
    AudioStreamBasicDescription clientDataFormat() const;
    /// What the file holds.
    AudioStreamBasicDescription fileDataFormat() const;
    /// A new object for `clientDataFormat`.
    std::shared_ptr<BRAQAudioStreamBasicDescription> streamDescription() const;
    /// A new object for `fileDataFormat`.
    std::shared_ptr<BRAQAudioStreamBasicDescription> fileStreamDescription() const;

    /// The loudspeaker that each client channel is meant for, as far as the file says it.
    /// @return none where it does not, and after it was closed
    virtual std::vector<BRAQChannelPosition> channelPositions() const;

    /// The file's rate divided by the client's.
    Float32 rateScalar() const;
    /// Frames that are meant to be heard. Counted in single precision, deliberately: beyond 16,777,216 frames the low bits are
    /// lost. Where a coding has packets of different lengths, the frames of the last packet are deliberately left out.
    virtual SInt64 frameCount() const;
    /// 0; for derived classes that know something else.
    SInt64 unscaledFrameCount() const noexcept { return mUnscaledFrameCount; }
    /// Milliseconds: `frameCount` at the client's rate. No number for a rate of 0.
    Float64 estimatedDuration() const;
    /// Bytes of the largest packet on the client side.
    UInt32 maxPacketSize() const;
    /// Bits a second of the file's coding.
    UInt32 bitrate() const;
    /// Sets bits a second, deliberately half as many when the client has one channel. Codings that have no bit rate take it
    /// and ignore it. Before anything is written.
    void setBitrate(UInt32 bitrate);
    /// Frames that the coding adds before and after those that are meant to be heard; zeros if it does not say.
    AudioConverterPrimeInfo primeInfo() const;
    /// Both of them together.
    UInt32 primeOffset() const;

    /// Goes to a client frame; a negative one is the first. Counted in single precision, as `frameCount`, so beyond 16,777,216
    /// frames it goes to one nearby.
    virtual void seekToFrame(SInt64 frame);

    /// Reads frames from the current position on; in reverse, the frames that end at `startFrame`, the last one first, and
    /// forwards `startFrame` is ignored. A read that fails delivers nothing; the log says why.
    /// @param list one channel a buffer, each with room for the frames; the byte sizes become what was read
    /// @param startFrame client frame
    /// @param framesRead in: frames wanted; out: frames delivered, fewer at either end of the file and 0 beyond
    virtual void readIntoAudioBufferList(AudioBufferList* list, SInt64 startFrame, UInt32* framesRead);
    /// Appends frames. Of a call that raises nothing is in the file.
    /// @param list one channel a buffer; the byte sizes become those of the frames
    /// @param framesWritten in: frames to write; left as it is. Null fails an assertion.
    virtual void writeAudioBufferList(AudioBufferList* list, UInt32* framesWritten);

    /// Whether the other file is of this one's class and both have the same frame count and the same URL, which two files
    /// without a URL have not.
    bool isEqual(const BRAQExtendedAudioFile& other) const;
    friend bool operator==(const BRAQExtendedAudioFile& one, const BRAQExtendedAudioFile& other) {
        return one.isEqual(other);
    }

    /// Closes the platform's file, whatever comes of it: why it was not written is in the log. All other operations of the
    /// platform's file fail from then on.
    void closeFile() noexcept;

  protected:
    /// An object without a file: for a class that gets its frames from elsewhere.
    BRAQExtendedAudioFile();
    /// As `initForRecordingWithFileURL`.
    BRAQExtendedAudioFile(const std::shared_ptr<NSURL>& url,
                          const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription, UInt32 bitrate,
                          const std::shared_ptr<BRAQAudioDevice>& audioDevice);
    BRAQExtendedAudioFile(const std::shared_ptr<NSURL>& url, AudioFileTypeID fileType,
                          const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription, UInt32 bitrate,
                          const std::shared_ptr<BRAQAudioDevice>& audioDevice);
    /// As `initForPlaybackWithFileURL`, but raises what that hands out.
    BRAQExtendedAudioFile(const std::shared_ptr<NSURL>& url, const Options& options);

  private:
    bool openForPlayback(const std::shared_ptr<NSURL>& url, const Options& options, std::shared_ptr<NSError>* error);
    SInt64 fileFrameCount() const;
    UInt32 readFrames(AudioBufferList* list, UInt32 frames);

    std::atomic<ExtAudioFileRef> mAudioFile{nullptr};
    std::shared_ptr<BRAQAudioStreamBasicDescription> mPreferredClientDataFormat;
    std::atomic<bool> mReverse{false};
    std::shared_ptr<NSURL> mUrl; // under mUrlMutex

  protected:
    SInt64 mUnscaledFrameCount = 0; // nothing here sets it

  private:
    Float64 mClientSampleRate = 0.0;

    mutable std::mutex mUrlMutex;
    mutable std::recursive_mutex
        mPlatformMutex; // held while the platform's file is used: it takes one thread at a time
};
