#include "BRAQAudio/BRAQExtendedAudioFile.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "library/src/BRAQAudioFile_Common.h"
#include "library/src/BRAQExtendedAudioFile_Options.h"

// How files are created and opened.

namespace {

using Created = std::shared_ptr<BRAQExtendedAudioFile>;
using Opened = std::shared_ptr<BRAQExtendedAudioFile>;

constexpr NSXCallSite siteOf(const char* method) {
    return {"src/BRAQExtendedAudioFile", method, NSXStatusDomain::osStatus};
}

AudioFileTypeID fileTypeFor(const BRAQAudioStreamBasicDescription* description) {
    const bool isLossless = description != nullptr && description->formatID() == kAudioFormatAppleLossless;
    return isLossless ? kAudioFileM4AType : kAudioFileMPEG4Type;
}

} // namespace

Created BRAQExtendedAudioFile::initForRecordingWithFilename(
    const std::string& path, const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription, UInt32 bitrate,
    const std::shared_ptr<BRAQAudioDevice>& audioDevice) {
    return initForRecordingWithFileURL(NSURL::fileURLWithPath(path), streamDescription, bitrate, audioDevice);
}

Created BRAQExtendedAudioFile::initForRecordingWithFileURL(
    const std::shared_ptr<NSURL>& url, const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
    UInt32 bitrate, const std::shared_ptr<BRAQAudioDevice>& audioDevice) {
    return Created(new BRAQExtendedAudioFile(url, streamDescription, bitrate, audioDevice));
}

Created BRAQExtendedAudioFile::initForRecordingWithFilename(
    const std::string& path, AudioFileTypeID fileType,
    const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription, UInt32 bitrate,
    const std::shared_ptr<BRAQAudioDevice>& audioDevice) {
    return initForRecordingWithFileURL(NSURL::fileURLWithPath(path), fileType, streamDescription, bitrate, audioDevice);
}

Created BRAQExtendedAudioFile::initForRecordingWithFileURL(
    const std::shared_ptr<NSURL>& url, AudioFileTypeID fileType,
    const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription, UInt32 bitrate,
    const std::shared_ptr<BRAQAudioDevice>& audioDevice) {
    return Created(new BRAQExtendedAudioFile(url, fileType, streamDescription, bitrate, audioDevice));
}

Opened BRAQExtendedAudioFile::initForPlaybackWithFilename(const std::string& path) {
    return initForPlaybackWithFileURL(NSURL::fileURLWithPath(path));
}

Opened BRAQExtendedAudioFile::initForPlaybackWithFileURL(const std::shared_ptr<NSURL>& url) {
    return initForPlaybackWithFileURL(url, Options());
}

Opened BRAQExtendedAudioFile::initForPlaybackWithFileURL(const std::shared_ptr<NSURL>& url,
                                                         std::shared_ptr<NSError>* error) {
    return initForPlaybackWithFileURL(url, Options(), error);
}

Opened BRAQExtendedAudioFile::initForPlaybackWithFilename(const std::string& path, const Options& options) {
    return initForPlaybackWithFileURL(NSURL::fileURLWithPath(path), options);
}

Opened BRAQExtendedAudioFile::initForPlaybackWithFilename(const std::string& path, const OptionDictionary& options) {
    return initForPlaybackWithFileURL(NSURL::fileURLWithPath(path), options);
}

Opened BRAQExtendedAudioFile::initForPlaybackWithFileURL(const std::shared_ptr<NSURL>& url, const Options& options) {
    return initForPlaybackWithFileURL(url, options, nullptr);
}

Opened BRAQExtendedAudioFile::initForPlaybackWithFileURL(const std::shared_ptr<NSURL>& url,
                                                         const OptionDictionary& options) {
    return initForPlaybackWithFileURL(url, options, nullptr);
}

Opened BRAQExtendedAudioFile::initForPlaybackWithFileURL(const std::shared_ptr<NSURL>& url,
                                                         const OptionDictionary& options,
                                                         std::shared_ptr<NSError>* error) {
    return initForPlaybackWithFileURL(url, braq::optionsIn(options), error);
}

Opened BRAQExtendedAudioFile::initForPlaybackWithFileURL(const std::shared_ptr<NSURL>& url, const Options& options,
                                                         std::shared_ptr<NSError>* error) {
    const Opened file(new BRAQExtendedAudioFile());
    return file->openForPlayback(url, options, error) ? file : nullptr;
}

BRAQExtendedAudioFile::BRAQExtendedAudioFile() = default;

// These delegate, so that the destructor closes the file if a later step raises.

BRAQExtendedAudioFile::BRAQExtendedAudioFile(const std::shared_ptr<NSURL>& url,
                                             const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                                             UInt32 bitrate, const std::shared_ptr<BRAQAudioDevice>& audioDevice)
    : BRAQExtendedAudioFile(url, fileTypeFor(streamDescription.get()), streamDescription, bitrate, audioDevice) {}

BRAQExtendedAudioFile::BRAQExtendedAudioFile(const std::shared_ptr<NSURL>& url, AudioFileTypeID fileType,
                                             const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                                             UInt32 bitrate, const std::shared_ptr<BRAQAudioDevice>& audioDevice)
    : BRAQExtendedAudioFile() {
    constexpr auto here =
        siteOf("-[BRAQExtendedAudioFile initForRecordingWithFileURL:streamDescription:bitrate:audioDevice:]");
    setUrl(url);
    braq::chooseByteOrder(fileType, streamDescription.get());
    const AudioStreamBasicDescription format = braq::recordOf(streamDescription.get());
    ExtAudioFileRef file = nullptr;
    NSXRaiseOnFailure(
        ExtAudioFileCreateWithURL(url.get(), fileType, &format, nullptr, kAudioFileFlags_EraseFile, &file),
        "ExtAudioFileCreateWithURL((__bridge CFURLRef)self.url, audioFileType, &asbd, ((void*)0), "
        "kAudioFileFlags_EraseFile, &afRef)",
        here);
    setAudioFile(file);
    setClientDataFormatForRecordingWithDevice(audioDevice);
    if (bitrate != 0) {
        setBitrate(bitrate);
    }
    // Prepares asynchronous writing before the first write.
    NSXRaiseOnFailure(ExtAudioFileWriteAsync(file, 0, nullptr), "ExtAudioFileWriteAsync( afRef, 0, ((void*)0) )", here);
}

BRAQExtendedAudioFile::BRAQExtendedAudioFile(const std::shared_ptr<NSURL>& url, const Options& options)
    : BRAQExtendedAudioFile() {
    std::shared_ptr<NSError> error;
    if (!openForPlayback(url, options, &error)) {
        throw NSException(NSXErrorExceptionName, error->description(), {{"error", error}});
    }
}

bool BRAQExtendedAudioFile::openForPlayback(const std::shared_ptr<NSURL>& url, const Options& options,
                                            std::shared_ptr<NSError>* error) {
    constexpr auto here = siteOf("-[BRAQExtendedAudioFile initForPlaybackWithFileURL:options:error:]");
    setUrl(url);
    ExtAudioFileRef file = nullptr;
    if (NSXReturnOnFailure(ExtAudioFileOpenURL(url.get(), &file),
                           "ExtAudioFileOpenURL( (__bridge CFURLRef)url, &afRef )", here, error)) {
        return false;
    }
    setAudioFile(file);
    mPreferredClientDataFormat = options.clientDataFormat;
    mClientSampleRate = options.clientSampleRate;
    return setClientDataFormatForPlaybackError(error);
}
