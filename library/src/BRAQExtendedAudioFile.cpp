#include "BRAQAudio/BRAQExtendedAudioFile.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "library/src/BRAQAudioFile_Common.h"
#include "library/src/ClassKind.h"

namespace {

constexpr NSXCallSite siteOf(const char* method) {
    return {"src/BRAQExtendedAudioFile", method, NSXStatusDomain::osStatus};
}

constexpr const char* getFileFormat =
    "ExtAudioFileGetProperty( mAudioFile, kExtAudioFileProperty_FileDataFormat, &size, &asbd )";
constexpr const char* setClientFormat =
    "ExtAudioFileSetProperty(self.audioFile, kExtAudioFileProperty_ClientDataFormat, size, &clientFormat)";

} // namespace

BRAQExtendedAudioFile::~BRAQExtendedAudioFile() {
    mPreferredClientDataFormat.reset();
    closeFile();
}

std::shared_ptr<NSURL> BRAQExtendedAudioFile::url() const {
    const std::lock_guard lock(mUrlMutex);
    return mUrl;
}

void BRAQExtendedAudioFile::setUrl(const std::shared_ptr<NSURL>& url) {
    const std::lock_guard lock(mUrlMutex);
    mUrl = url;
}

void BRAQExtendedAudioFile::setAudioFile(ExtAudioFileRef audioFile) noexcept {
    mAudioFile = audioFile;
    forgetAnswers();
}

void BRAQExtendedAudioFile::forgetAnswers() {
    mClientDataFormat.forget();
    mFileDataFormat.forget();
    mChannelPositions.forget();
    mFrameCount.forget();
    mExactFrameCount.forget();
    mMaxPacketSize.forget();
    mBitrate.forget();
    mPrimeInfo.forget();
}

void BRAQExtendedAudioFile::setClientDataFormatForRecordingWithDevice(const std::shared_ptr<BRAQAudioDevice>& device) {
    constexpr auto here = siteOf("-[BRAQExtendedAudioFile setClientDataFormatForRecordingWithDevice:]");
    const std::lock_guard lock(mPlatformMutex);
    const UInt32 channels = fileDataFormat().mChannelsPerFrame;
    const Float64 rate = device != nullptr ? device->deviceNativeRecordStreamDescription()->sampleRate() : 0.0;
    const auto clientFormat = braq::processingFormat(channels, rate);
    forgetAnswers();
    NSXRaiseOnFailure(ExtAudioFileSetProperty(mAudioFile, kExtAudioFileProperty_ClientDataFormat, sizeof(clientFormat),
                                              &clientFormat),
                      setClientFormat, here);
}

bool BRAQExtendedAudioFile::setClientDataFormatForPlaybackError(std::shared_ptr<NSError>* error) {
    constexpr auto here = siteOf("-[BRAQExtendedAudioFile setClientDataFormatForPlaybackError:]");
    const std::lock_guard lock(mPlatformMutex);
    AudioStreamBasicDescription fileFormat{};
    UInt32 size = sizeof(fileFormat);
    if (NSXReturnOnFailure(
            ExtAudioFileGetProperty(mAudioFile, kExtAudioFileProperty_FileDataFormat, &size, &fileFormat),
            getFileFormat, here, error)) {
        return false;
    }
    UInt32 channels = fileFormat.mChannelsPerFrame;
    Float64 rate = fileFormat.mSampleRate;
    if (mClientSampleRate > 0.0) {
        rate = mClientSampleRate;
    } else if (mPreferredClientDataFormat != nullptr) {
        channels = mPreferredClientDataFormat->channelsPerFrame();
        rate = mPreferredClientDataFormat->sampleRate();
    }
    const auto clientFormat = braq::processingFormat(channels, rate);
    forgetAnswers();
    if (NSXReturnOnFailure(ExtAudioFileSetProperty(mAudioFile, kExtAudioFileProperty_ClientDataFormat,
                                                   sizeof(clientFormat), &clientFormat),
                           setClientFormat, here, error)) {
        return false;
    }
    mFileDataFormat.publish(fileFormat);
    if (rate != 0.0) { // else the platform chooses it
        mClientDataFormat.publish(clientFormat);
    }
    return true;
}

