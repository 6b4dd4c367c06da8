#include "BRAQAudio/BRAQExtendedAudioFile.h"

#include "BRAQAudio/errors/NSXReturnThrowError.h"
#include "library/src/BRAQAudioFile_Common.h"

#include <algorithm>
#include <cmath>
#include <numeric>

// Frames of the file and of the client: counts and positions. In single precision, deliberately, where they are not
// called exact.

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

bool isWhole(Float64 rate) noexcept { return rate >= 1.0 && std::floor(rate) == rate; }

/// Frames at one rate as frames at another, to the nearest. Exact for rates that are whole numbers, as those of files
/// are; others have the precision of the rates themselves.
SInt64 atRate(SInt64 frames, Float64 from, Float64 to) noexcept {
    if (from == to || !(from > 0.0) || !(to > 0.0)) {
        return frames;
    }
    // The part below one second is small enough for doubles to be exact.
    const auto framesPerSecond = static_cast<SInt64>(from);
    const bool isWhole = static_cast<Float64>(framesPerSecond) == from && std::floor(to) == to;
    if (!isWhole) {
        return std::llround(static_cast<Float64>(frames) / from * to);
    }
    const SInt64 seconds = frames / framesPerSecond;
    const auto rest = static_cast<Float64>(frames % framesPerSecond);
    return seconds * static_cast<SInt64>(to) + std::llround(rest * to / from);
}

} // namespace

Float32 BRAQExtendedAudioFile::rateScalar() const {
    return static_cast<Float32>(fileStreamDescription()->sampleRate()) /
           static_cast<Float32>(streamDescription()->sampleRate());
}

SInt64 BRAQExtendedAudioFile::frameCount() const {
    return mFrameCount.get(mPlatformMutex, [this] {
        const auto frames = static_cast<UInt64>(fileFrameCount());
        return braq::truncated(static_cast<Float32>(frames) / rateScalar());
    });
}

SInt64 BRAQExtendedAudioFile::exactFrameCount() const {
    if (mAudioFile == nullptr) {
        return frameCount();
    }
    return mExactFrameCount.get(mPlatformMutex, [this] {
        const auto frames = braq::fileProperty<SInt64>(
            mAudioFile, kExtAudioFileProperty_FileLengthFrames,
            "ExtAudioFileGetProperty( mAudioFile, kExtAudioFileProperty_FileLengthFrames, &size, &frames )",
            siteOf("-[BRAQExtendedAudioFile exactFrameCount]"));
        return atRate(frames, fileDataFormat().mSampleRate, clientDataFormat().mSampleRate);
    });
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

// A converter begins at a frame of the file. Only every few frames, both rates have one at the same time.
void BRAQExtendedAudioFile::seekForReading(SInt64 frame) {
    const std::lock_guard lock(mPlatformMutex);
    SInt64 common = 1;
    if (mAudioFile != nullptr) {
        const Float64 rate = clientDataFormat().mSampleRate;
        const Float64 fileRate = fileDataFormat().mSampleRate;
        if (rate != fileRate && isWhole(rate) && isWhole(fileRate)) {
            common = static_cast<SInt64>(rate) / std::gcd(static_cast<SInt64>(rate), static_cast<SInt64>(fileRate));
        }
    }
    const SInt64 skipped = common > 1 && frame > 0 && frame < exactFrameCount() ? frame % common : 0;
    seekToExactFrame(frame - skipped);
    mFramesToSkip = skipped;
}

void BRAQExtendedAudioFile::seekToExactFrame(SInt64 frame) {
    const std::lock_guard lock(mPlatformMutex);
    mFramesToSkip = 0;
    if (mAudioFile == nullptr) {
        seekToFrame(frame);
        return;
    }
    const SInt64 fileFrame =
        std::max(SInt64{0}, atRate(frame, clientDataFormat().mSampleRate, fileDataFormat().mSampleRate));
    if (fileFrame == std::max(SInt64{0}, singlePrecisionFileFrame(frame))) {
        seekToFrame(frame);
        return;
    }
    NSXRaiseOnFailure(ExtAudioFileSeek(mAudioFile, fileFrame), "ExtAudioFileSeek( mAudioFile, fileFrame )",
                      siteOf("-[BRAQExtendedAudioFile seekToExactFrame:]"));
}

SInt64 BRAQExtendedAudioFile::singlePrecisionFileFrame(SInt64 frame) const {
    return braq::truncated(static_cast<Float32>(frame) * rateScalar());
}

void BRAQExtendedAudioFile::seekToFrame(SInt64 frame) {
    OSStatus status = 0;
    {
        const std::lock_guard lock(mPlatformMutex);
        mFramesToSkip = 0;
        status = ExtAudioFileSeek(mAudioFile, std::max(SInt64{0}, singlePrecisionFileFrame(frame)));
    }
    NSXRaiseOnFailure(status,
                      "ExtAudioFileSeek( mAudioFile, ({ __typeof__(0) __a0 = (0); __typeof__(readFrame) __b0 = "
                      "(readFrame); (__a0 < __b0) ? __b0 : __a0; }) )",
                      siteOf("-[BRAQExtendedAudioFile seekToFrame:]"));
}
