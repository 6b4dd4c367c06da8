#include "BRAQAudio/BRAQExtendedAudioFile.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "library/src/BRAQAudioFile_Common.h"

// Properties of the file's converter.

namespace {

constexpr NSXCallSite siteOf(const char* method) {
    return {"src/BRAQExtendedAudioFile", method, NSXStatusDomain::osStatus};
}

constexpr const char* getConverter =
    "ExtAudioFileGetProperty(mAudioFile, kExtAudioFileProperty_AudioConverter, &size, &audioConverter)";

} // namespace

UInt32 BRAQExtendedAudioFile::bitrate() const {
    static constexpr auto here = siteOf("-[BRAQExtendedAudioFile bitrate]");
    return mBitrate.get(mPlatformMutex, [this] {
        const auto converter =
            braq::fileProperty<AudioConverterRef>(mAudioFile, kExtAudioFileProperty_AudioConverter, getConverter, here);
        UInt32 bitrate = 0;
        UInt32 size = sizeof(bitrate);
        NSXRaiseOnFailure(AudioConverterGetProperty(converter, kAudioConverterEncodeBitRate, &size, &bitrate),
                          "AudioConverterGetProperty(audioConverter, kAudioConverterEncodeBitRate, &size, &bitrate)",
                          here);
        return bitrate;
    });
}

void BRAQExtendedAudioFile::setBitrate(UInt32 bitrate) {
    constexpr auto here = siteOf("-[BRAQExtendedAudioFile setBitrate:]");
    const std::lock_guard lock(mPlatformMutex);
    mBitrate.forget();
    const auto converter =
        braq::fileProperty<AudioConverterRef>(mAudioFile, kExtAudioFileProperty_AudioConverter, getConverter, here);
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

AudioConverterPrimeInfo BRAQExtendedAudioFile::primeInfo() const {
    return mPrimeInfo.get(mPlatformMutex, [this] {
        const auto converter = braq::fileProperty<AudioConverterRef>(
            mAudioFile, kExtAudioFileProperty_AudioConverter,
            "ExtAudioFileGetProperty( mAudioFile, kExtAudioFileProperty_AudioConverter, &acSize , &ac )",
            siteOf("-[BRAQExtendedAudioFile primeInfo]"));
        AudioConverterPrimeInfo info{};
        UInt32 size = sizeof(info);
        // Codings without priming return an error, which means zeros.
        return AudioConverterGetProperty(converter, kAudioConverterPrimeInfo, &size, &info) == 0
                   ? info
                   : AudioConverterPrimeInfo{};
    });
}

UInt32 BRAQExtendedAudioFile::primeOffset() const {
    const AudioConverterPrimeInfo info = primeInfo();
    return info.leadingFrames + info.trailingFrames;
}