AudioStreamBasicDescription BRAQExtendedAudioFile::clientDataFormat() const {
    return mClientDataFormat.get(mPlatformMutex, [this] {
        return braq::fileProperty<AudioStreamBasicDescription>(
            mAudioFile, kExtAudioFileProperty_ClientDataFormat,
            "ExtAudioFileGetProperty( mAudioFile, kExtAudioFileProperty_ClientDataFormat, &size, &asbd )",
            siteOf("-[BRAQExtendedAudioFile clientDataFormat]"));
    });
}

AudioStreamBasicDescription BRAQExtendedAudioFile::fileDataFormat() const {
    return mFileDataFormat.get(mPlatformMutex, [this] {
        return braq::fileProperty<AudioStreamBasicDescription>(mAudioFile, kExtAudioFileProperty_FileDataFormat,
                                                               getFileFormat,
                                                               siteOf("-[BRAQExtendedAudioFile fileDataFormat]"));
    });
}

std::shared_ptr<BRAQAudioStreamBasicDescription> BRAQExtendedAudioFile::streamDescription() const {
    const AudioStreamBasicDescription format = clientDataFormat();
    return BRAQAudioStreamBasicDescription::initWithAudioStreamBasicDescription(&format);
}

std::shared_ptr<BRAQAudioStreamBasicDescription> BRAQExtendedAudioFile::fileStreamDescription() const {
    const AudioStreamBasicDescription format = fileDataFormat();
    return BRAQAudioStreamBasicDescription::initWithAudioStreamBasicDescription(&format);
}

std::vector<BRAQChannelPosition> BRAQExtendedAudioFile::channelPositions() const {
    return mChannelPositions.get(mPlatformMutex, [this]() -> std::vector<BRAQChannelPosition> {
        AudioStreamBasicDescription format{};
        UInt32 size = sizeof(format);
        if (ExtAudioFileGetProperty(mAudioFile, kExtAudioFileProperty_ClientDataFormat, &size, &format) != 0) {
            return {};
        }
        std::vector<BRAQChannelPosition> positions(format.mChannelsPerFrame);
        size = static_cast<UInt32>(positions.size() * sizeof(BRAQChannelPosition));
        if (ExtAudioFileGetProperty(mAudioFile, kBRAQExtAudioFileProperty_ChannelPositions, &size, positions.data()) !=
            0) {
            return {};
        }
        positions.resize(size / sizeof(BRAQChannelPosition));
        return positions;
    });
}

Float64 BRAQExtendedAudioFile::estimatedDuration() const {
    constexpr Float64 millisecondsPerSecond = 1000.0;
    return static_cast<Float64>(frameCount()) / clientDataFormat().mSampleRate * millisecondsPerSecond;
}

UInt32 BRAQExtendedAudioFile::maxPacketSize() const {
    return mMaxPacketSize.get(mPlatformMutex, [this] {
        return braq::fileProperty<UInt32>(
            mAudioFile, kExtAudioFileProperty_ClientMaxPacketSize,
            "ExtAudioFileGetProperty( mAudioFile, kExtAudioFileProperty_ClientMaxPacketSize, &size, &maxPacketSize)",
            siteOf("-[BRAQExtendedAudioFile maxPacketSize]"));
    });
}

bool BRAQExtendedAudioFile::isEqual(const BRAQExtendedAudioFile& other) const {
    const auto mine = url();
    return braq::isKindOfClassOf(*this, other) && frameCount() == other.frameCount() && mine != nullptr &&
           mine->isEqual(other.url().get());
}

void BRAQExtendedAudioFile::closeFile() noexcept {
    const std::lock_guard lock(mPlatformMutex);
    forgetAnswers();
    ExtAudioFileDispose(mAudioFile);
}
