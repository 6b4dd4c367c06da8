#include "BRAQAudio/BRAQAudioFile.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "library/src/BRAQAudioFile_Common.h"
#include "library/src/ClassKind.h"

#include <utility>

namespace {

constexpr NSXCallSite siteOf(const char* method) { return {"src/BRAQAudioFile", method, NSXStatusDomain::osStatus}; }

} // namespace

std::shared_ptr<BRAQAudioFile>
BRAQAudioFile::initForRecordingWithFilename(const std::string& path,
                                            const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                                            UInt32 bitrate) {
    return initForRecordingWithFileURL(NSURL::fileURLWithPath(path), streamDescription, bitrate);
}

std::shared_ptr<BRAQAudioFile>
BRAQAudioFile::initForRecordingWithFileURL(const std::shared_ptr<NSURL>& url,
                                           const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription,
                                           UInt32 bitrate) {
    return std::shared_ptr<BRAQAudioFile>(new BRAQAudioFile(url, streamDescription, bitrate));
}

std::shared_ptr<BRAQAudioFile> BRAQAudioFile::initForPlaybackWithFilename(const std::string& path) {
    return initForPlaybackWithFileURL(NSURL::fileURLWithPath(path));
}

std::shared_ptr<BRAQAudioFile> BRAQAudioFile::initForPlaybackWithFileURL(const std::shared_ptr<NSURL>& url) {
    return std::shared_ptr<BRAQAudioFile>(new BRAQAudioFile(url));
}

BRAQAudioFile::BRAQAudioFile(std::shared_ptr<NSURL> url, std::nullptr_t /*noFile*/) : mUrl(std::move(url)) {}

// These two delegate, so that the destructor closes the file if a later step raises.

BRAQAudioFile::BRAQAudioFile(const std::shared_ptr<NSURL>& url,
                             const std::shared_ptr<BRAQAudioStreamBasicDescription>& streamDescription, UInt32 bitrate)
    : BRAQAudioFile(url, nullptr) {
    constexpr auto here = siteOf("-[BRAQAudioFile initForRecordingWithFileURL:streamDescription:bitrate:]");
    const AudioFileTypeID type = braq::fileTypeForPath(url != nullptr ? url->path() : std::string());
    braq::chooseByteOrder(type, streamDescription.get());
    const AudioStreamBasicDescription format = braq::recordOf(streamDescription.get());
    ExtAudioFileRef file = nullptr;
    NSXRaiseOnFailure(ExtAudioFileCreateWithURL(url.get(), type, &format, nullptr, kAudioFileFlags_EraseFile, &file),
                      "ExtAudioFileCreateWithURL((__bridge CFURLRef)self.url, audioFileType, &asbd, ((void*)0), "
                      "kAudioFileFlags_EraseFile, &afRef)",
                      here);
    setAudioFile(file);
    setClientDataFormatForRecording();
    setBitrate(bitrate);
    // Prepares asynchronous writing before the first write.
    NSXRaiseOnFailure(ExtAudioFileWriteAsync(file, 0, nullptr), "ExtAudioFileWriteAsync( afRef, 0, ((void*)0) )", here);
}

BRAQAudioFile::BRAQAudioFile(const std::shared_ptr<NSURL>& url) : BRAQAudioFile(url, nullptr) {
    constexpr auto here = siteOf("-[BRAQAudioFile initForPlaybackWithFileURL:]");
    ExtAudioFileRef file = nullptr;
    NSXRaiseOnFailure(ExtAudioFileOpenURL(url.get(), &file),
                      "ExtAudioFileOpenURL( (__bridge CFURLRef)self.url, &afRef )", here);
    setAudioFile(file);
    setClientDataFormatForPlayback();
}

BRAQAudioFile::~BRAQAudioFile() { closeFile(); }

std::shared_ptr<NSURL> BRAQAudioFile::url() const {
    const std::lock_guard lock(mUrlMutex);
    return mUrl;
}

void BRAQAudioFile::setUrl(const std::shared_ptr<NSURL>& url) {
    const std::lock_guard lock(mUrlMutex);
    mUrl = url;
}

void BRAQAudioFile::setAudioFile(ExtAudioFileRef audioFile) noexcept {
    mAudioFile = audioFile;
    forgetAnswers();
}

void BRAQAudioFile::forgetAnswers() {
    mClientDataFormat.forget();
    mFileDataFormat.forget();
    mFrameCount.forget();
    mMaxPacketSize.forget();
    mBitrate.forget();
}

void BRAQAudioFile::setClientDataFormatForRecording() {
    const std::lock_guard lock(mPlatformMutex);
    const AudioStreamBasicDescription fileFormat = fileDataFormat();
    const auto description = BRAQAudioStreamBasicDescription::nativeStreamDescription();
    description->setDefaultInputDeviceSampleRate();
    setClientDataFormat(description->sampleRate(), fileFormat, "-[BRAQAudioFile setClientDataFormatForRecording]");
}

void BRAQAudioFile::setClientDataFormatForPlayback() {
    const std::lock_guard lock(mPlatformMutex);
    const AudioStreamBasicDescription fileFormat = fileDataFormat();
    setClientDataFormat(fileFormat.mSampleRate, fileFormat, "-[BRAQAudioFile setClientDataFormatForPlayback]");
}

void BRAQAudioFile::setClientDataFormat(Float64 sampleRate, const AudioStreamBasicDescription& fileFormat,
                                        const char* method) {
    const auto clientFormat = braq::processingFormat(fileFormat.mChannelsPerFrame, sampleRate);
    forgetAnswers();
    NSXRaiseOnFailure(ExtAudioFileSetProperty(mAudioFile, kExtAudioFileProperty_ClientDataFormat, sizeof(clientFormat),
                                              &clientFormat),
                      "ExtAudioFileSetProperty(self.audioFile, kExtAudioFileProperty_ClientDataFormat, size, "
                      "&clientFormat)",
                      siteOf(method));
}

