#include "BRAQAudio/BRAQExtendedAudioFile.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "library/src/BRAQAudioFile_Common.h"

#include <algorithm>

// Frames of the file and of the client: counts and positions. Single precision throughout, deliberately.

namespace {

constexpr NSXCallSite siteOf(const char* method) {
    return {"src/BRAQExtendedAudioFile", method, NSXStatusDomain::osStatus};
}

constexpr auto countSite = siteOf("-[BRAQExtendedAudioFile frameCount]");

// Frames of all packets, including priming and padding.
SInt64 framesOfPackets(AudioFileID container, SInt64 packetCount, const AudioStreamBasicDescription& format) {
    if (format.mFramesPerPacket != 0) {
        return packetCount * format.mFramesPerPacket;
    }
    // The begin of the last packet: its own frames are deliberately left out.
    AudioFramePacketTranslation translation{.mFrame = 0, .mPacket = packetCount - 1, .mFrameOffsetInPacket = 0};
    UInt32 size = sizeof(translation);
    NSXRaiseOnFailure(AudioFileGetProperty(container, kAudioFilePropertyPacketToFrame, &size, &translation),
                      "AudioFileGetProperty( afID, kAudioFilePropertyPacketToFrame, &size, &afpt )", countSite);
    return translation.mFrame;
}

} // namespace

Float32 BRAQExtendedAudioFile::rateScalar() const {
    const std::lock_guard lock(mPlatformMutex);
    return static_cast<Float32>(fileStreamDescription()->sampleRate()) /
           static_cast<Float32>(streamDescription()->sampleRate());
}

SInt64 BRAQExtendedAudioFile::frameCount() const {
    const std::lock_guard lock(mPlatformMutex);
    const auto frames = static_cast<UInt64>(fileFrameCount());
    return braq::truncated(static_cast<Float32>(frames) / rateScalar());
}

SInt64 BRAQExtendedAudioFile::fileFrameCount() const {
    const auto container = braq::fileProperty<AudioFileID>(
        mAudioFile, kExtAudioFileProperty_AudioFile,
        "ExtAudioFileGetProperty( mAudioFile, kExtAudioFileProperty_AudioFile, &size, &afID )", countSite);
    SInt64 packetCount = 0;
    UInt32 size = sizeof(packetCount);
    NSXRaiseOnFailure(AudioFileGetProperty(container, kAudioFilePropertyAudioDataPacketCount, &size, &packetCount),
                      "AudioFileGetProperty( afID, kAudioFilePropertyAudioDataPacketCount, &size, &packetCount )",
                      countSite);
    AudioStreamBasicDescription format{};
    size = sizeof(format);
    NSXRaiseOnFailure(AudioFileGetProperty(container, kAudioFilePropertyDataFormat, &size, &format),
                      "AudioFileGetProperty( afID, kAudioFilePropertyDataFormat, &size, &fileDataFormat )", countSite);
    AudioFilePacketTableInfo table{};
    size = sizeof(table);
    const OSStatus tableStatus = AudioFileGetProperty(container, kAudioFilePropertyPacketTableInfo, &size, &table);
    const SInt64 frames = framesOfPackets(container, packetCount, format);
    return tableStatus == 0 ? frames - table.mPrimingFrames - table.mRemainderFrames : frames;
}

void BRAQExtendedAudioFile::seekToFrame(SInt64 frame) {
    OSStatus status = 0;
    {
        const std::lock_guard lock(mPlatformMutex);
        const SInt64 fileFrame = braq::truncated(static_cast<Float32>(frame) * rateScalar());
        status = ExtAudioFileSeek(mAudioFile, std::max(SInt64{0}, fileFrame));
    }
    NSXRaiseOnFailure(status,
                      "ExtAudioFileSeek( mAudioFile, ({ __typeof__(0) __a0 = (0); __typeof__(readFrame) __b0 = "
                      "(readFrame); (__a0 < __b0) ? __b0 : __a0; }) )",
                      siteOf("-[BRAQExtendedAudioFile seekToFrame:]"));
}