AudioStreamBasicDescription BRAQAudioFile::clientDataFormat() const {
    return mClientDataFormat.get(mPlatformMutex, [this] {
        return braq::fileProperty<AudioStreamBasicDescription>(
            mAudioFile, kExtAudioFileProperty_ClientDataFormat,
            "ExtAudioFileGetProperty( mAudioFile, kExtAudioFileProperty_ClientDataFormat, &size, &asbd )",
            siteOf("-[BRAQAudioFile clientDataFormat]"));
    });
}

AudioStreamBasicDescription BRAQAudioFile::fileDataFormat() const {
    return mFileDataFormat.get(mPlatformMutex, [this] {
        return braq::fileProperty<AudioStreamBasicDescription>(
            mAudioFile, kExtAudioFileProperty_FileDataFormat,
            "ExtAudioFileGetProperty( mAudioFile, kExtAudioFileProperty_FileDataFormat, &size, &asbd )",
            siteOf("-[BRAQAudioFile fileDataFormat]"));
    });
}

std::shared_ptr<BRAQAudioStreamBasicDescription> BRAQAudioFile::streamDescription() const {
    const AudioStreamBasicDescription format = clientDataFormat();
    return BRAQAudioStreamBasicDescription::initWithAudioStreamBasicDescription(&format);
}

std::shared_ptr<BRAQAudioStreamBasicDescription> BRAQAudioFile::fileStreamDescription() const {
    const AudioStreamBasicDescription format = fileDataFormat();
    return BRAQAudioStreamBasicDescription::initWithAudioStreamBasicDescription(&format);
}

SInt64 BRAQAudioFile::frameCount() const {
    return mFrameCount.get(mPlatformMutex, [this] {
        SInt64 frames = 0;
        UInt32 size = sizeof(frames);
        ExtAudioFileGetProperty(mAudioFile, kExtAudioFileProperty_FileLengthFrames, &size, &frames);
        return frames;
    });
}

Float64 BRAQAudioFile::estimatedDuration() const {
    constexpr Float64 millisecondsPerSecond = 1000.0;
    return static_cast<Float64>(frameCount()) / clientDataFormat().mSampleRate * millisecondsPerSecond;
}

UInt32 BRAQAudioFile::maxPacketSize() const {
    return mMaxPacketSize.get(mPlatformMutex, [this] {
        return braq::fileProperty<UInt32>(
            mAudioFile, kExtAudioFileProperty_ClientMaxPacketSize,
            "ExtAudioFileGetProperty( mAudioFile, kExtAudioFileProperty_ClientMaxPacketSize, &size, &maxPacketSize)",
            siteOf("-[BRAQAudioFile maxPacketSize]"));
    });
}

UInt32 BRAQAudioFile::bitrate() const {
    static constexpr auto here = siteOf("-[BRAQAudioFile bitrate]");
    return mBitrate.get(mPlatformMutex, [this] {
        const auto converter = braq::fileProperty<AudioConverterRef>(
            mAudioFile, kExtAudioFileProperty_AudioConverter,
            "ExtAudioFileGetProperty(mAudioFile, kExtAudioFileProperty_AudioConverter, &size, &audioConverter)", here);
        UInt32 bitrate = 0;
        UInt32 size = sizeof(bitrate);
        NSXRaiseOnFailure(AudioConverterGetProperty(converter, kAudioConverterEncodeBitRate, &size, &bitrate),
                          "AudioConverterGetProperty(audioConverter, kAudioConverterEncodeBitRate, &size, &bitrate)",
                          here);
        return bitrate;
    });
}

void BRAQAudioFile::setBitrate(UInt32 bitrate) {
    constexpr auto here = siteOf("-[BRAQAudioFile setBitrate:]");
    const std::lock_guard lock(mPlatformMutex);
    mBitrate.forget();
    const auto converter = braq::fileProperty<AudioConverterRef>(
        mAudioFile, kExtAudioFileProperty_AudioConverter,
        "ExtAudioFileGetProperty(mAudioFile, kExtAudioFileProperty_AudioConverter, &size, &audioConverter)", here);
    const UInt32 rate = streamDescription()->channelsPerFrame() == 1 ? bitrate >> 1 : bitrate;
    NSXRaiseOnFailure(AudioConverterSetProperty(converter, kAudioConverterEncodeBitRate, sizeof(rate), &rate),
                      "AudioConverterSetProperty(audioConverter, kAudioConverterEncodeBitRate, size, &bitrate)", here);
    const void* const configuration = nullptr;
    NSXRaiseOnFailure(ExtAudioFileSetProperty(mAudioFile, kExtAudioFileProperty_ConverterConfig, sizeof(configuration),
                                              &configuration),
                      "ExtAudioFileSetProperty(mAudioFile, kExtAudioFileProperty_ConverterConfig, "
                      "sizeof(CFPropertyListRef), &cfg)",
                      here);
}

bool BRAQAudioFile::isEqual(const BRAQAudioFile& other) const {
    const auto mine = url();
    return braq::isKindOfClassOf(*this, other) && frameCount() == other.frameCount() && mine != nullptr &&
           mine->isEqual(other.url().get());
}

void BRAQAudioFile::closeFile() noexcept {
    const std::lock_guard lock(mPlatformMutex);
    forgetAnswers();
    ExtAudioFileDispose(mAudioFile);
}
